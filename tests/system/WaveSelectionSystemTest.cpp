// The wave as a user plays it: Space plays and pauses the track, and a selection dragged out with the
// mouse over the main wave plays as a loop at Space, and Space again pauses. What is heard is
// recorded from the null sink's monitor and told apart by its tone.
#include "system/DesktopSession.h"

#include <QSettings>

#include <array>

namespace {

using namespace desktop;

constexpr int kRate = 44100;
constexpr std::array<double, 4> kTones{220.0, 330.0, 440.0, 550.0};
constexpr double kToneSeconds = 5.0;
// The window's geometry below the wave, as the bottom strip and the scroll bar lay it out.
constexpr int kBottomStripHeight = 110;
constexpr int kScrollBarHeight = 8;
// Sound is anything above -40 dBFS; the track's tones play at about -10 dBFS.
constexpr double kSoundAmplitude = 0.014;

bool sounds(const std::vector<float>& pcm, size_t from, size_t count)
{
    return from + count <= pcm.size() && measure::sineAmplitude(pcm, from, from + count) > kSoundAmplitude;
}

// The track's tone heard over half a second from `fromSeconds`, or 0 when none sounds there.
double toneHeard(const std::vector<float>& pcm, double fromSeconds)
{
    const auto from = size_t(fromSeconds * kRate);
    if (!sounds(pcm, from, kRate / 2))
        return 0.0;
    const double hz = measure::zeroCrossingFrequency(pcm, from, from + kRate / 2, kRate);
    for (double tone : kTones)
        if (std::abs(hz - tone) < 0.03 * tone)
            return tone;
    return 0.0;
}

// What the null sink plays, as mono samples at 44.1 kHz, from start() to stop(). It goes to a
// file: a pipe left unread for a moment fills up and the sound server drops what follows.
class SinkRecording {
public:
    bool start()
    {
        m_parec.setStandardOutputFile(m_dir.filePath(QStringLiteral("sink.raw")));
        m_parec.start(QStringLiteral("parec"), {"-d", "nullsink.monitor", "--raw", "--format=s16le", "--rate=44100",
                                                "--channels=2", "--latency-msec=20"});
        return m_parec.waitForStarted(5000);
    }
    // Until the last tenth of a second recorded sounds; false when nothing did within `ms`.
    bool waitForSound(int ms)
    {
        QElapsedTimer timer;
        timer.start();
        for (std::vector<float> pcm; timer.elapsed() < ms; QThread::msleep(100))
            if ((pcm = recorded()).size() > kRate / 10 && sounds(pcm, pcm.size() - kRate / 10, kRate / 10))
                return true;
        return false;
    }
    std::vector<float> stop()
    {
        m_parec.terminate();
        m_parec.waitForFinished(5000);
        return recorded();
    }

private:
    std::vector<float> recorded() const
    {
        const QByteArray raw = fixtures::readFile(m_dir.filePath(QStringLiteral("sink.raw")));
        const auto* s = reinterpret_cast<const int16_t*>(raw.constData());
        std::vector<float> mono(size_t(raw.size()) / 4);
        for (size_t i = 0; i < mono.size(); ++i)
            mono[i] = (float(s[2 * i]) + float(s[2 * i + 1])) / 65536.0f;
        return mono;
    }

