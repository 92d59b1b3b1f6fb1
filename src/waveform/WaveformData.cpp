#include "waveform/WaveformData.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace {

// Largest value of p[0..n), n >= 1. Independent lanes let the compiler turn the main loop into
// vector maxima; a single running maximum would be a serial dependency it may not reorder.
float runMaximum(const float* p, int64_t n)
{
    constexpr int64_t lanes = 16;
    float best = p[0];
    int64_t i = 1;
    if (n >= 2 * lanes) {
        float acc[lanes];
        std::copy(p, p + lanes, acc);
        for (i = lanes; i + lanes <= n; i += lanes) {
            for (int64_t j = 0; j < lanes; ++j)
                acc[j] = p[i + j] > acc[j] ? p[i + j] : acc[j];
        }
        best = acc[0];
        for (int64_t j = 1; j < lanes; ++j)
            best = acc[j] > best ? acc[j] : best;
    }
    for (; i < n; ++i)
        best = p[i] > best ? p[i] : best;
    return best;
}

int64_t runCount(int64_t length, int64_t run)
{
    return (length + run - 1) / run;
}

// Writes the largest value of each run of `run` values to out, full runs first while more than a
// run remains, then one last run of whatever is left (a full run when length is a multiple).
// out holds runCount(length, run) values; returns how many were written.
int64_t reduceToRunMaxima(const float* values, int64_t length, int64_t run, float* out)
{
    int64_t offset = 0;
    int64_t count = 0;
    while (offset < length - run) {
        out[count++] = runMaximum(values + offset, run);
        offset += run;
    }
    if (length - offset >= 1)
        out[count++] = runMaximum(values + offset, length - offset);
    return count;
}

std::vector<WavePoint> pointsFrom(const float* values, int64_t count)
{
    std::vector<WavePoint> points(static_cast<size_t>(count));
    for (int64_t i = 0; i < count; ++i)
        points[static_cast<size_t>(i)] = WavePoint{static_cast<double>(i), static_cast<double>(values[i])};
    return points;
}

} // namespace

void WaveformData::swap(WaveformData& other) noexcept
{
    std::swap(m_binSize, other.m_binSize);
    std::swap(m_numBins, other.m_numBins);
    std::swap(m_maxY, other.m_maxY);
    m_binsL.swap(other.m_binsL);
    m_binsR.swap(other.m_binsR);
    m_wavePointsL.swap(other.m_wavePointsL);
    m_wavePointsR.swap(other.m_wavePointsR);
    m_overviewPointsL.swap(other.m_overviewPointsL);
    m_overviewPointsR.swap(other.m_overviewPointsR);
}

void WaveformData::preprocessAudioData(const float* const* channelData, int channelCount, int64_t frameLength)
{
    if (channelData == nullptr || channelCount < 1 || frameLength < 1 || m_binSize < 1)
        return;
    const float* left = channelData[0];
    const float* right = channelCount > 1 ? channelData[1] : channelData[0];
    if (left == nullptr || right == nullptr)
        return;
    const int64_t count = runCount(frameLength, m_binSize);
    if (count > std::numeric_limits<int32_t>::max())
        return;

    std::vector<float> binsL(static_cast<size_t>(count));
    std::vector<float> binsR(static_cast<size_t>(count));
    reduceToRunMaxima(left, frameLength, m_binSize, binsL.data());
    reduceToRunMaxima(right, frameLength, m_binSize, binsR.data());
    for (float& v : binsL)
        v *= v;
    for (float& v : binsR)
        v *= v;

    m_binsL = std::move(binsL);
    m_binsR = std::move(binsR);
    m_numBins = static_cast<int32_t>(count);
    m_maxY = runMaximum(m_binsL.data(), count);
}

bool WaveformData::makeWaveformOfWidth(float width)
{
    return makePoints(width, m_wavePointsL, m_wavePointsR);
}

bool WaveformData::makeOverviewOfWidth(float width)
{
    return makePoints(width, m_overviewPointsL, m_overviewPointsR);
}

bool WaveformData::makePoints(float width, std::vector<WavePoint>& pointsL, std::vector<WavePoint>& pointsR) const
{
    if (m_binsL.empty())
        return false;
    // In single precision, like the width: 1000 bins at 999.5 make groups of 2.
    const float group = std::ceil(static_cast<float>(m_numBins) / width);
    if (group <= 1.0f) {
        pointsL = pointsFrom(m_binsL.data(), m_numBins);
        pointsR = pointsFrom(m_binsR.data(), m_numBins);
        return false;
    }
    // A zero or NaN width leaves no sensible group: take all bins as one.
    const int64_t run = group < static_cast<float>(m_numBins) ? static_cast<int64_t>(group) : m_numBins;
    const int64_t capacity = runCount(m_numBins, run);
    std::vector<float> maximaL(static_cast<size_t>(capacity));
    std::vector<float> maximaR(static_cast<size_t>(capacity));
    const int64_t stored = reduceToRunMaxima(m_binsL.data(), m_numBins, run, maximaL.data());
    reduceToRunMaxima(m_binsR.data(), m_numBins, run, maximaR.data());
    pointsL = pointsFrom(maximaL.data(), stored);
    pointsR = pointsFrom(maximaR.data(), stored);
    return true;
}

int32_t WaveformData::binSizeForFrameCount(int64_t frames)
{
    if (frames < 1)
        return 1;
    const double size = std::pow(2.0, std::ceil(std::log2(static_cast<double>(frames) / 72000.0)));
    constexpr double largest = 1073741824.0; // 2^30, the largest power of two an int32 holds
    return static_cast<int32_t>(std::clamp(size, 1.0, largest));
}
