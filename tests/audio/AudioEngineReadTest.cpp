#include "EngineHarness.h"
#include "audio/AudioEngine.h"
#include "audio/AudioSource.h"
#include "audio/PcmCache.h"
#include "common/AudioFixtures.h"
#include "common/LogCapture.h"
#include "platform/Alerts.h"

#include <QFile>
#include <QTemporaryDir>
#include <QUrl>

#include <gtest/gtest.h>

#include <cmath>

namespace {

struct AlertRecorder {
    QList<Alert> alerts;
    AlertRecorder()
    {
        Alerts::setPresenter([this](const Alert& alert) {
            alerts << alert;
            return Alerts::FirstButtonReturn;
        });
    }
    ~AlertRecorder() { Alerts::setPresenter({}); }
};

struct EngineReadTest : ::testing::Test {
    QTemporaryDir dir;

    QUrl wav(const QString& name, int rate, int channels, int64_t frames)
    {
        const QString path = dir.filePath(name);
        const auto signal = fixtures::synthesise(rate, channels, frames, [](int64_t f, int c) {
            return float(0.5 * std::sin(0.01 * double(f) * (c + 1)));
        });
        EXPECT_TRUE(fixtures::writeWav(path, signal));
        return QUrl::fromLocalFile(path);
    }
};

} // namespace

TEST_F(EngineReadTest, BinSizeFollowsTheFrameCountAcrossPowerOfTwoBoundaries)
{
    struct Case { int64_t frames; int32_t binSize; int32_t numBins; };
    for (const Case& c : {Case{72000, 1, 72000}, Case{72001, 2, 36001}, Case{144000, 2, 72000},
                          Case{144001, 4, 36001}}) {
        const AudioSource source = AudioSource::read(wav(QStringLiteral("b%1.wav").arg(c.frames), 8000, 1, c.frames));
        ASSERT_TRUE(source.isReady()) << c.frames;
        EXPECT_EQ(source.fileLength, c.frames);
        EXPECT_EQ(source.waveData.binSize(), c.binSize) << c.frames;
        EXPECT_EQ(source.waveData.numBins(), c.numBins) << c.frames;
    }
}

TEST_F(EngineReadTest, ExactlyFourHoursLoadsAndOneFrameMoreIsRefusedWithItsAlert)
{
    // A 100 Hz mono file keeps four hours small.
    AudioEngine engine{EngineHarness::virtualOutput()};
    AlertRecorder recorder;
    LogCapture log;
    const QUrl fourHours = wav(QStringLiteral("four.wav"), 100, 1, 1440000);
    ASSERT_TRUE(engine.readAudioDataFromURL(fourHours));
    EXPECT_EQ(engine.fileLength(), 1440000);
    EXPECT_DOUBLE_EQ(engine.duration(), 14400.0);
    EXPECT_TRUE(recorder.alerts.isEmpty());
    EXPECT_FALSE(log.contains(QStringLiteral("file too large!")));

    const QUrl over = wav(QStringLiteral("over.wav"), 100, 1, 1440001);
    EXPECT_FALSE(engine.readAudioDataFromURL(over));
    EXPECT_EQ(log.count(QStringLiteral("file too large!")), 1);
    ASSERT_EQ(recorder.alerts.size(), 1);
    EXPECT_EQ(recorder.alerts[0].messageText, "Audio file too large!");
    EXPECT_EQ(recorder.alerts[0].informativeText, "The audio file can not be loaded.");
    EXPECT_EQ(recorder.alerts[0].buttons, QStringList{"OK"});
    EXPECT_EQ(recorder.alerts[0].style, AlertStyle::Warning);
    EXPECT_EQ(engine.fileURL(), fourHours) << "a refused file leaves the current track";
}

