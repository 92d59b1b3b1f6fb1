#pragma once

#include <cstdint>
#include <vector>

// The clicks of a count-in, mixed into the output after the stretcher and the tone filter, so
// they keep their own sound and pitch at any speed and in any band. The player asks for a click at
// a point of its time line; each output block, told which stretch of that time line it carries,
// sounds the clicks that fall in it at their exact frame.
//
// Render thread only, except prepare().
class ClickTrack {
public:
    static constexpr int kMaxPending = 32;

    // Makes the two click sounds; while nothing renders.
    void prepare(double sampleRate);
    // Forgets what is pending and sounding (a new stream).
    void clear();
    // A click at `time` on the player's time line; the accented one marks the first beat.
    void add(double time, bool accent);
    // Adds the clicks due in a block of `frames` whose first frame is at `time` on the time line,
    // `rate` time-line frames per frame (0 while nothing plays).
    void mix(float* const* out, int channels, int frames, double time, double rate);
    bool isIdle() const { return m_pendingCount == 0 && m_sounding < 0; }

private:
    struct Pending {
        double time;
        bool accent;
    };
    void sound(float* const* out, int channels, int from, int frames);

    std::vector<float> m_click, m_accent;
    Pending m_pending[kMaxPending] = {};
    int m_pendingCount = 0;
    const std::vector<float>* m_voice = nullptr;
    int64_t m_sounding = -1; // frame of the sounding click, -1 for none
};
