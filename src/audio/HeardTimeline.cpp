#include "audio/HeardTimeline.h"

#include <algorithm>
#include <chrono>

namespace {

int64_t nowNs()
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

constexpr auto relaxed = std::memory_order_relaxed;

} // namespace

void HeardTimeline::stampBlock(uint64_t ringFrame, double time, double rate, uint32_t epoch)
{
    const uint64_t n = m_stampCount.load(relaxed);
    Stamp& s = m_stamps[n % kStamps];
    s.sequence.fetch_add(1, std::memory_order_acq_rel);
    s.ringFrame.store(ringFrame, relaxed);
    s.time.store(time, relaxed);
    s.rate.store(rate, relaxed);
    s.epoch.store(epoch, relaxed);
    s.sequence.fetch_add(1, std::memory_order_release);
    m_stampCount.store(n + 1, std::memory_order_release);
}

void HeardTimeline::deviceRead(uint64_t ringFrame, int fromRing, int frames)
{
    double time = m_lastTime, rate = 0.0;
    uint32_t epoch = m_lastEpoch;
    if (fromRing > 0) {
        // The newest stamp at or before the first frame read tells where it came from.
        const uint64_t count = m_stampCount.load(std::memory_order_acquire);
        for (uint64_t i = count; i > 0 && i + kStamps > count; --i) {
            const Stamp& s = m_stamps[(i - 1) % kStamps];
            const uint32_t before = s.sequence.load(std::memory_order_acquire);
            const uint64_t at = s.ringFrame.load(relaxed);
            const double t = s.time.load(relaxed), r = s.rate.load(relaxed);
            const uint32_t e = s.epoch.load(relaxed);
            if ((before & 1) || s.sequence.load(std::memory_order_acquire) != before)
                continue;
            if (at <= ringFrame) {
                time = t + double(ringFrame - at) * r;
                rate = r;
                epoch = e;
                break;
            }
        }
    }
    const uint64_t n = m_recordCount.load(relaxed);
    Record& rec = m_records[n % kRecords];
    rec.sequence.fetch_add(1, std::memory_order_acq_rel);
    rec.deviceFrame.store(m_deviceFrames, relaxed);
    rec.time.store(time, relaxed);
    rec.rate.store(rate, relaxed);
    rec.epoch.store(epoch, relaxed);
    rec.fromRing.store(fromRing, relaxed);
    rec.frames.store(frames, relaxed);
    rec.clockNs.store(nowNs(), relaxed);
    rec.sequence.fetch_add(1, std::memory_order_release);
    m_recordCount.store(n + 1, std::memory_order_release);
    m_deviceFrames += frames;
    m_lastTime = time + double(fromRing) * rate;
    m_lastRate = rate;
    m_lastEpoch = epoch;
}

bool HeardTimeline::readRecord(uint64_t index, RecordValue& v) const
{
    const Record& rec = m_records[index % kRecords];
    const uint32_t before = rec.sequence.load(std::memory_order_acquire);
    v = {rec.deviceFrame.load(relaxed), rec.time.load(relaxed), rec.rate.load(relaxed), rec.epoch.load(relaxed),
         rec.fromRing.load(relaxed), rec.frames.load(relaxed), rec.clockNs.load(relaxed)};
    return !(before & 1) && rec.sequence.load(std::memory_order_acquire) == before;
}

HeardTimeline::Heard HeardTimeline::heard(int64_t latencyFrames, double sampleRate, bool clocked) const
{
    const uint64_t count = m_recordCount.load(std::memory_order_acquire);
    RecordValue newest{};
    if (count == 0 || !readRecord(count - 1, newest))
        return {};
    // Frames reach the ear `latencyFrames` after they were handed on, at the clock's pace; a
    // stalled device holds the position instead of running past what it was given.
    const double elapsed = clocked ? double(nowNs() - newest.clockNs) * 1e-9 * sampleRate : double(newest.frames);
    const double ear = double(newest.deviceFrame) - double(latencyFrames) +
                       std::clamp(elapsed, 0.0, double(newest.frames));
    for (uint64_t i = count; i > 0 && i + kRecords > count; --i) {
        RecordValue v{};
        if (!readRecord(i - 1, v))
            continue;
        if (double(v.deviceFrame) <= ear) {
            const double into = std::min(ear - double(v.deviceFrame), double(v.fromRing));
            return {true, v.time + into * v.rate, v.epoch};
        }
    }
    return {};
}

void HeardTimeline::reset()
{
    m_stampCount.store(0);
    m_recordCount.store(0);
    m_deviceFrames = 0;
    m_lastTime = 0.0;
    m_lastRate = 0.0;
    m_lastEpoch = 0;
}
