#pragma once

#include "audio/RealFft.h"

#include <array>
#include <atomic>
#include <memory>
#include <vector>

// "Centre only": keeps what left and right share and drops what sounds on one side. Each short
// spectrum of the mid, (L + R) / 2, is weighted bin by bin by how alike the sides are there,
// 2·max(0, Re(L·R*)) / (|L|² + |R|²): 1 where they are equal, 0 where one side is silent or the
// two are opposed. The result goes to both sides.
//
// The transform delays the sound by kLatencyFrames. It runs whether on or off, so switching it
// in needs no warm-up; the switch fades over one block between the straight and the delayed sound.
// Setters may run on any thread; prepare() and reset() not while process() runs.
class CentreExtractor {
public:
    static constexpr int kFrameSize = 2048;
    static constexpr int kHop = kFrameSize / 4;
    // A frame is transformed once its last sample is in, and its first sample is heard next.
    static constexpr int kLatencyFrames = kFrameSize;

    CentreExtractor();
    ~CentreExtractor();

    void setEnabled(bool on) { m_enabled.store(on, std::memory_order_relaxed); }
    bool isEnabled() const { return m_enabled.load(std::memory_order_relaxed); }
    // Forgets what it heard; the next process() takes the enabled state without a fade.
    void reset();

    // Two channels in place.
    void process(float* const* io, int frames);
    // How far behind its input the last process() ended: kLatencyFrames when on, else 0.
    int latencyFrames() const { return m_active ? kLatencyFrames : 0; }

private:
    float next(float left, float right);
    void transformFrame();

    std::atomic<bool> m_enabled{false};
    std::array<std::unique_ptr<RealFft>, 2> m_sides; // forward transforms of left and right
    std::unique_ptr<RealFft> m_centre;               // the weighted mid, back to time
    std::vector<float> m_window;                     // sqrt-Hann, for analysis and synthesis
    std::array<std::vector<float>, 2> m_heard;       // the last kFrameSize input frames per side
    std::vector<float> m_sum;                        // overlap-add of transformed frames
    std::vector<float> m_ready;                      // kHop finished output frames
    int m_position = kFrameSize - kHop; // where the next input frame goes in m_heard
    bool m_active = false;
    bool m_started = false;
};
