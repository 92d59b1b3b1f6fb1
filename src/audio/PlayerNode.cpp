#include "audio/PlayerNode.h"

#include "audio/ClickTrack.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>

struct PlayerNode::Item {
    std::shared_ptr<const AudioBuffer> buffer;
    std::shared_ptr<const FrameSource> source;
    int64_t start = 0; // first source frame (segments)
    int64_t count = 0;
    int64_t nextStart = -1; // the range of the next pass, when it changes (looping segments)
    int64_t nextCount = 0;
    int askedSeamFrames = 0;
    int64_t cursor = 0;
    bool begun = false;         // looping segments: its first pass has begun
    bool leadsNext = false;     // the next pass has a lead, so this one fades out to silence
    int64_t leadFrames = 0;     // of the pass under way
    int64_t leadLeft = 0;
    bool loops = false;
    bool interrupts = false;
    Seam seam;
    uint32_t epoch = 0;
    Completion completion;
};

namespace {

constexpr int kFrameBits = 48;
constexpr uint64_t kFrameMask = (uint64_t(1) << kFrameBits) - 1;
constexpr int kMaxSeamFrames = 4096;
// About three seconds at common rates: far more than the render thread runs ahead.
constexpr int64_t kPrefetchFrames = 1 << 17;

bool olderThan(uint32_t a, uint32_t b) { return int32_t(a - b) < 0; }

// A seam no longer than half the segment keeps the start of every pass untouched.
int seamFramesFor(int asked, int64_t count)
{
    return int(std::clamp<int64_t>(asked, 0, std::min<int64_t>(kMaxSeamFrames, count / 2)));
}

} // namespace

PlayerNode::PlayerNode(int channelCount, int maxScheduled)
    : m_channelCount(1),
      m_maxScheduled(std::max(1, maxScheduled)),
      m_commands(size_t(m_maxScheduled)),
      m_reports(size_t(m_maxScheduled)),
      m_items(size_t(m_maxScheduled), nullptr)
{
    setChannelCount(channelCount);
}

PlayerNode::~PlayerNode()
{
    stopCompletionThread();
    // Nothing renders any more: release what is still held without running its handlers, whose
    // owners may be gone.
    Item* item = nullptr;
    while (m_commands.pop(item))
        delete item;
    for (size_t i = 0; i < m_count; ++i)
        delete m_items[(m_head + i) % m_items.size()];
    Report r{};
    while (m_reports.pop(r))
        delete r.item;
}

void PlayerNode::setChannelCount(int channels)
{
    channels = std::max(1, channels);
    m_offsetPointers.assign(size_t(channels), nullptr);
    m_seamReadPointers.assign(size_t(channels), nullptr);
    m_seamScratch.assign(size_t(channels), std::vector<float>(size_t(kMaxSeamFrames)));
    m_seamPointers.clear();
    for (auto& channel : m_seamScratch)
        m_seamPointers.push_back(channel.data());
    m_channelCount.store(channels, std::memory_order_release);
}

bool PlayerNode::scheduleBuffer(std::shared_ptr<const AudioBuffer> buffer, uint32_t options, Completion completion)
{
    if (!buffer)
        return false;
    auto* item = new Item;
    item->count = buffer->frameCount();
    item->buffer = std::move(buffer);
    item->loops = (options & Loops) && item->count > 0;
    item->interrupts = options & Interrupts;
    item->completion = std::move(completion);
    return enqueue(item);
}

bool PlayerNode::scheduleSegment(std::shared_ptr<const FrameSource> source, int64_t startFrame, int64_t frameCount,
                                 uint32_t options, Completion completion, Seam seam)
{
    if (!source)
        return false;
    auto* item = new Item;
    item->source = std::move(source);
    item->start = std::max<int64_t>(0, startFrame);
    item->count = std::max<int64_t>(0, frameCount);
    item->loops = (options & Loops) && item->count > 0;
    item->interrupts = options & Interrupts;
    if (item->loops)
        seam.toFrame = item->start;
    item->askedSeamFrames = seam.frames;
    seam.frames = seamFramesFor(seam.frames, item->count);
    item->seam = seam.toFrame >= 0 ? seam : Seam{};
    item->completion = std::move(completion);
    item->source->prefetch(item->start, std::min<int64_t>(item->count, 1 << 16));
    return enqueue(item);
}

