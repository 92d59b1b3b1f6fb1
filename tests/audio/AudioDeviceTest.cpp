// The engine on the system's default output device: a null sink of the test's own, on the PulseAudio server
// that scripts/test-session.sh starts.
#include "EngineHarness.h"

#include "audio/DeviceOutput.h"

#include <QProcess>

#include <chrono>
#include <csignal>

namespace {

using Clock = std::chrono::steady_clock;

// Opening a device must leave Ctrl+C and a logout to the application.
bool deviceAvailableLeavingSignalsAlone()
{
    struct sigaction before[2] {}, after[2] {};
    for (int i : {0, 1})
        sigaction(i ? SIGTERM : SIGINT, nullptr, &before[i]);
    DeviceOutput probe;
    const bool ok = probe.open(44100, 2);
    for (int i : {0, 1}) {
        sigaction(i ? SIGTERM : SIGINT, nullptr, &after[i]);
        EXPECT_EQ(after[i].sa_handler, before[i].sa_handler) << (i ? "SIGTERM" : "SIGINT");
    }
    probe.close();
    return ok;
}

// A null sink of this test's own, made the process's default before SDL connects, so that other
// tests playing at the same time are not recorded with it.
struct PrivateSink {
    const QString name = QStringLiteral("lento-test-%1").arg(QCoreApplication::applicationPid());
    QByteArray module;
    PrivateSink()
    {
        QProcess pactl;
        pactl.start("pactl", {"load-module", "module-null-sink", "sink_name=" + name, "rate=44100", "channels=2", "format=float32le"});
        if (pactl.waitForFinished(5000) && pactl.exitCode() == 0 && !(module = pactl.readAllStandardOutput().trimmed()).isEmpty())
            qputenv("PULSE_SINK", name.toUtf8());
    }
    ~PrivateSink()
    {
        if (!module.isEmpty())
            QProcess::execute("pactl", {"unload-module", QString::fromUtf8(module)});
    }
};

// What a sink plays, read from its monitor as it arrives, each chunk stamped on the clock the
// playhead is sampled on; parec's own buffering is kept to 5 ms.
struct SinkMonitor {
    QProcess parec;
    std::vector<float> samples;
    std::vector<std::pair<size_t, Clock::time_point>> arrivals;

    bool start(const QString& source)
    {
        parec.start("parec", {"-d", source, "--raw", "--format=float32le", "--rate=44100", "--channels=1", "--latency-msec=5"});
        QObject::connect(&parec, &QProcess::readyReadStandardOutput, [this] {
            const QByteArray bytes = parec.readAllStandardOutput();
            const auto* data = reinterpret_cast<const float*>(bytes.constData());
            samples.insert(samples.end(), data, data + bytes.size() / int(sizeof(float)));
            arrivals.push_back({samples.size(), Clock::now()});
        });
        return parec.waitForStarted(3000);
    }
    ~SinkMonitor()
    {
        parec.kill();
        parec.waitForFinished(3000);
    }
    // When sample `index` was at the sink: its chunk's arrival less what followed it in the chunk.
    Clock::time_point timeOf(size_t index) const
    {
        for (const auto& [count, at] : arrivals)
            if (count > index)
                return at - std::chrono::microseconds(int64_t(double(count - index) * 1e6 / 44100.0));
        return {};
    }
};

} // namespace

// A click at a known frame, as recorded at the sink, against the playhead sampled meanwhile: the
// two agree within 20 ms, and the playhead never steps back.
TEST(AudioDevice, ThePlayheadIsWhatTheSinkPlays)
{
    const PrivateSink sink;
    if (sink.module.isEmpty() || !deviceAvailableLeavingSignalsAlone())
        GTEST_SKIP() << "no PulseAudio server here; scripts/test-session.sh provides one";
    const std::vector<int64_t> clicks{22050, 44100, 66150};
    EngineHarness h(AudioEngine::Options{.watchSystem = false});
    ASSERT_TRUE(h.load(EngineHarness::burstTrack(4 * 44100, clicks)));
    AudioEngine& engine = h.engine;
    for (float speed : {1.0f, 0.5f}) {
        SinkMonitor monitor;
        ASSERT_TRUE(monitor.start(sink.name + ".monitor"));
        EngineHarness::runFor(300);
        engine.fillBufferFrom(0.0f, 1.0f, 0.0f);
        engine.setSpeed(speed);
        ASSERT_TRUE(engine.playPause());
        std::vector<std::pair<Clock::time_point, double>> playhead;
        EngineHarness::waitFor([&] {
            playhead.push_back({Clock::now(), engine.currentSampleTime()});
            return playhead.back().second >= 1.7 * 44100;
        }, 6000, false);
        // What waits between the player and the ear bounds how soon a speed or pitch change is heard.
        EXPECT_LT(double(engine.graph()->ring()->queuedFrames() + engine.graph()->output().latencyFrames()) / 44100.0, 0.12);
        EXPECT_FALSE(engine.playPause());
        const double pausedAt = engine.currentSampleTime();
        EngineHarness::runFor(200);
        EXPECT_EQ(engine.currentSampleTime(), pausedAt) << "a pause holds the playhead at once";
        for (size_t i = 1; i < playhead.size(); ++i)
            ASSERT_GE(playhead[i].second, playhead[i - 1].second) << "a step back, speed " << speed;

        size_t at = 0;
        for (int64_t click : clicks) {
            while (at < monitor.samples.size() && std::fabs(monitor.samples[at]) < 0.3f)
                ++at;
            ASSERT_LT(at, monitor.samples.size()) << "click " << click << " never reached the sink, speed " << speed;
            const auto crossed = std::find_if(playhead.begin(), playhead.end(), [&](const auto& sample) { return sample.second >= double(click); });
            ASSERT_NE(crossed, playhead.end());
            const double offsetMs = std::chrono::duration<double, std::milli>(crossed->first - monitor.timeOf(at)).count();
            EXPECT_NEAR(offsetMs, 0.0, timing::scaled(20.0)) << "click at " << click << ", speed " << speed;
            at += 4410;
        }
    }
}
