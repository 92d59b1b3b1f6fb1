#pragma once

#include "audio/AudioEngine.h"
#include "audio/AudioPlayerDelegate.h"
#include "audio/ExportProgress.h"
#include "audio/VirtualOutput.h"
#include "common/Testing.h"
#include "common/Sanitizers.h"

struct RecordingDelegate : AudioPlayerDelegate {
    int finished = 0, setups = 0, noOutput = 0, resets = 0;
    void audioPlayerDidFinishPlaying(AudioEngine*, bool) override { ++finished; }
    void audioPlayerDidFinishSetupSuccessfully(bool flag) override { ++(flag ? setups : noOutput); }
    void audioPlayerWillReset() override { ++resets; }
};

struct ProgressRecorder : ExportProgress {
    std::vector<double> fractions;
    bool hidden = false;
    void setProgressBar(double fraction) override { fractions.push_back(fraction); }
    void hideProgressBar() override { hidden = true; }
};

struct EngineHarness {
    static constexpr int kRate = 44100;

    // Rendered in the test's own pulls: exactly what the graph gives, block by block, no clock.
    static AudioEngine::Options virtualOutput()
    {
        return {[] { return std::make_unique<VirtualOutput>(512, 0); }, AudioGraph::Rendering::InOutputCallback, false};
    }
    // As people hear it: the render thread feeding an output that takes blocks at the clock's pace.
    static AudioEngine::Options pacedOutput()
    {
        return {[] { return std::make_unique<VirtualOutput>(512, 0, VirtualOutput::Pacing::RealTime); },
                AudioGraph::Rendering::OnRenderThread, false};
    }

    // A stereo track of 5 ms bursts of 2 kHz at 0.9 starting at the frames `at`, over a 200 Hz bed
    // at `bed`: each burst is heard as one clear onset.
    static fixtures::Signal burstTrack(int64_t frames, std::vector<int64_t> at, float bed = 0.0f)
    {
        return fixtures::synthesise(kRate, 2, frames, [at, bed](int64_t f, int) {
            for (int64_t start : at)
                if (f >= start && f < start + 220)
                    return float(0.9 * std::sin(2 * M_PI * 2000.0 * double(f - start) / kRate));
            return float(bed * std::sin(2 * M_PI * 200.0 * double(f) / kRate));
        });
    }

    QTemporaryDir dir;
    RecordingDelegate delegate;
    ProgressRecorder progress;
    AudioEngine engine;

    explicit EngineHarness(AudioEngine::Options options = virtualOutput()) : engine(std::move(options))
    {
        engine.setDelegate(&delegate);
        engine.setExportProgress(&progress);
    }

    // Exports the current range `passes` times and reads the file back.
    fixtures::Signal exportTo(const QString& name, int passes = 1)
    {
        progress = {};
        engine.setExportPasses(passes);
        engine.exportToURL(QUrl::fromLocalFile(dir.filePath(name)), QStringLiteral("wav"));
        EXPECT_TRUE(waitFor([&] { return progress.hidden; }, 60000));
        fixtures::Signal written;
        EXPECT_TRUE(fixtures::readSoundFile(dir.filePath(name), written));
        return written;
    }

    bool load(const fixtures::Signal& signal, const QString& name = QStringLiteral("track.wav"))
    {
        const QString path = dir.filePath(name);
        return fixtures::writeWav(path, signal, true) && engine.readAudioDataFromURL(QUrl::fromLocalFile(path));
    }

    VirtualOutput& output() { return static_cast<VirtualOutput&>(engine.graph()->output()); }

    // Interleaved stereo frames as the device would receive them.
    std::vector<float> pull(int64_t frames) { return output().pull(frames); }
    std::vector<float> pullLeft(int64_t frames) { return channel(pull(frames), 0); }

    static std::vector<float> channel(const std::vector<float>& interleaved, int c) { return fixtures::Signal{kRate, 2, interleaved}.channel(c); }

    // Runs posted main-queue work until `done` or a generous bound (longer in a sanitized build);
    // completions arrive from another thread.
    template <typename Predicate>
    static bool waitFor(Predicate done, int timeoutMs = 3000, bool scaled = true)
    {
        QElapsedTimer timer;
        timer.start();
        while (!done() && timer.elapsed() < (scaled ? timing::scaled(timeoutMs) : timeoutMs)) {
            QCoreApplication::processEvents();
            QThread::msleep(2);
        }
        return done();
    }

    // Runs posted main-queue work for `ms` of the clock, as long in every build: a test's own pause.
    static void runFor(int ms) { waitFor([] { return false; }, ms, false); }
};