bool PlayerNode::enqueue(Item* item)
{
    std::lock_guard lock(m_producerMutex);
    // Bounding outstanding items keeps the render side's table and the report queue from filling.
    if (m_outstanding.load(std::memory_order_acquire) >= m_maxScheduled) {
        delete item;
        return false;
    }
    item->epoch = m_epoch.load(std::memory_order_relaxed);
    m_outstanding.fetch_add(1, std::memory_order_acq_rel);
    m_commands.push(item);
    return true;
}

void PlayerNode::setNextPass(int64_t startFrame, int64_t frameCount)
{
    std::lock_guard lock(m_producerMutex);
    m_nextPass.push(Range{std::max<int64_t>(0, startFrame), std::max<int64_t>(1, frameCount),
                          m_epoch.load(std::memory_order_relaxed)});
}

void PlayerNode::setPassPlan(const PassPlan& plan)
{
    std::lock_guard lock(m_producerMutex);
    m_plans.push(plan);
}

bool PlayerNode::passAt(int64_t sampleTime, Pass& pass) const
{
    const uint32_t epoch = m_epoch.load(std::memory_order_acquire);
    const uint64_t count = m_passes.count();
    for (uint64_t i = count; i > 0 && count - i < m_passes.capacity(); --i) {
        Pass candidate;
        if (!m_passes.read(i - 1, candidate) || candidate.epoch != epoch)
            return false;
        if (candidate.sampleTime <= sampleTime) {
            pass = candidate;
            return true;
        }
    }
    return false;
}

void PlayerNode::play()
{
    std::lock_guard lock(m_producerMutex);
    m_timeline = true;
    m_playing.store(true, std::memory_order_release);
}

void PlayerNode::pause()
{
    std::lock_guard lock(m_producerMutex);
    m_playing.store(false, std::memory_order_release);
}

void PlayerNode::stop()
{
    std::lock_guard lock(m_producerMutex);
    m_playing.store(false, std::memory_order_release);
    m_timeline = false;
    m_epoch.fetch_add(1, std::memory_order_acq_rel);
}

void PlayerNode::reset() { stop(); }

bool PlayerNode::hasTimeline() const
{
    std::lock_guard lock(m_producerMutex);
    return m_timeline;
}

int64_t PlayerNode::sampleTime() const
{
    const uint64_t packed = m_publishedTime.load(std::memory_order_acquire);
    const uint32_t epoch = m_epoch.load(std::memory_order_acquire);
    // A stop the render thread has not seen yet has already reset the time line.
    if ((packed >> kFrameBits) != (epoch & 0xFFFF))
        return 0;
    return int64_t(packed & kFrameMask);
}

void PlayerNode::render(float* const* out, int frames)
{
    // Playing is read before the commands, so a play() that follows a schedule finds it here.
    const bool playing = m_playing.load(std::memory_order_acquire);
    const uint32_t epoch = m_epoch.load(std::memory_order_acquire);
    if (epoch != m_renderEpoch) {
        dropOlderThan(epoch);
        m_renderEpoch = epoch;
        m_frames = 0;
        m_wasPlaying = false;
        m_passInRun = 0;
        m_passRate = 0.0;
        if (m_clicks)
            m_clicks->clear();
    }
    drainCommands(epoch);
    m_startedLast = playing && !m_wasPlaying;
    m_wasPlaying = playing;
    m_playedLast = playing;
    m_lastRenderStart = m_frames;

    const int channels = m_channelCount.load(std::memory_order_acquire);
    int pos = 0;
    while (playing && pos < frames && m_count > 0) {
        Item* item = m_items[m_head];
        if (item->loops && item->source) {
            if (!item->begun)
                beginPass(*item, m_frames + pos);
            takeNextPass(*item);
            if (item->leadLeft > 0) {
                pos += renderLead(*item, out, pos, frames - pos, channels);
                continue;
            }
        }
        pos += copyFrom(*item, out, pos, frames - pos, channels);
        if (item->cursor < item->count)
            continue;
        if (item->loops) {
            beginPass(*item, m_frames + pos);
            continue;
        }
        m_head = (m_head + 1) % m_items.size();
        --m_count;
        report(item, Ending::Consumed, m_frames + pos);
    }
    for (int c = 0; c < channels; ++c)
        std::memset(out[c] + pos, 0, sizeof(float) * size_t(frames - pos));
    if (playing)
        m_frames += frames;
    if (m_count > 0) {
        const Item* head = m_items[m_head];
        // The range of a looping segment changes between passes: the prefetcher reads it here.
        m_currentFrame.store(head->cursor, std::memory_order_relaxed);
        m_currentStart.store(head->start, std::memory_order_relaxed);
        m_currentCount.store(head->count, std::memory_order_relaxed);
        m_currentSeamTo.store(head->seam.toFrame, std::memory_order_relaxed);
        m_currentSeamFrames.store(head->seam.frames, std::memory_order_relaxed);
        m_current.store(m_items[m_head], std::memory_order_release);
    }
    publishTime();
}

