#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstddef>
#include <vector>

// Measuring helpers for the graph tests; independent of the code under test.
namespace measure {

// Frequency from the positive-going zero crossings in [begin, end), each located by linear
// interpolation between the two samples around it.
inline double zeroCrossingFrequency(const std::vector<float>& x, size_t begin, size_t end, double sampleRate)
{
    double first = -1.0, last = -1.0;
    int crossings = 0;
    for (size_t i = std::max<size_t>(begin, 1); i < end && i < x.size(); ++i) {
        if (x[i - 1] < 0.0f && x[i] >= 0.0f) {
            const double t = double(i - 1) + double(x[i - 1]) / double(x[i - 1] - x[i]);
            if (first < 0.0)
                first = t;
            last = t;
            ++crossings;
        }
    }
    if (crossings < 2)
        return 0.0;
    return (crossings - 1) * sampleRate / (last - first);
}

inline float peak(const std::vector<float>& x, size_t begin, size_t end)
{
    float p = 0.0f;
    for (size_t i = begin; i < end && i < x.size(); ++i)
        p = std::max(p, std::fabs(x[i]));
    return p;
}

// Amplitude of a steady sine from its RMS over [begin, end).
inline double sineAmplitude(const std::vector<float>& x, size_t begin, size_t end)
{
    double sum = 0.0;
    for (size_t i = begin; i < end; ++i)
        sum += double(x[i]) * x[i];
    return std::sqrt(2.0 * sum / double(end - begin));
}

// The largest difference between neighbouring samples in [from, to): a click shows as a step
// far above what the material itself takes.
inline float largestStep(const std::vector<float>& x, size_t from = 1, size_t to = size_t(-1))
{
    float step = 0.0f;
    for (size_t i = std::max<size_t>(from, 1); i < std::min(to, x.size()); ++i)
        step = std::max(step, std::fabs(x[i] - x[i - 1]));
    return step;
}

// First index at or after `from` where |x| reaches `threshold`, or -1.
inline int64_t onset(const std::vector<float>& x, float threshold, size_t from = 0)
{
    for (size_t i = from; i < x.size(); ++i)
        if (std::fabs(x[i]) >= threshold)
            return int64_t(i);
    return -1;
}

// Every index where |x| reaches `threshold`, each more than `gap` samples after the one before.
inline std::vector<int64_t> onsets(const std::vector<float>& x, float threshold, int64_t gap = 1000)
{
    std::vector<int64_t> found;
    for (int64_t i = 0; i < int64_t(x.size()); ++i)
        if (std::fabs(x[size_t(i)]) >= threshold && (found.empty() || i - found.back() > gap))
            found.push_back(i);
    return found;
}

} // namespace measure