TEST_F(EngineReadTest, RefusedFileOfAnotherFormatLeavesTheCurrentTrackWhole)
{
    AudioEngine engine{EngineHarness::virtualOutput()};
    AlertRecorder recorder;
    const QUrl first = wav(QStringLiteral("first.wav"), 48000, 2, 96000);
    ASSERT_TRUE(engine.readAudioDataFromURL(first));
    const int32_t bins = engine.waveData()->numBins();
    const float maxY = engine.waveData()->maxY();

    LogCapture log;
    EXPECT_FALSE(engine.readAudioDataFromURL(wav(QStringLiteral("long.wav"), 10, 1, 144001)));
    const QString empty = dir.filePath(QStringLiteral("empty.wav"));
    ASSERT_TRUE(fixtures::writeWav(empty, fixtures::synthesise(22050, 1, 0, [](int64_t, int) { return 0.f; })));
    EXPECT_FALSE(engine.readAudioDataFromURL(QUrl::fromLocalFile(empty)));
    EXPECT_TRUE(log.contains(QStringLiteral("Error alloc file buffer %1").arg(empty)));
    EXPECT_EQ(recorder.alerts.size(), 1) << "only the file over the limit raises an alert";

    EXPECT_EQ(engine.fileURL(), first);
    EXPECT_EQ(engine.fileLength(), 96000);
    EXPECT_EQ(engine.samplerate(), 48000.0);
    EXPECT_EQ(engine.inputFormat().channelCount, 2);
    EXPECT_EQ(engine.waveData()->numBins(), bins);
    EXPECT_EQ(engine.waveData()->maxY(), maxY);
    ASSERT_TRUE(engine.pcm());
    EXPECT_EQ(engine.pcm()->frameCount(), 96000);
}

TEST_F(EngineReadTest, ANewFormatReplacesTheSourceAndTheRangeCoversTheWholeFile)
{
    AudioEngine engine{EngineHarness::virtualOutput()};
    ASSERT_TRUE(engine.readAudioDataFromURL(wav(QStringLiteral("a.wav"), 48000, 2, 50000)));
    ASSERT_TRUE(engine.readAudioDataFromURL(wav(QStringLiteral("b.wav"), 22050, 1, 30000)));
    EXPECT_EQ(engine.samplerate(), 22050.0);
    EXPECT_EQ(engine.inputFormat().channelCount, 1);
    EXPECT_EQ(engine.fileFormat().channelCount, 1);
    EXPECT_EQ(engine.fileLength(), 30000);
    EXPECT_EQ(engine.from(), 0);
    EXPECT_EQ(engine.len(), 30000u);
    EXPECT_EQ(engine.cursorPosition(), 0);
    // The waveform is that of the new file: mono, so L and R agree.
    const WaveformData* wave = engine.waveData();
    ASSERT_EQ(wave->numBins(), 30000);
    for (int i = 0; i < wave->numBins(); i += 997)
        EXPECT_EQ(wave->binsL()[i], wave->binsR()[i]);
}

TEST_F(EngineReadTest, MissingOrNonAudioFilesAreRefusedWithoutAlert)
{
    AudioEngine engine{EngineHarness::virtualOutput()};
    AlertRecorder recorder;
    EXPECT_FALSE(engine.readAudioDataFromURL(QUrl()));
    EXPECT_FALSE(engine.readAudioDataFromURL(QUrl::fromLocalFile(dir.filePath("nothing.wav"))));
    QFile text(dir.filePath("notes.wav"));
    ASSERT_TRUE(text.open(QIODevice::WriteOnly));
    text.write("these are not samples\n");
    text.close();
    EXPECT_FALSE(engine.readAudioDataFromURL(QUrl::fromLocalFile(text.fileName())));
    EXPECT_TRUE(engine.fileURL().isEmpty());
    EXPECT_EQ(engine.duration(), 0.0);
    EXPECT_TRUE(recorder.alerts.isEmpty());
}

TEST_F(EngineReadTest, AllowedFileTypesInTheirOrder)
{
    EXPECT_EQ(AudioEngine::allowedFileTypes(), (QStringList{"wav", "aiff", "aif", "mp3", "m4a", "m4b", "caf"}));
}
