#include "audio/HeardTimeline.h"

#include <algorithm>
#include <chrono>

namespace {

int64_t nowNs()
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

} // namespace

void HeardTimeline::stampBlock(uint64_t ringFrame, double time, double rate, uint32_t epoch)
{
    m_stamps.push({ringFrame, time, rate, epoch});
}

void HeardTimeline::deviceRead(uint64_t ringFrame, int fromRing, int frames)
{
    double time = m_lastTime, rate = 0.0;
    uint32_t epoch = m_lastEpoch;
    if (fromRing > 0) {
        // The newest stamp at or before the first frame read tells where it came from.
        const uint64_t count = m_stamps.count();
        Stamp s{};
        for (uint64_t i = count; i > 0 && i + m_stamps.capacity() > count; --i) {
            if (!m_stamps.read(i - 1, s) || s.ringFrame > ringFrame)
                continue;
            time = s.time + double(ringFrame - s.ringFrame) * s.rate;
            rate = s.rate;
            epoch = s.epoch;
            break;
        }
    }
    m_records.push({m_deviceFrames, time, rate, epoch, fromRing, frames, nowNs()});
    m_deviceFrames += frames;
    m_lastTime = time + double(fromRing) * rate;
    m_lastEpoch = epoch;
}

HeardTimeline::Heard HeardTimeline::heard(int64_t latencyFrames, double sampleRate, bool clocked) const
{
    const uint64_t count = m_records.count();
    Record newest{};
    if (count == 0 || !m_records.read(count - 1, newest))
        return {};
    // Frames reach the ear `latencyFrames` after they were handed on, at the clock's pace; a
    // stalled device holds the position instead of running past what it was given.
    const double elapsed = clocked ? double(nowNs() - newest.clockNs) * 1e-9 * sampleRate : double(newest.frames);
    const double ear = double(newest.deviceFrame) - double(latencyFrames) +
                       std::clamp(elapsed, 0.0, double(newest.frames));
    Record r{};
    for (uint64_t i = count; i > 0 && i + m_records.capacity() > count; --i) {
        if (!m_records.read(i - 1, r) || double(r.deviceFrame) > ear)
            continue;
        const double into = std::min(ear - double(r.deviceFrame), double(r.fromRing));
        return {true, r.time + into * r.rate, r.epoch};
    }
    return {};
}

void HeardTimeline::reset()
{
    m_stamps.clear();
    m_records.clear();
    m_deviceFrames = 0;
    m_lastTime = 0.0;
    m_lastEpoch = 0;
}
