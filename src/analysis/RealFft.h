#pragma once

#include <cstddef>
#include <mutex>

struct fftwf_plan_s;

// FFTW's planner is not thread-safe; executing a plan is. Every plan in the process is made and
// destroyed under this one lock.
std::mutex& fftwPlannerMutex();

// A forward real FFT of one size with its own aligned buffers, planned once (FFTW_ESTIMATE).
class RealFft {
public:
    explicit RealFft(int size);
    ~RealFft();
    RealFft(const RealFft&) = delete;
    RealFft& operator=(const RealFft&) = delete;

    bool isValid() const { return m_plan != nullptr; }
    int size() const { return m_size; }
    // size samples to fill before run().
    float* input() { return m_input; }
    // Writes the magnitudes of the transform of input() for bins 0 .. bins - 1 (at most size / 2 + 1).
    void magnitudes(float* out, int bins);

private:
    int m_size;
    float* m_input = nullptr;
    float* m_output = nullptr; // interleaved complex
    fftwf_plan_s* m_plan = nullptr;
};
