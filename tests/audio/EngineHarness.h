#pragma once

#include "audio/AudioEngine.h"
#include "audio/AudioPlayerDelegate.h"
#include "audio/VirtualOutput.h"
#include "common/AudioFixtures.h"
#include "SignalMeasure.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QThread>
#include <QUrl>

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

// An engine over a virtual output that renders in its pull, so a test hears exactly what the
// graph gives out, block by block, with no device and no clock.
struct RecordingDelegate : AudioPlayerDelegate {
    int finished = 0;
    int setups = 0;
    int resets = 0;
    void audioPlayerDidFinishPlaying(AudioEngine*, bool) override { ++finished; }
    void audioPlayerDidFinishSetupSuccessfully(bool) override { ++setups; }
    void audioPlayerWillReset() override { ++resets; }
};

struct EngineHarness {
    static constexpr int kRate = 44100;

    static AudioEngine::Options virtualOutput()
    {
        return {[] { return std::make_unique<VirtualOutput>(512, 0); }, AudioGraph::Rendering::InOutputCallback, false};
    }

    QTemporaryDir dir;
    RecordingDelegate delegate;
    AudioEngine engine{virtualOutput()};

    EngineHarness() { engine.setDelegate(&delegate); }

    bool load(const fixtures::Signal& signal, const QString& name = QStringLiteral("track.wav"))
    {
        const QString path = dir.filePath(name);
        return fixtures::writeWav(path, signal, true) && engine.readAudioDataFromURL(QUrl::fromLocalFile(path));
    }

    VirtualOutput& output() { return static_cast<VirtualOutput&>(engine.graph()->output()); }

    // Interleaved stereo frames as the device would receive them.
    std::vector<float> pull(int64_t frames) { return output().pull(frames); }

    static std::vector<float> channel(const std::vector<float>& interleaved, int c)
    {
        std::vector<float> out(interleaved.size() / 2);
        for (size_t i = 0; i < out.size(); ++i)
            out[i] = interleaved[2 * i + size_t(c)];
        return out;
    }

    // Runs posted main-queue work until `done` or a generous bound; completions arrive from
    // another thread.
    template <typename Predicate>
    static bool waitFor(Predicate done, int timeoutMs = 3000)
    {
        QElapsedTimer timer;
        timer.start();
        while (!done() && timer.elapsed() < timeoutMs) {
            QCoreApplication::processEvents();
            QThread::msleep(2);
        }
        return done();
    }
};

