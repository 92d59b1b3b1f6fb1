#pragma once

#include "audio/AudioFormat.h"
#include "audio/AudioRing.h"
#include "audio/Equalizer.h"
#include "audio/MatrixMixer.h"
#include "audio/PlayerNode.h"
#include "audio/TimePitchStage.h"

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

class AudioOutput;

// The chain the engine drives: player node → time-pitch → matrix mixer → equaliser → main mix →
// output. The chain renders on its own thread into a ring kept about 80 ms ahead, because the
// stretcher sometimes needs longer for one block than the block lasts; 80 ms covers its slowest
// blocks while a speed change is still heard within 120 ms. The output's callback only copies
// from the ring. With an inline output (tests, export) the callback renders directly.
class AudioGraph {
public:
    static constexpr int kOutputChannels = 2;
    static constexpr int kBlockFrames = 512;
    // The largest block an offline pull renders at once; fewer, larger stretcher calls are faster.
    static constexpr int kMaxOfflineFrames = 4096;
    static constexpr double kAheadSeconds = 0.08;

    enum class Rendering { OnRenderThread, InOutputCallback };

    AudioGraph(std::unique_ptr<AudioOutput> output, Rendering rendering);
    ~AudioGraph();
    AudioGraph(const AudioGraph&) = delete;
    AudioGraph& operator=(const AudioGraph&) = delete;

    PlayerNode& playerNode() { return m_player; }
    const PlayerNode& playerNode() const { return m_player; }
    TimePitchStage& pitchNode() { return m_pitch; }
    const TimePitchStage& pitchNode() const { return m_pitch; }
    MatrixMixer& mixer() { return m_mixer; }
    Equalizer& eqNode() { return m_eq; }
    AudioOutput& output() { return *m_output; }

    // Whether an output device can be opened at all (the graph's "output format" is empty otherwise).
    bool hasOutputDevice();

    // Carries `format` through every stage. Only while stopped.
    void connect(const AudioFormat& format);
    const AudioFormat& format() const { return m_format; }

    bool start();
    // Silences at once: the output stops and what waits in the ring is dropped.
    void stop();
    // Stops and forgets what the stretcher holds.
    void reset();
    bool isRunning() const { return m_running; }

    // A seek or a new range: what is rendered ahead is dropped and the stretcher starts afresh.
    void flush();

    // Source frames between the player node's time line and the ear: the stretcher's latency
    // plus, scaled by the rate, the ring and the device.
    double heardLatencyFrames() const;

    // Pulled block by block with no device (export): running, but nothing reaches the output.
    bool startManualRendering();
    void stopManualRendering();
    bool isManualRendering() const { return m_manual; }
    // `frames` frames of the whole chain into out[0..kOutputChannels); only in manual rendering.
    void renderOffline(float* const* out, int frames);

private:
    void renderBlock(float* const* out, int frames);
    void fillFromOutputCallback(float* interleaved, int frames);
    void renderThreadLoop();
    void applyRequestedFlush();
    void startRenderThread();
    void stopRenderThread();

    std::unique_ptr<AudioOutput> m_output;
    const Rendering m_rendering;
    AudioFormat m_format;
    bool m_running = false;
    bool m_manual = false;

    PlayerNode m_player;
    TimePitchStage m_pitch;
    MatrixMixer m_mixer;
    Equalizer m_eq;
    std::unique_ptr<AudioRing> m_ring;

    // Render-side scratch, made in connect().
    std::vector<std::vector<float>> m_stageBuffers;
    std::vector<float*> m_stagePointers;
    std::vector<std::vector<float>> m_mixBuffers;
    std::vector<float*> m_mixPointers;

    std::thread m_renderThread;
    std::atomic<bool> m_renderThreadRunning{false};
    std::atomic<bool> m_flushRequested{false};
};
