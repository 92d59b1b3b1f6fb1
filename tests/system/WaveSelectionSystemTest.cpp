// The wave as a user plays it: Space plays and pauses the track, and a selection dragged out with the
// mouse over the main wave plays as a loop at Space, and Space again pauses. What is heard is
// recorded from the null sink's monitor and told apart by its tone.
#include "system/DesktopSession.h"

#include <QScopeGuard>
#include <QSettings>

#include <array>

namespace {

using namespace desktop;

constexpr int kRate = 44100;
constexpr std::array<double, 4> kTones{220.0, 330.0, 440.0, 550.0};
constexpr double kToneSeconds = 5.0;
// The window's height below the wave: the bottom strip's 110 and the scroll bar's 8.
constexpr int kBelowTheWave = 110 + 8;
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

bool silentAtTheEnd(const std::vector<float>& pcm)
{
    return pcm.size() > kRate && measure::peak(pcm, pcm.size() - kRate * 3 / 4, pcm.size()) < kSoundAmplitude / 10.0;
}

} // namespace

TEST(WaveOnScreen, SpacePlaysAndPausesTheTrackAndADraggedSelectionPlaysAsALoop)
{
    if (!canDriveX() || fixtures::runProgram(QStringLiteral("pactl"), {"info"}, nullptr, nullptr, 5000) != 0)
        GTEST_SKIP() << "needs an X display, xdotool and the null sink; run under scripts/test-session.sh";
    QTemporaryDir dir;
    const QString track = dir.filePath(QStringLiteral("four tones.wav"));
    // Four tones of five seconds each, the same on both channels: where playback is in the track is
    // heard as which tone sounds.
    ASSERT_TRUE(fixtures::writeWav(track, fixtures::synthesise(kRate, 2, int64_t(kToneSeconds * kRate) * int64_t(kTones.size()), [](int64_t frame, int) {
        const double t = double(frame) / kRate;
        return float(0.4 * std::sin(2.0 * M_PI * kTones[std::min(size_t(t / kToneSeconds), kTones.size() - 1)] * t));
    })));
    // The left panel shut, so that the wave pane spans the window.
    const QString settings = qEnvironmentVariable("XDG_CONFIG_HOME") + QStringLiteral("/Lento/Lento.conf");
    QFile::remove(settings);
    QSettings(settings, QSettings::IniFormat).setValue(QStringLiteral("LeftMusicPanelVisible"), 0);
    QProcess lento;
    const QString window = launchShowing(lento, QProcessEnvironment::systemEnvironment(), track, QStringLiteral("four tones.wav"));
    ASSERT_FALSE(window.isEmpty()) << "no window titled with the file's name";
    const auto press = [&](const QString& keys) { keysTo(window, {"key", "--clearmodifiers", keys}); };
    const auto closeIt = qScopeGuard([&] {
        press(QStringLiteral("ctrl+w"));
        if (!lento.waitForFinished(5000))
            lento.kill();
    });
    QThread::msleep(800); // the wave's points are made and drawn
    const QRect geometry = windowGeometry(window);
    ASSERT_GT(geometry.width(), 0);

    // What the null sink plays, as mono samples, from a Space to `ms` after the sound starts, a
    // second Space and a moment more. It goes to a file: a pipe left unread for a moment fills up
    // and the sound server drops what follows.
    const auto playAndPause = [&](int ms) {
        const QString raw = dir.filePath(QStringLiteral("sink.raw"));
        QProcess parec;
        parec.setStandardOutputFile(raw);
        parec.start(QStringLiteral("parec"), {"-d", "nullsink.monitor", "--raw", "--format=s16le", "--rate=44100",
                                              "--channels=2", "--latency-msec=20"});
        EXPECT_TRUE(parec.waitForStarted(5000)) << "parec runs";
        const auto recorded = [&] {
            const QByteArray bytes = fixtures::readFile(raw);
            const auto* s = reinterpret_cast<const int16_t*>(bytes.constData());
            std::vector<float> mono(size_t(bytes.size()) / 4);
            for (size_t i = 0; i < mono.size(); ++i)
                mono[i] = (float(s[2 * i]) + float(s[2 * i + 1])) / 65536.0f;
            return mono;
        };
        QThread::msleep(300);
        press(QStringLiteral("space"));
        // A sound server on a loaded machine may hold a first stream back for seconds.
        waitUntil([&] {
            const std::vector<float> pcm = recorded();
            return pcm.size() > kRate / 10 && sounds(pcm, pcm.size() - kRate / 10, kRate / 10);
        }, 10000);
        QThread::msleep(ms);
        press(QStringLiteral("space"));
        QThread::msleep(1500);
        parec.terminate();
        parec.waitForFinished(5000);
        return recorded();
    };

    const std::vector<float> played = playAndPause(1200);
    const double onset = measure::onset(played, kSoundAmplitude) / double(kRate);
    ASSERT_GE(onset, 0.0) << "Space plays the track with nothing selected";
    EXPECT_EQ(toneHeard(played, onset + 0.3), 220.0) << "from its start";
    EXPECT_TRUE(silentAtTheEnd(played)) << "the second Space leaves the sink silent";

    // 55 % to 70 % of a 20-s track is 11 s to 14 s, inside the third tone; past its end the fourth
    // would sound, so the same tone four seconds on means the selection went round. The drag runs
    // in the wave's lower part, away from the loop band.
    const auto waveAt = [&](double fraction) {
        return QPoint(geometry.left() + int(std::lround(fraction * geometry.width())), geometry.bottom() - kBelowTheWave - 30);
    };
    dragMouse(waveAt(0.55), waveAt(0.70));
    QThread::msleep(300);
    const std::vector<float> heard = playAndPause(5000);
    const double start = measure::onset(heard, kSoundAmplitude) / double(kRate);
    ASSERT_GE(start, 0.0) << "Space plays the selection";
    EXPECT_EQ(toneHeard(heard, start + 0.3), 440.0) << "the selection's tone";
    EXPECT_EQ(toneHeard(heard, start + 4.0), 440.0) << "still the selection's tone once its 3 s are over";
    EXPECT_TRUE(silentAtTheEnd(heard)) << "the second Space leaves the sink silent";
}