void PlayerNode::drainCommands(uint32_t epoch)
{
    Item* item = nullptr;
    while (m_commands.pop(item)) {
        if (olderThan(item->epoch, epoch)) {
            report(item, Ending::Dropped, m_frames);
            continue;
        }
        if (item->interrupts)
            dropAll();
        m_items[(m_head + m_count) % m_items.size()] = item;
        ++m_count;
    }
}

void PlayerNode::dropOlderThan(uint32_t epoch)
{
    // Items keep their schedule order and epochs never decrease along it, so the old ones lead.
    while (m_count > 0 && olderThan(m_items[m_head]->epoch, epoch)) {
        report(m_items[m_head], Ending::Dropped, m_frames);
        m_head = (m_head + 1) % m_items.size();
        --m_count;
    }
}

void PlayerNode::dropAll()
{
    while (m_count > 0) {
        report(m_items[m_head], Ending::Dropped, m_frames);
        m_head = (m_head + 1) % m_items.size();
        --m_count;
    }
}

void PlayerNode::report(Item* item, Ending ending, int64_t sampleTime)
{
    if (item->loops) {
        m_passRate = 0.0;
        m_passRateSince = sampleTime;
    }
    // The prefetcher must stop looking at an item before it can be released.
    if (m_current.load(std::memory_order_relaxed) == item)
        m_current.store(nullptr, std::memory_order_release);
    // Cannot fail: at most m_maxScheduled items are outstanding, and the queue holds that many.
    m_reports.push(Report{item, ending, sampleTime});
}

int PlayerNode::copyFrom(Item& item, float* const* out, int offset, int frames, int channels)
{
    const int n = int(std::min<int64_t>(frames, item.count - item.cursor));
    if (item.buffer) {
        const AudioBuffer& b = *item.buffer;
        for (int c = 0; c < channels; ++c) {
            float* dst = out[c] + offset;
            if (c < b.channelCount())
                std::memcpy(dst, b.channel(c) + item.cursor, sizeof(float) * size_t(n));
            else
                std::memset(dst, 0, sizeof(float) * size_t(n));
        }
        item.cursor += n;
        return n;
    }
    for (int c = 0; c < channels; ++c)
        m_offsetPointers[size_t(c)] = out[c] + offset;
    return readSegment(item, m_offsetPointers.data(), n, channels);
}

// A new range is taken while the pass under way has not reached its seam's fade, which then fades
// into the new start; one that comes later waits for the pass after.
void PlayerNode::takeNextPass(Item& item)
{
    const uint64_t written = m_nextPass.count();
    if (written == m_nextPassTaken || item.cursor >= item.count - item.seam.frames)
        return;
    Range next;
    if (!m_nextPass.read(written - 1, next))
        return;
    m_nextPassTaken = written;
    if (next.epoch != m_renderEpoch)
        return;
    item.nextStart = next.start;
    item.nextCount = next.count;
    item.seam.toFrame = next.start;
}

