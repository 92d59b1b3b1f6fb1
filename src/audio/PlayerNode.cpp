#include "audio/PlayerNode.h"

#include <algorithm>
#include <chrono>
#include <cstring>

struct PlayerNode::Item {
    std::shared_ptr<const AudioBuffer> buffer;
    std::shared_ptr<const FrameSource> source;
    int64_t start = 0; // first source frame (segments)
    int64_t count = 0;
    int64_t cursor = 0;
    bool loops = false;
    bool interrupts = false;
    uint32_t epoch = 0;
    Completion completion;
};

namespace {

constexpr int kFrameBits = 48;
constexpr uint64_t kFrameMask = (uint64_t(1) << kFrameBits) - 1;

bool olderThan(uint32_t a, uint32_t b) { return int32_t(a - b) < 0; }

} // namespace

PlayerNode::PlayerNode(int channelCount, int maxScheduled)
    : m_channelCount(std::clamp(channelCount, 1, kMaxChannels)),
      m_maxScheduled(std::max(1, maxScheduled)),
      m_commands(size_t(m_maxScheduled)),
      m_reports(size_t(m_maxScheduled)),
      m_items(size_t(m_maxScheduled), nullptr)
{
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
    m_channelCount.store(std::clamp(channels, 1, kMaxChannels), std::memory_order_release);
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
                                 Completion completion)
{
    if (!source)
        return false;
    auto* item = new Item;
    item->source = std::move(source);
    item->start = std::max<int64_t>(0, startFrame);
    item->count = std::max<int64_t>(0, frameCount);
    item->completion = std::move(completion);
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
    }
    drainCommands(epoch);

    const int channels = m_channelCount.load(std::memory_order_acquire);
    int pos = 0;
    while (playing && pos < frames && m_count > 0) {
        Item* item = m_items[m_head];
        pos += copyFrom(*item, out, pos, frames - pos, channels);
        if (item->cursor < item->count)
            continue;
        if (item->loops) {
            item->cursor = 0;
            continue;
        }
        m_head = (m_head + 1) % m_items.size();
        --m_count;
        report(item, Ending::Consumed);
    }
    for (int c = 0; c < channels; ++c)
        std::memset(out[c] + pos, 0, sizeof(float) * size_t(frames - pos));
    if (playing)
        m_frames += frames;
    publishTime();
}

void PlayerNode::drainCommands(uint32_t epoch)
{
    Item* item = nullptr;
    while (m_commands.pop(item)) {
        if (olderThan(item->epoch, epoch)) {
            report(item, Ending::Dropped);
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
        report(m_items[m_head], Ending::Dropped);
        m_head = (m_head + 1) % m_items.size();
        --m_count;
    }
}

void PlayerNode::dropAll()
{
    while (m_count > 0) {
        report(m_items[m_head], Ending::Dropped);
        m_head = (m_head + 1) % m_items.size();
        --m_count;
    }
}

void PlayerNode::report(Item* item, Ending ending)
{
    // Cannot fail: at most m_maxScheduled items are outstanding, and the queue holds that many.
    m_reports.push(Report{item, ending});
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
    float* dst[kMaxChannels];
    for (int c = 0; c < channels; ++c)
        dst[c] = out[c] + offset;
    const int64_t got = std::clamp<int64_t>(item.source->read(item.start + item.cursor, n, dst), 0, n);
    // A source that ends early ends the segment there.
    item.cursor = got < n ? item.count : item.cursor + got;
    return int(got);
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
            r.item->completion(r.ending);
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
            processCompletions();
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        processCompletions();
    });
}

void PlayerNode::stopCompletionThread()
{
    if (!m_completionRunning.exchange(false))
        return;
    if (m_completionThread.joinable())
        m_completionThread.join();
}
