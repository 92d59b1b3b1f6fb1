#include "EngineHarness.h"
#include "audio/AcousticFingerprint.h"
#include "audio/PcmCache.h"
#include "platform/Alerts.h"

namespace {

struct EngineReadTest : ::testing::Test, EngineHarness {
    QList<Alert> alerts;

    EngineReadTest()
    {
        Alerts::setPresenter([this](const Alert& alert) {
            alerts << alert;
            return Alerts::FirstButtonReturn;
        });
    }
    ~EngineReadTest() override { Alerts::setPresenter({}); }

    QUrl wav(const QString& name, int rate, int channels, int64_t frames)
    {
        const QString path = dir.filePath(name);
        EXPECT_TRUE(fixtures::writeWav(path, fixtures::synthesise(rate, channels, frames, [](int64_t f, int c) {
            return float(0.5 * std::sin(0.01 * double(f) * (c + 1)));
        })));
        return QUrl::fromLocalFile(path);
    }
};

} // namespace

// Four hours exactly load (a 100 Hz mono file keeps them small); what is refused leaves the track
// that was open whole, and only a file too long says so in an alert.
TEST_F(EngineReadTest, RefusedFilesLeaveTheCurrentTrackWholeAndOnlyTheLongOneAlertsAndANewFormatReplacesIt)
{
    EXPECT_FALSE(engine.readAudioDataFromURL(QUrl()));
    EXPECT_EQ(engine.duration(), 0.0);
    ASSERT_TRUE(engine.readAudioDataFromURL(wav(QStringLiteral("one.wav"), 8000, 1, 1))) << "a single frame is audio";
    ASSERT_TRUE(engine.readAudioDataFromURL(wav(QStringLiteral("four.wav"), 100, 1, 1440000)));
    EXPECT_DOUBLE_EQ(engine.duration(), 14400.0);
    const QUrl first = wav(QStringLiteral("first.wav"), 48000, 2, 96000);
    ASSERT_TRUE(engine.readAudioDataFromURL(first));
    const float maxY = engine.waveData()->maxY();

    LogCapture log;
    EXPECT_FALSE(engine.readAudioDataFromURL(wav(QStringLiteral("over.wav"), 100, 1, 1440001)));
    EXPECT_EQ(log.count(QStringLiteral("file too large!")), 1);
    const QString empty = dir.filePath(QStringLiteral("empty.wav"));
    ASSERT_TRUE(fixtures::writeWav(empty, fixtures::synthesise(22050, 1, 0, [](int64_t, int) { return 0.f; })));
    EXPECT_FALSE(engine.readAudioDataFromURL(QUrl::fromLocalFile(empty)));
    EXPECT_FALSE(engine.readAudioDataFromURL(QUrl::fromLocalFile(dir.filePath("nothing.wav"))));
    ASSERT_EQ(alerts.size(), 1);
    EXPECT_EQ(alerts[0].messageText, "Audio file too large!");

    EXPECT_EQ(engine.fileURL(), first);
    EXPECT_EQ(engine.fileLength(), 96000);
    EXPECT_EQ(engine.inputFormat().channelCount, 2);
    EXPECT_EQ(engine.waveData()->maxY(), maxY);
    EXPECT_EQ(engine.pcm()->frameCount(), 96000);

    // A new format replaces the source, and the range covers the whole file.
    engine.fillBufferFrom(0.2f, 0.4f, 0.3f);
    // Just over the count that one frame a bin holds: two frames a bin.
    ASSERT_TRUE(engine.readAudioDataFromURL(wav(QStringLiteral("b.wav"), 22050, 1, 72001)));
    EXPECT_EQ(engine.samplerate(), 22050.0);
    EXPECT_EQ(engine.inputFormat().channelCount, 1);
    EXPECT_EQ(engine.fileLength(), 72001);
    EXPECT_EQ(engine.from(), 0);
    EXPECT_EQ(engine.len(), 72001u);
    EXPECT_EQ(engine.cursorPosition(), 0);
    const WaveformData* wave = engine.waveData();
    ASSERT_EQ(wave->numBins(), 36001);
    EXPECT_EQ(wave->binsL()[997], wave->binsR()[997]) << "mono: both sides agree";
}

// What finds a track's saved settings again after a rename or a move: the same sound gives the same
// fingerprint whatever its layout, other music another, and a track too short or too quiet to tell
// apart from others none.
TEST_F(EngineReadTest, TheSameSoundGivesTheSameFingerprintAndTooShortOrQuietGivesNone)
{
    const auto fingerprint = [&](const QString& name, int channels, double seconds, float level, int firstNote) {
        const int64_t frames = int64_t(seconds * 22050);
        const auto melody = [=](int64_t f, int) {
            const int note = firstNote + int(f / 11025) * 5 % 12; // a new note every half second
            return float(level * std::sin(2 * M_PI * 220.0 * std::pow(2.0, note / 12.0) * double(f) / 22050));
        };
        const QString path = dir.filePath(name);
        EXPECT_TRUE(fixtures::writeWav(path, fixtures::synthesise(22050, channels, frames, melody)));
        EXPECT_TRUE(engine.readAudioDataFromURL(QUrl::fromLocalFile(path))) << name.toStdString();
        return AcousticFingerprint::of(*engine.pcm());
    };
    const QString stereo = fingerprint("stereo.wav", 2, 10.0, 0.5f, 0);
    EXPECT_FALSE(stereo.isEmpty());
    EXPECT_EQ(fingerprint("mono.wav", 1, 10.0, 0.5f, 0), stereo);
    EXPECT_NE(fingerprint("other.wav", 2, 10.0, 0.5f, 3), stereo);
    EXPECT_EQ(fingerprint("short.wav", 2, 2.5, 0.5f, 0), QString());
    EXPECT_EQ(fingerprint("quiet.wav", 2, 10.0, 0.0008f, 0), QString()) << "below -60 dBFS on every side";
}