// A pass begins where the last one's range ended (the first where the segment starts): it takes
// the next range and plan, its speed, and its lead.
void PlayerNode::beginPass(Item& item, int64_t sampleTime)
{
    const bool first = !item.begun;
    item.begun = true;
    item.cursor = 0;
    if (item.nextStart >= 0) {
        item.start = item.nextStart;
        item.count = item.nextCount;
        item.nextStart = -1;
        item.seam.frames = seamFramesFor(item.askedSeamFrames, item.count);
    }
    takePlan();
    const double rate = m_plan.rateOfPass(m_passInRun++, m_handRate.load(std::memory_order_relaxed));
    m_passRate = m_plan.trains() ? rate : 0.0;
    m_passRateSince = sampleTime;
    // A play that starts inside the loop goes on into it without a lead.
    const bool leads = first ? sampleTime == 0 && m_plan.leads() : item.leadsNext;
    item.leadFrames = 0;
    if (leads) {
        const double frames = m_plan.leadSeconds() * m_sampleRate * rate;
        item.leadFrames = std::max<int64_t>(item.seam.frames, std::llround(frames));
    }
    item.leadLeft = item.leadFrames;
    item.leadsNext = m_plan.leads();
    if (leads && m_clicks)
        for (int beat = 0; beat < m_plan.countIn; ++beat)
            m_clicks->add(double(sampleTime) + double(beat) * m_plan.beatSeconds() * m_sampleRate * rate, beat == 0);
    m_passes.push(Pass{sampleTime, item.leadFrames, item.start, item.count, m_renderEpoch, m_passRate});
}

void PlayerNode::takePlan()
{
    const uint64_t written = m_plans.count();
    PassPlan plan;
    if (written == m_plansTaken || !m_plans.read(written - 1, plan))
        return;
    m_plansTaken = written;
    const bool sameRun = plan.startRate == m_plan.startRate && plan.step == m_plan.step && plan.every == m_plan.every;
    if (!sameRun)
        m_passInRun = 0;
    m_plan = plan;
}

// Silence, and over its last seam frames the frames that lead up to the pass's start fading in,
// so the pass begins on its exact first frame without a step.
int PlayerNode::renderLead(Item& item, float* const* out, int offset, int frames, int channels)
{
    const int n = int(std::min<int64_t>(frames, item.leadLeft));
    for (int c = 0; c < channels; ++c)
        std::memset(out[c] + offset, 0, sizeof(float) * size_t(n));
    const int fade = item.seam.frames;
    const int64_t done = item.leadFrames - item.leadLeft;
    const int64_t fadeStart = item.leadFrames - fade;
    const int64_t first = std::max(done, fadeStart);
    const int64_t last = done + n;
    item.leadLeft -= n;
    if (fade <= 0 || first >= last)
        return n;
    const int64_t sourceFirst = item.start - fade + (first - fadeStart);
    const int64_t skip = std::clamp<int64_t>(-sourceFirst, 0, last - first);
    const int at = int(first - done) + offset;
    for (int c = 0; c < channels; ++c)
        m_seamReadPointers[size_t(c)] = out[c] + at + skip;
    item.source->read(sourceFirst + skip, last - first - skip, m_seamReadPointers.data());
    for (int64_t i = skip; i < last - first; ++i) {
        const float in = float(std::sin(M_PI_2 * (double(first - fadeStart + i) + 0.5) / double(fade)));
        for (int c = 0; c < channels; ++c)
            out[c][at + i] *= in;
    }
    return n;
}

int64_t PlayerNode::framesToPassEnd() const
{
    if (m_count == 0)
        return AudioRenderSource::framesToPassEnd();
    const Item* item = m_items[m_head];
    if (!item->loops || !item->source)
        return AudioRenderSource::framesToPassEnd();
    return item->leadLeft + item->count - item->cursor;
}

int PlayerNode::readSegment(Item& item, float* const* dst, int frames, int channels)
{
    const int64_t cursor = item.cursor;
    const int64_t got = std::clamp<int64_t>(item.source->read(item.start + cursor, frames, dst), 0, frames);
    // A source that ends early ends the segment there.
    item.cursor = got < frames ? item.count : cursor + got;
    if (item.seam.frames > 0 && got == frames)
        crossfadeSeam(item, cursor, dst, frames, channels);
    return int(got);
}

