// The engine on the system's default output device: a null sink of the test's own, on the PulseAudio server
// that scripts/test-session.sh starts.
#include "EngineHarness.h"

#include "audio/DeviceOutput.h"

#include <QProcess>

#include <SDL.h>

#include <chrono>
#include <csignal>

namespace {

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

using Clock = std::chrono::steady_clock;

// A null sink of this test's own, made the process's default before SDL connects, so that other
// tests playing at the same time are not recorded with it.
class PrivateSink {
public:
    PrivateSink() : m_name(QStringLiteral("lento-test-%1").arg(QCoreApplication::applicationPid()))
    {
        QProcess pactl;
        pactl.start(QStringLiteral("pactl"), {"load-module", "module-null-sink", "sink_name=" + m_name, "rate=44100",
                                              "channels=2", "format=float32le"});
        if (pactl.waitForFinished(5000) && pactl.exitCode() == 0)
            m_module = pactl.readAllStandardOutput().trimmed();
        if (loaded())
            qputenv("PULSE_SINK", m_name.toUtf8());
    }
    ~PrivateSink()
    {
        if (loaded())
            QProcess::execute(QStringLiteral("pactl"), {"unload-module", QString::fromUtf8(m_module)});
    }
    bool loaded() const { return !m_module.isEmpty(); }
    QString monitor() const { return m_name + ".monitor"; }

private:
    QString m_name;
    QByteArray m_module;
};

// What a sink plays, read from its monitor as it arrives, each chunk stamped on the clock the
// playhead is sampled on; parec's own buffering is kept to 5 ms.
class SinkMonitor {
public:
    bool start(const QString& source)
    {
        m_parec.start(QStringLiteral("parec"), {"-d", source, "--raw", "--format=float32le", "--rate=44100",
                                                "--channels=1", "--latency-msec=5"});
        QObject::connect(&m_parec, &QProcess::readyReadStandardOutput, [this] {
            const QByteArray bytes = m_parec.readAllStandardOutput();
            const auto* samples = reinterpret_cast<const float*>(bytes.constData());
            m_samples.insert(m_samples.end(), samples, samples + bytes.size() / int(sizeof(float)));
            m_arrivals.push_back({m_samples.size(), Clock::now()});
        });
        return m_parec.waitForStarted(3000);
    }
    ~SinkMonitor()
    {
        m_parec.kill();
        m_parec.waitForFinished(3000);
    }
    const std::vector<float>& samples() const { return m_samples; }
    // When sample `index` was at the sink: its chunk's arrival less what followed it in the chunk.
    Clock::time_point timeOf(size_t index) const
    {
        for (const auto& [count, at] : m_arrivals)
            if (count > index)
                return at - std::chrono::microseconds(int64_t(double(count - index) * 1e6 / 44100.0));
        return Clock::time_point{};
    }

private:
    QProcess m_parec;
    std::vector<float> m_samples;
    std::vector<std::pair<size_t, Clock::time_point>> m_arrivals;
};

} // namespace

// A click at a known frame, as recorded at the sink, against the playhead sampled meanwhile: the
// two agree within 20 ms, and the playhead never steps back.
TEST(AudioDevice, ThePlayheadIsWhatTheSinkPlays)
{
    const PrivateSink sink;
    if (!sink.loaded() || !deviceAvailableLeavingSignalsAlone())
        GTEST_SKIP() << "no PulseAudio server here; scripts/test-session.sh provides one";
    QTemporaryDir dir;
    const QString path = dir.filePath("clicks.wav");
    const std::vector<int64_t> clicks{22050, 44100, 66150};
    ASSERT_TRUE(fixtures::writeWav(path, fixtures::synthesise(44100, 2, 4 * 44100, [&](int64_t f, int) {
        for (int64_t at : clicks)
            if (f >= at && f < at + 220)
                return float(0.9 * std::sin(2 * M_PI * 2000.0 * double(f - at) / 44100.0));
        return 0.0f;
    })));
    AudioEngine::Options options;
    options.watchSystem = false;
    AudioEngine engine(options);
    ASSERT_TRUE(engine.readAudioDataFromURL(QUrl::fromLocalFile(path)));
    for (float speed : {1.0f, 0.5f}) {
        SinkMonitor monitor;
        ASSERT_TRUE(monitor.start(sink.monitor()));
        EngineHarness::runFor(300);
        engine.fillBufferFrom(0.0f, 1.0f, 0.0f);
        engine.setSpeed(speed);
        ASSERT_TRUE(engine.playPause());
        std::vector<std::pair<Clock::time_point, double>> playhead;
        QElapsedTimer timer;
        timer.start();
        while (timer.elapsed() < 6000 && (playhead.empty() || playhead.back().second < 1.7 * 44100)) {
            QCoreApplication::processEvents();
            playhead.push_back({Clock::now(), engine.currentSampleTime()});
            QThread::usleep(1000);
        }
        // What waits between the player and the ear bounds how soon a speed or pitch change is heard.
        const double aheadSeconds =
            double(engine.graph()->ring()->queuedFrames() + engine.graph()->output().latencyFrames()) / 44100.0;
        EXPECT_LT(aheadSeconds, 0.12);
        EXPECT_FALSE(engine.playPause());
        const double pausedAt = engine.currentSampleTime();
        EngineHarness::runFor(200);
        EXPECT_EQ(engine.currentSampleTime(), pausedAt) << "a pause holds the playhead at once";
        for (size_t i = 1; i < playhead.size(); ++i)
            ASSERT_GE(playhead[i].second, playhead[i - 1].second) << "a step back, speed " << speed;

        size_t searchFrom = 0;
        for (int64_t click : clicks) {
            size_t at = searchFrom;
            while (at < monitor.samples().size() && std::fabs(monitor.samples()[at]) < 0.3f)
                ++at;
            ASSERT_LT(at, monitor.samples().size()) << "click " << click << " never reached the sink, speed " << speed;
            searchFrom = at + 4410;
            const auto crossed = std::find_if(playhead.begin(), playhead.end(),
                                              [&](const auto& sample) { return sample.second >= double(click); });
            ASSERT_NE(crossed, playhead.end());
            const double offsetMs = std::chrono::duration<double, std::milli>(crossed->first - monitor.timeOf(at)).count();
            RecordProperty("speed_" + std::to_string(int(speed * 100)) + "_click_" + std::to_string(click) + "_ms",
                           int(std::lround(offsetMs)));
            EXPECT_NEAR(offsetMs, 0.0, timing::scaled(20.0)) << "click at " << click << ", speed " << speed;
        }
    }
}
