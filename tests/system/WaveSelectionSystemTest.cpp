// The wave as a user plays it: Space plays and pauses, and a selection dragged out with the mouse
// over the main wave plays as a loop. What is heard is recorded from the null sink's monitor and
// told apart by its tone.
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

// Four tones of five seconds each, the same on both channels: where playback is in the track is
// heard as which tone sounds.
fixtures::Signal fourTones()
{
    const auto frames = int64_t(kToneSeconds * kRate) * int64_t(kTones.size());
    return fixtures::synthesise(kRate, 2, frames, [](int64_t frame, int) {
        const double t = double(frame) / kRate;
        const double hz = kTones[std::min(size_t(t / kToneSeconds), kTones.size() - 1)];
        return float(0.4 * std::sin(2.0 * M_PI * hz * t));
    });
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
    bool waitForSound(int ms);
    std::vector<float> stop()
    {
        m_parec.terminate();
        m_parec.waitForFinished(5000);
        return recorded();
    }

private:
    std::vector<float> recorded() const
    {
        QFile file(m_dir.filePath(QStringLiteral("sink.raw")));
        const QByteArray raw = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
        const auto* s = reinterpret_cast<const int16_t*>(raw.constData());
        std::vector<float> mono(size_t(raw.size()) / 4);
        for (size_t i = 0; i < mono.size(); ++i)
            mono[i] = (float(s[2 * i]) + float(s[2 * i + 1])) / 65536.0f;
        return mono;
    }

    QTemporaryDir m_dir;
    QProcess m_parec;
};

// Sound is anything above -40 dBFS; the track's tones play at about -10 dBFS.
constexpr double kSoundAmplitude = 0.014;

bool sounds(const std::vector<float>& pcm, size_t from, size_t count)
{
    return from + count <= pcm.size() && measure::sineAmplitude(pcm, from, from + count) > kSoundAmplitude;
}

// The first 10-ms block that sounds, in seconds; -1 when the sink stayed silent.
double soundStart(const std::vector<float>& pcm)
{
    for (size_t at = 0; at + kRate / 100 <= pcm.size(); at += kRate / 100)
        if (sounds(pcm, at, kRate / 100))
            return double(at) / kRate;
    return -1.0;
}

bool SinkRecording::waitForSound(int ms)
{
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < ms) {
        QThread::msleep(100);
        const std::vector<float> pcm = recorded();
        if (pcm.size() > kRate / 10 && sounds(pcm, pcm.size() - kRate / 10, kRate / 10))
            return true;
    }
    return false;
}

// Goertzel power of `hz` over the window.
double powerAt(const std::vector<float>& pcm, size_t from, size_t count, double hz)
{
    const double coefficient = 2.0 * std::cos(2.0 * M_PI * hz / kRate);
    double s1 = 0.0, s2 = 0.0;
    for (size_t i = from; i < from + count; ++i) {
        const double s0 = pcm[i] + coefficient * s1 - s2;
        s2 = s1;
        s1 = s0;
    }
    return s1 * s1 + s2 * s2 - coefficient * s1 * s2;
}

// The track's tone heard over half a second from `fromSeconds`: the one at least 20 dB above each
// of the others, or 0 when none stands out so (silence, a mix, a jump inside the window).
double toneHeard(const std::vector<float>& pcm, double fromSeconds)
{
    const auto from = size_t(fromSeconds * kRate);
    if (!sounds(pcm, from, kRate / 2))
        return 0.0;
    std::array<double, kTones.size()> power{};
    for (size_t i = 0; i < kTones.size(); ++i)
        power[i] = powerAt(pcm, from, kRate / 2, kTones[i]);
    const size_t loudest = size_t(std::max_element(power.begin(), power.end()) - power.begin());
    for (size_t i = 0; i < kTones.size(); ++i)
        if (i != loudest && power[loudest] < 100.0 * power[i])
            return 0.0;
    return kTones[loudest];
}

