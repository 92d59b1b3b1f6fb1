#include "EngineHarness.h"

#include "audio/ExportProgress.h"
#include "common/LogCapture.h"

#include <QFileInfo>

#include <sndfile.h>

#include <gtest/gtest.h>

using fixtures::Signal;

namespace {

struct ProgressRecorder : ExportProgress {
    std::vector<double> fractions;
    bool hidden = false;
    void setProgressBar(double fraction) override { fractions.push_back(fraction); }
    void hideProgressBar() override { hidden = true; }
};

struct ExportTest : ::testing::Test, EngineHarness {
    ProgressRecorder progress;

    ExportTest() { engine.setExportProgress(&progress); }

    Signal exportTo(const QString& name)
    {
        const QString path = dir.filePath(name);
        engine.exportToURL(QUrl::fromLocalFile(path), QStringLiteral("wav"));
        EXPECT_TRUE(waitFor([&] { return progress.hidden; }, 60000));
        Signal written;
        EXPECT_TRUE(fixtures::readSoundFile(path, written));
        return written;
    }

    static int subtypeOf(const QString& path)
    {
        SF_INFO info{};
        SNDFILE* f = sf_open(path.toLocal8Bit().constData(), SFM_READ, &info);
        if (f)
            sf_close(f);
        return info.format & SF_FORMAT_SUBMASK;
    }
};

Signal tone(int rate, int channels, int64_t frames, double hz)
{
    return fixtures::synthesise(rate, channels, frames, [=](int64_t f, int c) {
        return float((c == 0 ? 0.5 : 0.2) * std::sin(2 * M_PI * hz * double(f) / rate));
    });
}

} // namespace

TEST_F(ExportTest, TheWholeFileAtSpeedOneHasItsLengthRateAndChannelsIn16Bit)
{
    struct Case { int rate; int channels; };
    for (const Case c : {Case{22050, 1}, Case{48000, 2}}) {
        progress = {};
        ASSERT_TRUE(load(tone(c.rate, c.channels, 3 * c.rate + 77, 440), QStringLiteral("in%1.wav").arg(c.rate)));
        const Signal out = exportTo(QStringLiteral("out%1.wav").arg(c.rate));
        EXPECT_EQ(out.sampleRate, c.rate);
        EXPECT_EQ(out.channels, c.channels);
        EXPECT_EQ(out.frames(), int64_t(engine.len()));
        EXPECT_EQ(subtypeOf(dir.filePath(QStringLiteral("out%1.wav").arg(c.rate))), SF_FORMAT_PCM_16);
        ASSERT_FALSE(progress.fractions.empty());
        EXPECT_EQ(progress.fractions.front(), 0.0);
        EXPECT_TRUE(std::is_sorted(progress.fractions.begin(), progress.fractions.end()));
        EXPECT_LT(progress.fractions.back(), 1.0);
    }
}

TEST_F(ExportTest, ATenSecondSelectionAtHalfSpeedBecomesTwentySeconds)
{
    ASSERT_TRUE(load(tone(22050, 2, 30 * 22050, 440)));
    engine.fillBufferFrom(0.25f, 0.25f + 10.0f / 30.0f, 0.25f);
    engine.setSpeed(0.5f);
    const Signal out = exportTo("slow.wav");
    EXPECT_NEAR(double(out.frames()), 20.0 * 22050, 4096.0);
    EXPECT_EQ(out.frames(), int64_t(float(engine.len()) / 0.5f));
    std::vector<float> left(size_t(out.frames()));
    for (int64_t f = 0; f < out.frames(); ++f)
        left[size_t(f)] = out.at(f, 0);
    EXPECT_NEAR(measure::zeroCrossingFrequency(left, 22050, left.size() - 22050, 22050), 440.0, 0.5)
        << "the pitch stays";
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
        std::vector<float> side(size_t(out.frames()));
        for (int64_t f = 0; f < out.frames(); ++f)
            side[size_t(f)] = out.at(f, c);
        EXPECT_NEAR(measure::zeroCrossingFrequency(side, 8192, side.size() - 8192, 44100), 880.0, 1.0) << c;
        EXPECT_NEAR(measure::sineAmplitude(side, 8192, side.size() - 8192), 0.25, 0.03) << "left, halved, on " << c;
    }

    progress = {};
    engine.soloLeft(false);
    engine.setPitch(0.0f);
    engine.setVolume(1.0f);
    engine.setFilter(6000.0f);
    engine.filterEnable(true);
    const Signal filtered = exportTo("filtered.wav");
    std::vector<float> left(size_t(filtered.frames()));
    for (int64_t f = 0; f < filtered.frames(); ++f)
        left[size_t(f)] = filtered.at(f, 0);
    // A 440 Hz tone lies far below a band around 6 kHz: it comes out much weaker.
    EXPECT_LT(measure::sineAmplitude(left, 8192, left.size() - 8192), 0.5 * 0.5);
}

TEST_F(ExportTest, CancellingAtOnceLeavesAValidShortFile)
{
    ASSERT_TRUE(load(tone(44100, 2, 60 * 44100, 440)));
    const QString path = dir.filePath("cancelled.wav");
    engine.exportToURL(QUrl::fromLocalFile(path), QStringLiteral("wav"));
    engine.setRenderAbort(true);
    ASSERT_TRUE(waitFor([&] { return progress.hidden; }, 60000));
    Signal out;
    ASSERT_TRUE(fixtures::readSoundFile(path, out)) << "a valid WAV";
    EXPECT_LT(out.frames(), 60 * 44100);
    EXPECT_FALSE(engine.isExporting());
    EXPECT_TRUE(engine.playPause()) << "the device path plays again";
}

TEST_F(ExportTest, AnUnwritablePathIsLoggedAndNothingEnds)
{
    ASSERT_TRUE(load(tone(44100, 2, 44100, 440)));
    LogCapture log;
    engine.exportToURL(QUrl::fromLocalFile(dir.filePath("no/such/folder/out.wav")), QStringLiteral("wav"));
    EXPECT_TRUE(log.anyStartsWith("invalid file name "));
    waitFor([] { return false; }, 200);
    EXPECT_FALSE(progress.hidden) << "the sheet waits for its cancel button";
    EXPECT_TRUE(progress.fractions.empty());
    EXPECT_TRUE(engine.playPause());
}
