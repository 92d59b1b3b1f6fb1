#include "EngineHarness.h"

#include <sndfile.h>

using fixtures::Signal;

namespace {

struct ExportTest : ::testing::Test, EngineHarness {};

Signal tone(int rate, int channels, int64_t frames, double hz)
{
    return fixtures::synthesise(rate, channels, frames, [=](int64_t f, int c) {
        return float((c == 0 ? 0.5 : 0.2) * std::sin(2 * M_PI * hz * double(f) / rate));
    });
}

} // namespace

TEST_F(ExportTest, AtNeutralSettingsTheFileIsTheTrackItselfIn16BitAndLoopSeamsNeverClick)
{
    for (const auto& [rate, channels] : {std::pair{22050, 1}, std::pair{48000, 2}}) {
        const Signal in = tone(rate, channels, 3 * rate + 77, 440);
        ASSERT_TRUE(load(in, QStringLiteral("in%1.wav").arg(rate)));
        const QString name = QStringLiteral("out%1.wav").arg(rate);
        const Signal out = exportTo(name);
        EXPECT_EQ(out.sampleRate, rate);
        ASSERT_EQ(out.channels, channels);
        ASSERT_EQ(out.frames(), in.frames());
        for (int64_t f = 0; f < in.frames(); f += 7)
            ASSERT_NEAR(out.at(f, channels - 1), in.at(f, channels - 1), 1.5 / 32768.0) << "frame " << f;
        SF_INFO info{};
        sf_close(sf_open(dir.filePath(name).toLocal8Bit().constData(), SFM_READ, &info));
        EXPECT_EQ(info.format & SF_FORMAT_SUBMASK, SF_FORMAT_PCM_16);
        ASSERT_FALSE(progress.fractions.empty());
        EXPECT_EQ(progress.fractions.front(), 0.0);
        EXPECT_TRUE(std::is_sorted(progress.fractions.begin(), progress.fractions.end()));
        EXPECT_LT(progress.fractions.back(), 1.0);
    }
    // A loop exported four times: its seams never click and every pass keeps its length.
    ASSERT_TRUE(load(tone(44100, 1, 2 * 44100, 440)));
    engine.setLoop(true);
    // 0.3013 s: the sine's phase jumps by about half a cycle at the seam.
    engine.fillBufferFrom(0.25f, 0.25f + 0.3013f / 2.0f, 0.25f);
    const int64_t len = engine.len();
    const auto left = exportTo(QStringLiteral("loop.wav"), 4).channel(0);
    EXPECT_EQ(int64_t(left.size()), 4 * len) << "four passes, exactly";
    EXPECT_LE(measure::largestStep(left, 1, left.size()), 1.5f * measure::largestStep(left, 100, size_t(len) / 2));
}

TEST_F(ExportTest, PitchSoloVolumeAndFilterReachTheFile)
{
    ASSERT_TRUE(load(tone(44100, 2, 4 * 44100, 440)));
    engine.setPitch(1200.0f);
    engine.pitchEnable(true);
    engine.soloLeft(true);
    engine.setVolume(0.5f);
    const Signal out = exportTo("shaped.wav");
    for (int c : {0, 1}) {
        const auto side = out.channel(c);
        EXPECT_NEAR(measure::zeroCrossingFrequency(side, 8192, side.size() - 8192, 44100), 880.0, 1.0) << c;
        EXPECT_NEAR(measure::sineAmplitude(side, 8192, side.size() - 8192), 0.25, 0.03) << "left, halved, on " << c;
    }

    engine.soloLeft(false);
    engine.setPitch(0.0f);
    engine.setVolume(1.0f);
    engine.setFilter(6000.0f);
    engine.filterEnable(true);
    const auto left = exportTo("filtered.wav").channel(0);
    // A 440 Hz tone lies far below a band around 6 kHz: it comes out much weaker.
    EXPECT_LT(measure::sineAmplitude(left, 8192, left.size() - 8192), 0.5 * 0.5);
}

TEST_F(ExportTest, ACancelLeavesAValidShortFileAndAnUnwritablePathOnlyALine)
{
    ASSERT_TRUE(load(tone(44100, 2, 60 * 44100, 440)));
    const QString path = dir.filePath("cancelled.wav");
    ASSERT_TRUE(engine.playPause());
    EXPECT_GT(measure::peak(pullLeft(2048), 0, 2048), 0.1f);
    engine.exportToURL(QUrl::fromLocalFile(path), QStringLiteral("wav"));
    EXPECT_EQ(measure::peak(pullLeft(2048), 0, 2048), 0.0f) << "an export silences playback";
    engine.stop();
    engine.setRenderAbort(true);
    ASSERT_TRUE(waitFor([&] { return progress.hidden; }, 60000));
    Signal out;
    ASSERT_TRUE(fixtures::readSoundFile(path, out)) << "a valid WAV";
    EXPECT_LT(out.frames(), 60 * 44100);
    EXPECT_TRUE(engine.exportError().isEmpty()) << "a cancel is no failure";
    EXPECT_EQ(QDir(dir.path()).entryList(QStringList{".*"}, QDir::Files | QDir::Hidden), QStringList{})
        << "nothing is left beside it";
    EXPECT_FALSE(engine.isExporting());
    EXPECT_TRUE(engine.playPause()) << "the device path plays again";
    EXPECT_FALSE(engine.playPause());

    progress = {};
    LogCapture log;
    engine.exportToURL(QUrl::fromLocalFile(dir.filePath("no/such/folder/out.wav")), QStringLiteral("wav"));
    EXPECT_TRUE(log.anyStartsWith("invalid file name "));
    EXPECT_FALSE(engine.exportError().isEmpty()) << "the reason is told at once";
    runFor(200);
    EXPECT_FALSE(progress.hidden) << "the sheet waits for its cancel button";
    EXPECT_TRUE(engine.playPause());
}