// The program on the X server with a track open, the left panel shut so the wave pane spans the
// window; the main wave's screen rectangle below its loop band is computed from the layout.
class WaveOnScreen : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (!canDriveX() || fixtures::runProgram(QStringLiteral("pactl"), {"info"}, nullptr, nullptr, 5000) != 0)
            GTEST_SKIP() << "needs an X display, xdotool and the null sink; run under scripts/test-session.sh";
        m_track = m_dir.filePath(QStringLiteral("four tones.wav"));
        ASSERT_TRUE(fixtures::writeWav(m_track, fourTones()));
        const QString settings = qEnvironmentVariable("XDG_CONFIG_HOME") + QStringLiteral("/Lento/Lento.conf");
        QFile::remove(settings);
        {
            QSettings preset(settings, QSettings::IniFormat);
            preset.setValue(QStringLiteral("LeftMusicPanelVisible"), 0);
        }
        m_window = launchShowing(m_lento, QProcessEnvironment::systemEnvironment(), m_track, QStringLiteral("four tones.wav"));
        ASSERT_FALSE(m_window.isEmpty()) << "no window titled with the file's name";
        QThread::msleep(800); // the wave's points are made and drawn
        const QRect window = windowGeometry(m_window);
        ASSERT_GT(window.width(), 0);
        m_waveLeft = window.left();
        m_waveWidth = window.width();
        m_waveBottom = window.bottom() - kBottomStripHeight - kScrollBarHeight;
    }

    void TearDown() override
    {
        if (m_lento.state() == QProcess::NotRunning)
            return;
        keysTo(m_window, {"key", "--clearmodifiers", "ctrl+w"});
        if (!m_lento.waitForFinished(5000))
            m_lento.kill();
    }

    // A point of the main wave at `fraction` of its width, in its lower part, away from the band.
    QPoint waveAt(double fraction) const
    {
        return {m_waveLeft + int(std::lround(fraction * m_waveWidth)), m_waveBottom - 30};
    }

    void press(const QString& keys) { keysTo(m_window, {"key", "--clearmodifiers", keys}); }

    // Records the sink while `act` runs, then for `seconds` more.
    std::vector<float> heardWhile(const std::function<void(SinkRecording&)>& act, double seconds)
    {
        SinkRecording recording;
        EXPECT_TRUE(recording.start()) << "parec runs";
        QThread::msleep(300);
        act(recording);
        QThread::msleep(unsigned(seconds * 1000));
        return recording.stop();
    }

    QTemporaryDir m_dir;
    QString m_track;
    QProcess m_lento;
    QString m_window;
    int m_waveLeft = 0;
    int m_waveWidth = 0;
    int m_waveBottom = 0;
};

TEST_F(WaveOnScreen, SpacePlaysAndPausesAndADraggedSelectionPlaysAsALoop)
{
    // No selection: Space plays from the start, and Space again stops the sound.
    const std::vector<float> played = heardWhile([&](SinkRecording& sink) {
        press(QStringLiteral("space"));
        // A sound server on a loaded machine may hold a first stream back for seconds.
        sink.waitForSound(10000);
        QThread::msleep(1200);
        press(QStringLiteral("space"));
    }, 1.5);
    const double onset = soundStart(played);
    ASSERT_GE(onset, 0.0) << "Space plays";
    EXPECT_EQ(toneHeard(played, onset + 0.2), 220.0) << "from the track's start";
    EXPECT_EQ(toneHeard(played, onset + 0.7), 220.0) << "and keeps playing";
    EXPECT_LT(measure::peak(played, played.size() - kRate * 3 / 4, played.size()), kSoundAmplitude / 10.0)
        << "the second Space leaves the sink silent";

    // 55 % to 70 % of a 20-s track is 11 s to 14 s, inside the third tone; past its end the fourth
    // would sound, so the same tone four seconds on means the selection went round.
    dragMouse(waveAt(0.55), waveAt(0.70));
    QThread::msleep(300);
    // Time to spare for a sound server that is slow to start the stream again.
    const std::vector<float> looped = heardWhile([&](SinkRecording& sink) {
        press(QStringLiteral("space"));
        sink.waitForSound(8000);
    }, 5.5);
    press(QStringLiteral("space"));
    const double start = soundStart(looped);
    ASSERT_GE(start, 0.0) << "Space plays the selection";
    EXPECT_EQ(toneHeard(looped, start + 0.3), 440.0) << "the selection's tone";
    EXPECT_EQ(toneHeard(looped, start + 4.0), 440.0) << "still the selection's tone once its 3 s are over";
}

} // namespace
