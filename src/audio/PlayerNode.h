#pragma once

#include "audio/AudioBuffer.h"
#include "audio/AudioRenderSource.h"
#include "audio/FrameSource.h"
#include "audio/PassPlan.h"
#include "audio/SeqlockHistory.h"
#include "audio/SpscQueue.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

// Where a segment's end jumps to (a loop back to its start, a head into its loop): the last
// `frames` frames are cross-faded, at equal power, with the source frames leading up to
// `toFrame`, so the jump makes no click and every pass keeps its exact length.
struct SegmentSeam {
    int64_t toFrame = -1;
    int frames = 0;
};

// Plays scheduled buffers and source segments one after the other, sample-exactly, to a render
// thread that pulls it.
//
// Threads: scheduling and transport calls come from non-real-time threads (main thread and
// completion handlers; they are serialised among themselves). render() runs on one real-time
// thread at a time. Finished and dropped items travel back through a lock-free queue; their
// completion handlers run, and their buffers are released, in processCompletions() - called by
// the completion thread (startCompletionThread) or by the owner, never by render().
//
// Commands take effect at the next render() call: isPlaying() answers at once, the schedule is
// changed when the render thread next looks.
class ClickTrack;

class PlayerNode : public AudioRenderSource {
public:
    enum Option : uint32_t { Loops = 1, Interrupts = 2 };
    enum class Ending { Consumed, Dropped };
    struct Ended {
        Ending how;
        int64_t sampleTime; // the time line when the item ended, for telling when its last frame is heard
    };
    using Completion = std::function<void(const Ended&)>;
    using Seam = SegmentSeam;

    explicit PlayerNode(int channelCount = 2, int maxScheduled = 64);
    ~PlayerNode() override;
    PlayerNode(const PlayerNode&) = delete;
    PlayerNode& operator=(const PlayerNode&) = delete;

    // While nothing renders (the graph is stopped): the channel count of every later render, any
    // number the source has.
    void setChannelCount(int channels);
    int channelCount() const override { return m_channelCount.load(std::memory_order_acquire); }

    // Queued behind what is scheduled. Options: Loops repeats the buffer until something
    // interrupts it (its completion then reports Dropped); Interrupts drops everything scheduled
    // before it and plays at once. False when too many items are outstanding.
    bool scheduleBuffer(std::shared_ptr<const AudioBuffer> buffer, uint32_t options = 0, Completion completion = {});
    // Plays frames [startFrame, startFrame + frameCount) of the source; ends early at its end.
    // Options as for buffers; a looping segment seams back to its own start.
    bool scheduleSegment(std::shared_ptr<const FrameSource> source, int64_t startFrame, int64_t frameCount,
                         uint32_t options = 0, Completion completion = {}, Seam seam = {});

    // A pass of the looping segment that plays: which source frames, from which point of the
    // time line on.
    struct Pass {
        int64_t sampleTime = 0; // where its lead begins; its first source frame follows the lead
        int64_t lead = 0;
        int64_t start = 0;
        int64_t count = 0;
        uint32_t epoch = 0;
        double trainedRate = 0.0; // the speed a trainer gave it, 0 for none
    };
    // The looping segment takes these frames from its next pass on: the pass under way ends where
    // it was going, seaming into the new start. A later call before that seam replaces it.
    void setNextPass(int64_t startFrame, int64_t frameCount);
    // The last pass that began at or before `sampleTime` in this play; false before the first
    // seam (or when the history has moved on past it).
    bool passAt(int64_t sampleTime, Pass& pass) const;
    // What the looping segment does across its passes, from its next pass on. A plan with
    // another trainer starts its run again.
    void setPassPlan(const PassPlan& plan);
    // The speed set by hand, which a lead's length follows when nothing trains.
    void setHandRate(double rate) { m_handRate.store(rate, std::memory_order_relaxed); }
    // While nothing renders: the rate leads are counted at, and where a count-in's clicks go.
    void setSampleRate(double rate) { m_sampleRate = rate; }
    void setClickTrack(ClickTrack* clicks) { m_clicks = clicks; }

    void play();
    // Halts output; keeps the schedule and the sample time line.
    void pause();
    // Drops everything scheduled (completions report Dropped), halts and resets the time line.
    void stop();
    // Same as stop(): the node has no processing state beyond its schedule.
    void reset();

    bool isPlaying() const { return m_playing.load(std::memory_order_acquire); }
    // True from play() until stop()/reset(): the node has a sample time line.
    bool hasTimeline() const;
    // Frames given out since the time line began (silence included once the schedule has run
    // dry while playing); kept through pause, 0 after stop.
    int64_t sampleTime() const;

