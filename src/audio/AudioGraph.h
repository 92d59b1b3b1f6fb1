#pragma once

#include "audio/AudioFormat.h"
#include "audio/AudioRing.h"
#include "audio/CentreExtractor.h"
#include "audio/ChannelDownmix.h"
#include "audio/ClickTrack.h"
#include "audio/Equalizer.h"
#include "audio/HeardTimeline.h"
#include "audio/Limiter.h"
#include "audio/MatrixMixer.h"
#include "audio/PlayerNode.h"
#include "audio/TimePitchStage.h"

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

class AudioOutput;

// The chain the engine drives: player node → (fold to stereo) → time-pitch → matrix mixer →
// centre extractor → equaliser → count-in clicks → limiter → output. The chain renders on its own thread into a ring kept about 80 ms
// ahead, because the stretcher sometimes needs longer for one block than the block lasts; 80 ms
// covers its slowest blocks while a speed change is still heard within 120 ms. The output's
// callback only copies from the ring. With an inline output the callback renders directly.
//
// A new stream (the player starting after a stop) drops what the ring holds at the moment its
// first block is written, on the rendering side, so nothing of a start is lost and nothing old
// is heard after it.
class AudioGraph {
public:
    static constexpr int kOutputChannels = 2;
    static constexpr int kBlockFrames = 512;
    static constexpr double kAheadSeconds = 0.08;
    static constexpr double kFadeSeconds = 0.005;

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
    CentreExtractor& centre() { return m_centre; }
    Equalizer& eqNode() { return m_eq; }
    AudioOutput& output() { return *m_output; }
    const AudioRing* ring() const { return m_ring.get(); }

    // Carries `format` through every stage. Only while stopped.
    void connect(const AudioFormat& format);
    const AudioFormat& format() const { return m_format; }

    // Opens the output first when it is closed, lost or at another rate; false when it can not be
    // opened. Every stage before it works the same with the output closed.
    bool start();
    // Silences at once: the output stops and what waits in the ring is dropped.
    void stop();
    // Stops and forgets what the stretcher holds.
    void reset();
    // Stops for good: joins the completion thread and runs what it left here. The owner calls it
    // while the handlers it gave can still reach the graph.
    void shutdown();
    bool isRunning() const { return m_running; }

    // Fades what the device plays out over kFadeSeconds and keeps it silent until the next new
    // stream, so a stop or pause never cuts a wave. Waits for the device to take the fade, which
    // is at most one of its blocks.
    void fadeOut();

    // The longest a block took to render so far: what the ring ahead must cover.
    double worstBlockSeconds() const { return m_worstBlockSeconds.load(std::memory_order_relaxed); }

    // The player's time line at the ear now, and the epoch it belongs to.
    HeardTimeline::Heard heard() const;

private:
    bool renderBlock(float* const* out, int frames);
    void writeBlock();
    void fillFromOutputCallback(float* interleaved, int frames);
    void shapeDeviceBlock(float* interleaved, int frames);
    void renderThreadLoop();
    void startRenderThread();
    void stopRenderThread();

    std::unique_ptr<AudioOutput> m_output;
    const Rendering m_rendering;
    AudioFormat m_format;
    std::atomic<bool> m_running{false}; // read by the completion thread while an end is awaited

    PlayerNode m_player;
    ChannelDownmix m_downmix;
    TimePitchStage m_pitch;
    MatrixMixer m_mixer;
    CentreExtractor m_centre;
    Equalizer m_eq;
    Limiter m_limiter;
    ClickTrack m_clicks;
    std::unique_ptr<AudioRing> m_ring;
    HeardTimeline m_timeline;

    // Render-side scratch, made in connect().
    std::vector<std::vector<float>> m_stageBuffers;
    std::vector<float*> m_stagePointers;
    std::vector<std::vector<float>> m_mixBuffers;
    std::vector<float*> m_mixPointers;

    std::thread m_renderThread;
    std::atomic<bool> m_renderThreadRunning{false};
    std::atomic<int> m_renderThreadId{0};
    std::atomic<double> m_worstBlockSeconds{0.0};

    // Fades: asked for on the main thread, done by the device side.
    std::atomic<uint32_t> m_fadeRequests{0};
    std::atomic<uint32_t> m_fadesDone{0};
    uint32_t m_fadeSeen = 0;
    int m_fadeFrames = 0;
    int m_fadeLeft = 0;
    bool m_muted = false;
    uint64_t m_flushesSeen = 0;
};
