#pragma once

#include <cstddef>
#include <span>

struct fftwf_plan_s;

// A real FFT of one size with its own aligned buffers, planned once (FFTW_ESTIMATE), forward and,
// when asked for, inverse. Running a transform makes no allocation, so the render thread may.
// Every FFTW plan in the process is made here, so the planner, which is not thread-safe, is locked here.
class RealFft {
public:
    enum class Directions { Forward, ForwardAndInverse };

    explicit RealFft(int size, Directions directions = Directions::Forward);
    ~RealFft();
    RealFft(const RealFft&) = delete;
    RealFft& operator=(const RealFft&) = delete;

    bool isValid() const;
    int size() const { return m_size; }
    // size samples to fill before transform() or magnitudes().
    float* input() { return m_input; }
    // Transforms input(): size / 2 + 1 complex values, interleaved, unscaled; valid until the next call.
    const float* transform();
    // Writes the magnitudes of the transform of input() for the first out.size() bins (at most
    // size / 2 + 1).
    void magnitudes(std::span<float> out);

    // The spectrum transform() writes, or one written here for inverse().
    float* spectrum() { return m_output; }
    // Transforms spectrum() back into input(), size times larger than the signal it came from;
    // spectrum() is lost.
    float* inverse();

private:
    int m_size;
    float* m_input = nullptr;
    float* m_output = nullptr; // interleaved complex
    fftwf_plan_s* m_plan = nullptr;
    fftwf_plan_s* m_inversePlan = nullptr;
    bool m_wantsInverse = false;
};