    void render(float* const* out, int frames) override;
    double lastRenderTime() const override { return double(m_lastRenderStart); }
    bool playedLastRender() const override { return m_playedLast; }
    bool startedStreamLastRender() const override { return m_startedLast; }
    int64_t framesToPassEnd() const override;
    double passRate() const override { return m_passRate; }
    double passRateSince() const override { return double(m_passRateSince); }
    uint32_t renderEpoch() const { return m_renderEpoch; }
    // Bumped by every stop(); a render stamped with another epoch belongs to an earlier play.
    uint32_t epoch() const { return m_epoch.load(std::memory_order_acquire); }

    // Runs the completion handlers of finished or dropped items and releases them. Returns how
    // many were handled. Not real-time; safe from any thread, serialised internally.
    int processCompletions();
    void startCompletionThread();
    void stopCompletionThread();
    // Makes resident the source frames the playing segment reaches next (and its loop start), so
    // the render thread never waits for the disk. Not real-time; the completion thread calls it.
    void prefetchAhead(int64_t frames);

private:
    struct Item;
    struct Report {
        Item* item;
        Ending ending;
        int64_t sampleTime;
    };

    bool enqueue(Item* item);
    void drainCommands(uint32_t epoch);
    void dropOlderThan(uint32_t epoch);
    void dropAll();
    void report(Item* item, Ending ending, int64_t sampleTime);
    int copyFrom(Item& item, float* const* out, int offset, int frames, int channels);
    int readSegment(Item& item, float* const* dst, int frames, int channels);
    void takeNextPass(Item& item);
    void beginPass(Item& item, int64_t sampleTime);
    void takePlan();
    int renderLead(Item& item, float* const* out, int offset, int frames, int channels);
    void crossfadeSeam(const Item& item, int64_t cursor, float* const* dst, int frames, int channels);
    void publishTime();

    std::atomic<int> m_channelCount;
    const int m_maxScheduled;

    // Non-real-time side.
    mutable std::mutex m_producerMutex;
    std::atomic<bool> m_playing{false};
    bool m_timeline = false;
    std::atomic<uint32_t> m_epoch{0}; // bumped by stop(): items of older epochs are dropped
    std::atomic<int> m_outstanding{0};

    SpscQueue<Item*> m_commands;
    SpscQueue<Report> m_reports;

    // Render side.
    std::vector<Item*> m_items; // circular, m_maxScheduled slots, made up front
    size_t m_head = 0;
    size_t m_count = 0;
    uint32_t m_renderEpoch = 0;
    int64_t m_frames = 0;
    int64_t m_lastRenderStart = 0;
    bool m_playedLast = false;
    bool m_startedLast = false;
    bool m_wasPlaying = false;
    std::vector<float*> m_offsetPointers;           // made in setChannelCount
    std::vector<std::vector<float>> m_seamScratch;  // the frames faded in at a seam
    std::vector<float*> m_seamPointers;
    std::vector<float*> m_seamReadPointers;
    std::atomic<Item*> m_current{nullptr};          // for the prefetcher
    std::atomic<int64_t> m_currentFrame{0};
    std::atomic<int64_t> m_currentStart{0};
    std::atomic<int64_t> m_currentCount{0};
    std::atomic<int64_t> m_currentSeamTo{0};
    std::atomic<int> m_currentSeamFrames{0};
    const Item* m_prefetchedItem = nullptr; // completion thread only
    int64_t m_prefetchedFrom = 0;
    int64_t m_releasedUpTo = 0;
    std::atomic<uint64_t> m_publishedTime{0}; // epoch in the top 16 bits, frames below

    struct Range {
        int64_t start;
        int64_t count;
        uint32_t epoch;
    };
    SeqlockHistory<Range, 2> m_nextPass;   // written under m_producerMutex, read by render()
    uint64_t m_nextPassTaken = 0;           // render side: how many of them were taken
    SeqlockHistory<Pass, 8> m_passes;       // written by render(), read by anyone
    SeqlockHistory<PassPlan, 2> m_plans;    // written under m_producerMutex, read by render()
    std::atomic<double> m_handRate{1.0};
    double m_sampleRate = 44100.0;
    ClickTrack* m_clicks = nullptr;
    PassPlan m_plan;                        // render side from here on
    uint64_t m_plansTaken = 0;
    int64_t m_passInRun = 0;
    double m_passRate = 0.0;
    int64_t m_passRateSince = 0;

    std::mutex m_completionMutex;
    std::thread m_completionThread;
    std::atomic<bool> m_completionRunning{false};
};
