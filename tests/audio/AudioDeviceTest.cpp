// The engine on the system's default output device (a PulseAudio null sink in CI).
#include "audio/AudioEngine.h"
#include "audio/DeviceOutput.h"
#include "common/AudioFixtures.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QThread>
#include <QUrl>

#include <SDL.h>

#include <gtest/gtest.h>


namespace {

bool deviceAvailable()
{
    DeviceOutput probe;
    const bool ok = probe.open(44100, 2);
    probe.close();
    return ok;
}

void spin(int ms)
{
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < ms) {
        QCoreApplication::processEvents();
        QThread::msleep(5);
    }
}

struct Pace {
    double start;   // track time when measuring began
    double played;  // seconds of track time
    double elapsed; // seconds on the clock
};

// Lets playback settle, then measures how far the track moves against the clock.
Pace measurePace(const AudioEngine& engine)
{
    spin(150);
    const double start = engine.currentTime();
    QElapsedTimer clock;
    clock.start();
    spin(600);
    return {start, engine.currentTime() - start, clock.elapsed() / 1000.0};
}

} // namespace

TEST(AudioDevice, PlaysAtRealTimePaceAndPausesAtOnce)
{
    if (!deviceAvailable())
        GTEST_SKIP() << "no output device here; scripts/test-session.sh provides one";
    QTemporaryDir dir;
    const QString path = dir.filePath("tone.wav");
    ASSERT_TRUE(fixtures::writeWav(path, fixtures::stereoSines(44100, 5 * 44100)));

    AudioEngine::Options options;
    options.watchSystem = false;
    AudioEngine engine(options);
    ASSERT_TRUE(engine.readAudioDataFromURL(QUrl::fromLocalFile(path)));
    ASSERT_TRUE(engine.playPause());
    const Pace pace = measurePace(engine);
    EXPECT_NEAR(pace.played, pace.elapsed, 0.08) << "the playhead moves with the clock";

    // What waits between the player and the ear bounds how soon a speed or pitch change is heard.
    const double aheadSeconds =
        double(engine.graph()->ring()->queuedFrames() + engine.graph()->output().latencyFrames()) / 44100.0;
    EXPECT_LT(aheadSeconds, 0.12);
    RecordProperty("ahead_ms", int(aheadSeconds * 1000));

    EXPECT_FALSE(engine.playPause());
    const double pausedAt = engine.currentTime();
    spin(200);
    EXPECT_EQ(engine.currentTime(), pausedAt);
    EXPECT_NEAR(pausedAt, pace.start + pace.played, 0.1);
}

