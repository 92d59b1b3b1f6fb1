#pragma once

#include <atomic>
#include <cstdint>

// Ties the sound at the ear to the player's time line, so the playhead is the sound at every
// moment: after a speed change, across a flush, and never a step backwards.
//
// The render thread stamps each block it writes into the ring with the time-line frame of the
// block's first frame, the time-line frames per output frame (the speed, 0 for silence) and the
// player's epoch. The device side tells, per callback, which ring frames it handed on; their
// stamps are resolved there and kept as records. The frame at the ear is then the device's count
// less its latency, advanced by the clock since the last callback. Every slot is guarded by a
// sequence count: no side ever waits for another.
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
        std::atomic<uint32_t> sequence{0};
        std::atomic<uint64_t> ringFrame{0};
        std::atomic<double> time{0.0};
        std::atomic<double> rate{0.0};
        std::atomic<uint32_t> epoch{0};
    };
    struct Record {
        std::atomic<uint32_t> sequence{0};
        std::atomic<int64_t> deviceFrame{0};
        std::atomic<double> time{0.0};
        std::atomic<double> rate{0.0};
        std::atomic<uint32_t> epoch{0};
        std::atomic<int> fromRing{0};
        std::atomic<int> frames{0};
        std::atomic<int64_t> clockNs{0};
    };
    struct RecordValue {
        int64_t deviceFrame;
        double time, rate;
        uint32_t epoch;
        int fromRing, frames;
        int64_t clockNs;
    };

    static constexpr uint64_t kStamps = 256;
    static constexpr uint64_t kRecords = 128;

    bool readRecord(uint64_t index, RecordValue& value) const;

    Stamp m_stamps[kStamps];
    std::atomic<uint64_t> m_stampCount{0};
    Record m_records[kRecords];
    std::atomic<uint64_t> m_recordCount{0};
    int64_t m_deviceFrames = 0; // device side only
    double m_lastTime = 0.0;    // device side: where the last record ended
    double m_lastRate = 0.0;
    uint32_t m_lastEpoch = 0;
};
