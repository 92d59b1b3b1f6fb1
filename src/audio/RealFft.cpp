#include "audio/RealFft.h"

#include <fftw3.h>

#include <algorithm>
#include <cmath>
#include <complex>
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

RealFft::RealFft(int size, Directions directions)
    : m_size(size)
    , m_wantsInverse(directions == Directions::ForwardAndInverse)
{
    m_input = fftwf_alloc_real(size_t(size));
    m_output = reinterpret_cast<float*>(fftwf_alloc_complex(size_t(size / 2 + 1)));
    if (!m_input || !m_output)
        return;
    std::memset(m_input, 0, sizeof(float) * size_t(size));
    std::lock_guard lock(fftwPlannerMutex());
    auto* spectrum = reinterpret_cast<fftwf_complex*>(m_output);
    m_plan = fftwf_plan_dft_r2c_1d(size, m_input, spectrum, FFTW_ESTIMATE);
    if (m_wantsInverse)
        m_inversePlan = fftwf_plan_dft_c2r_1d(size, spectrum, m_input, FFTW_ESTIMATE);
}

bool RealFft::isValid() const
{
    return m_plan && (m_inversePlan || !m_wantsInverse);
}

RealFft::~RealFft()
{
    std::lock_guard lock(fftwPlannerMutex());
    for (fftwf_plan plan : {m_plan, m_inversePlan})
        if (plan)
            fftwf_destroy_plan(plan);
    fftwf_free(m_input);
    fftwf_free(m_output);
}

const float* RealFft::transform()
{
    fftwf_execute(m_plan);
    return m_output;
}

float* RealFft::inverse()
{
    fftwf_execute(m_inversePlan);
    return m_input;
}

void RealFft::magnitudes(std::span<float> out)
{
    // FFTW's complex numbers are laid out as std::complex's.
    const auto* bins = reinterpret_cast<const std::complex<float>*>(transform());
    std::transform(bins, bins + out.size(), out.begin(),
                   [](std::complex<float> c) { return std::sqrt(c.real() * c.real() + c.imag() * c.imag()); });
}