// Over the last seam.frames frames the segment fades out while the frames that lead up to the
// seam's target fade in; the next frame played is the target itself, which joins them without a
// step.
void PlayerNode::crossfadeSeam(const Item& item, int64_t cursor, float* const* dst, int frames, int channels)
{
    const int fade = item.seam.frames;
    const int64_t fadeStart = item.count - fade;
    const int64_t first = std::max(cursor, fadeStart);
    const int64_t last = cursor + frames;
    if (first >= last)
        return;
    const int n = int(last - first);
    const int64_t sourceFirst = item.seam.toFrame - fade + (first - fadeStart);
    // Before the source's start there is silence to fade into.
    const int64_t skip = std::clamp<int64_t>(-sourceFirst, 0, n);
    for (int c = 0; c < channels; ++c)
        std::memset(m_seamPointers[size_t(c)], 0, sizeof(float) * size_t(n));
    // Before a lead the pass fades out to silence.
    if (skip < n && !item.leadsNext) {
        // Not m_offsetPointers: `dst` may be those.
        for (int c = 0; c < channels; ++c)
            m_seamReadPointers[size_t(c)] = m_seamPointers[size_t(c)] + skip;
        item.source->read(sourceFirst + skip, n - skip, m_seamReadPointers.data());
    }
    const int at = int(first - cursor);
    for (int i = 0; i < n; ++i) {
        const double t = (double(first - fadeStart + i) + 0.5) / double(fade);
        const float out = float(std::cos(M_PI_2 * t));
        const float in = float(std::sin(M_PI_2 * t));
        for (int c = 0; c < channels; ++c)
            dst[c][at + i] = dst[c][at + i] * out + m_seamPointers[size_t(c)][i] * in;
    }
}

void PlayerNode::publishTime()
{
    const uint64_t packed = (uint64_t(m_renderEpoch & 0xFFFF) << kFrameBits) | (uint64_t(m_frames) & kFrameMask);
    m_publishedTime.store(packed, std::memory_order_release);
}

int PlayerNode::processCompletions()
{
    std::lock_guard lock(m_completionMutex);
    int handled = 0;
    Report r{};
    while (m_reports.pop(r)) {
        if (r.item->completion)
            r.item->completion(Ended{r.ending, r.sampleTime});
        delete r.item;
        m_outstanding.fetch_sub(1, std::memory_order_acq_rel);
        ++handled;
    }
    return handled;
}

void PlayerNode::startCompletionThread()
{
    if (m_completionRunning.exchange(true))
        return;
    // Polling keeps the render thread free of any wake-up call; 2 ms is far below what a
    // handler's work (posting to the main queue) needs to be timely.
    m_completionThread = std::thread([this] {
        while (m_completionRunning.load(std::memory_order_acquire)) {
            prefetchAhead(kPrefetchFrames);
            processCompletions();
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        processCompletions();
    });
}

void PlayerNode::prefetchAhead(int64_t frames)
{
    std::lock_guard lock(m_completionMutex); // no item is released meanwhile
    const Item* item = m_current.load(std::memory_order_acquire);
    if (!item || !item->source)
        return;
    const int64_t cursor = m_currentFrame.load(std::memory_order_relaxed);
    const int64_t start = m_currentStart.load(std::memory_order_relaxed);
    const int64_t count = m_currentCount.load(std::memory_order_relaxed);
    const int64_t seamTo = m_currentSeamTo.load(std::memory_order_relaxed);
    const int seamFrames = m_currentSeamFrames.load(std::memory_order_relaxed);
    // The window moves on by quarters: pages brought in a moment ago are not asked for again.
    if (item == m_prefetchedItem && cursor >= m_prefetchedFrom && cursor - m_prefetchedFrom < frames / 4)
        return;
    // What fell behind is let go, so a long loop holds no more than its window.
    const int64_t behind = cursor - frames / 4;
    if (item == m_prefetchedItem && behind > m_releasedUpTo)
        item->source->release(start + m_releasedUpTo, behind - m_releasedUpTo);
    m_releasedUpTo = item == m_prefetchedItem && cursor >= m_prefetchedFrom ? std::max(m_releasedUpTo, behind) : 0;
    m_prefetchedItem = item;
    m_prefetchedFrom = cursor;
    const int64_t ahead = std::min(frames, count - cursor);
    item->source->prefetch(start + cursor, ahead);
    if (item->loops && ahead < frames)
        item->source->prefetch(start, frames - ahead);
    if (seamFrames > 0)
        item->source->prefetch(seamTo - seamFrames, seamFrames);
}

void PlayerNode::stopCompletionThread()
{
    if (!m_completionRunning.exchange(false))
        return;
    if (m_completionThread.joinable())
        m_completionThread.join();
}
