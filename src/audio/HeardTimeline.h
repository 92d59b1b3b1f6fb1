#pragma once

#include "audio/SeqlockHistory.h"

#include <cstdint>

// Ties the sound at the ear to the player's time line, so the playhead is the sound at every
// moment: after a speed change, across a flush, and never a step backwards.
//
// The render thread stamps each block it writes into the ring with the time-line frame of the
// block's first frame, the time-line frames per output frame (the speed, 0 for silence) and the
// player's epoch. The device side tells, per callback, which ring frames it handed on; their
// stamps are resolved there and kept as records. The frame at the ear is then the device's count
// less its latency, advanced by the clock since the last callback. No side ever waits for another.
class HeardTimeline {
public:
    struct Heard {
        bool valid = false;
        double time = 0.0;
        uint32_t epoch = 0;
    };

    // Render thread, once per block written at ring frame `ringFrame`.
    void stampBlock(uint64_t ringFrame, double time, double rate, uint32_t epoch);
    // Device side, once per callback: `fromRing` frames starting at ring frame `ringFrame`, then
    // silence up to `frames`.
    void deviceRead(uint64_t ringFrame, int fromRing, int frames);
    // Any thread. `latencyFrames`: between the callback and the ear. A clocked device plays what
    // it was handed at the clock's pace; an unclocked one has played all it was handed.
    Heard heard(int64_t latencyFrames, double sampleRate, bool clocked = true) const;
    // While neither side runs: a restarted output begins a new count.
    void reset();

private:
    struct Stamp {
        uint64_t ringFrame;
        double time, rate;
        uint32_t epoch;
    };
    struct Record {
        int64_t deviceFrame;
        double time, rate;
        uint32_t epoch;
        int fromRing, frames;
        int64_t clockNs;
    };

    SeqlockHistory<Stamp, 256> m_stamps;
    SeqlockHistory<Record, 128> m_records;
    // Device side only.
    int64_t m_deviceFrames = 0;
    double m_lastTime = 0.0; // where the last record ended
    uint32_t m_lastEpoch = 0;
};