    QTemporaryDir m_dir;
    QProcess m_parec;
};

// The first 10-ms block that sounds, in seconds; -1 when the sink stayed silent.
double soundStart(const std::vector<float>& pcm)
{
    for (size_t at = 0; at + kRate / 100 <= pcm.size(); at += kRate / 100)
        if (sounds(pcm, at, kRate / 100))
            return double(at) / kRate;
    return -1.0;
}

bool silentAtTheEnd(const std::vector<float>& pcm)
{
    return pcm.size() > kRate && measure::peak(pcm, pcm.size() - kRate * 3 / 4, pcm.size()) < kSoundAmplitude / 10.0;
}

// Four tones of five seconds each, the same on both channels: where playback is in the track is
// heard as which tone sounds.
fixtures::Signal fourTones()
{
    return fixtures::synthesise(kRate, 2, int64_t(kToneSeconds * kRate) * int64_t(kTones.size()), [](int64_t frame, int) {
        const double t = double(frame) / kRate;
        return float(0.4 * std::sin(2.0 * M_PI * kTones[std::min(size_t(t / kToneSeconds), kTones.size() - 1)] * t));
    });
}

// The program on the X server with a track open, the left panel shut so the wave pane spans the
// window; the main wave's screen rectangle below its loop band is computed from the layout.
class WaveOnScreen : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (!canDriveX() || fixtures::runProgram(QStringLiteral("pactl"), {"info"}, nullptr, nullptr, 5000) != 0)
            GTEST_SKIP() << "needs an X display, xdotool and the null sink; run under scripts/test-session.sh";
        const QString track = m_dir.filePath(QStringLiteral("four tones.wav"));
        ASSERT_TRUE(fixtures::writeWav(track, fourTones()));
        const QString settings = qEnvironmentVariable("XDG_CONFIG_HOME") + QStringLiteral("/Lento/Lento.conf");
        QFile::remove(settings);
        QSettings(settings, QSettings::IniFormat).setValue(QStringLiteral("LeftMusicPanelVisible"), 0);
        m_window = launchShowing(m_lento, QProcessEnvironment::systemEnvironment(), track, QStringLiteral("four tones.wav"));
        ASSERT_FALSE(m_window.isEmpty()) << "no window titled with the file's name";
        QThread::msleep(800); // the wave's points are made and drawn
        m_geometry = windowGeometry(m_window);
        ASSERT_GT(m_geometry.width(), 0);
    }

    void TearDown() override
    {
        if (m_lento.state() == QProcess::NotRunning)
            return;
        press(QStringLiteral("ctrl+w"));
        if (!m_lento.waitForFinished(5000))
            m_lento.kill();
    }

    // A point of the main wave at `fraction` of its width, in its lower part, away from the band.
    QPoint waveAt(double fraction) const
    {
        return {m_geometry.left() + int(std::lround(fraction * m_geometry.width())),
                m_geometry.bottom() - kBottomStripHeight - kScrollBarHeight - 30};
    }

    void press(const QString& keys) { keysTo(m_window, {"key", "--clearmodifiers", keys}); }

    QTemporaryDir m_dir;
    QProcess m_lento;
    QString m_window;
    QRect m_geometry;
};

} // namespace

TEST_F(WaveOnScreen, SpacePlaysAndPausesTheTrackAndADraggedSelectionPlaysAsALoop)
{
    SinkRecording track;
    ASSERT_TRUE(track.start()) << "parec runs";
    QThread::msleep(300);
    press(QStringLiteral("space"));
    // A sound server on a loaded machine may hold a first stream back for seconds.
    track.waitForSound(10000);
    QThread::msleep(1200);
    press(QStringLiteral("space"));
    QThread::msleep(1500);
    const std::vector<float> played = track.stop();
    const double onset = soundStart(played);
    ASSERT_GE(onset, 0.0) << "Space plays the track with nothing selected";
    EXPECT_EQ(toneHeard(played, onset + 0.3), 220.0) << "from its start";
    EXPECT_TRUE(silentAtTheEnd(played)) << "the second Space leaves the sink silent";

    // 55 % to 70 % of a 20-s track is 11 s to 14 s, inside the third tone; past its end the fourth
    // would sound, so the same tone four seconds on means the selection went round.
    dragMouse(waveAt(0.55), waveAt(0.70));
    QThread::msleep(300);
    SinkRecording sink;
    ASSERT_TRUE(sink.start()) << "parec runs";
    QThread::msleep(300);
    press(QStringLiteral("space"));
    sink.waitForSound(10000);
    QThread::msleep(5000);
    press(QStringLiteral("space"));
    QThread::msleep(1500);
    const std::vector<float> heard = sink.stop();

    const double start = soundStart(heard);
    ASSERT_GE(start, 0.0) << "Space plays the selection";
    EXPECT_EQ(toneHeard(heard, start + 0.3), 440.0) << "the selection's tone";
    EXPECT_EQ(toneHeard(heard, start + 4.0), 440.0) << "still the selection's tone once its 3 s are over";
    EXPECT_TRUE(silentAtTheEnd(heard)) << "the second Space leaves the sink silent";
}
