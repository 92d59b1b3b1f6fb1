#include "analysis/RealFft.h"

#include <fftw3.h>

#include <cmath>
#include <cstring>
#include <mutex>

namespace {

// FFTW's planner is not thread-safe; executing a plan is.
std::mutex& fftwPlannerMutex()
{
    static std::mutex mutex;
    return mutex;
}

} // namespace

RealFft::RealFft(int size)
    : m_size(size)
{
    m_input = fftwf_alloc_real(size_t(size));
    m_output = reinterpret_cast<float*>(fftwf_alloc_complex(size_t(size / 2 + 1)));
    if (!m_input || !m_output)
        return;
    std::memset(m_input, 0, sizeof(float) * size_t(size));
    std::lock_guard lock(fftwPlannerMutex());
    m_plan = fftwf_plan_dft_r2c_1d(size, m_input, reinterpret_cast<fftwf_complex*>(m_output), FFTW_ESTIMATE);
}

RealFft::~RealFft()
{
    if (m_plan) {
        std::lock_guard lock(fftwPlannerMutex());
        fftwf_destroy_plan(m_plan);
    }
    fftwf_free(m_input);
    fftwf_free(m_output);
}

const float* RealFft::transform()
{
    fftwf_execute(m_plan);
    return m_output;
}

void RealFft::magnitudes(float* out, int bins)
{
    const float* c = transform();
    for (int k = 0; k < bins; ++k)
        out[k] = std::sqrt(c[2 * k] * c[2 * k] + c[2 * k + 1] * c[2 * k + 1]);
}
