#pragma once

#include <cstdint>
#include <vector>

// x is the point's index in its list, y a squared bin maximum; the drawing stretches the list
// over the view's width.
struct WavePoint {
    double x;
    double y;
};

// The reduced form of a track that the wave views draw. preprocessAudioData() scans the samples
// once into bins (the largest signed sample of each bin, squared; L and R); the two make...()
// operations group the bins into at most `width` points whenever a view's width changes.
// Not synchronised: fill it on one thread and read it after handing it over.
class WaveformData {
public:
    WaveformData() = default;

    void swap(WaveformData& other) noexcept;
    friend void swap(WaveformData& a, WaveformData& b) noexcept { a.swap(b); }

    // Frames a bin for the next preprocessAudioData().
    void setBinSize(int32_t binSize) { m_binSize = binSize; }
    int32_t binSize() const { return m_binSize; }

    // Non-interleaved float channels of frameLength frames each. Channel 1 is R when there are two
    // or more channels, else channel 0 serves as R too. Without data (null channels, no frames or
    // a bin size below 1) nothing changes. The point lists are left as they were.
    void preprocessAudioData(const float* const* channelData, int channelCount, int64_t frameLength);

    // True when the bins were grouped; false for one point a bin, or when there are no bins.
    bool makeWaveformOfWidth(float width);
    bool makeOverviewOfWidth(float width);

    int32_t numBins() const { return m_numBins; }
    int32_t numPoints() const { return static_cast<int32_t>(m_wavePointsL.size()); }
    int32_t numOverviewPoints() const { return static_cast<int32_t>(m_overviewPointsL.size()); }
    float maxY() const { return m_maxY; }

    // Null when there are none.
    const WavePoint* wavePointsL() const { return dataOrNull(m_wavePointsL); }
    const WavePoint* wavePointsR() const { return dataOrNull(m_wavePointsR); }
    const WavePoint* overviewPointsL() const { return dataOrNull(m_overviewPointsL); }
    const WavePoint* overviewPointsR() const { return dataOrNull(m_overviewPointsR); }
    const float* binsL() const { return dataOrNull(m_binsL); }
    const float* binsR() const { return dataOrNull(m_binsR); }

    // The smallest power of two that brings a track of `frames` frames down to 72,000 bins or
    // fewer; 1 for short tracks.
    static int32_t binSizeForFrameCount(int64_t frames);

private:
    template <typename T>
    static const T* dataOrNull(const std::vector<T>& v) { return v.empty() ? nullptr : v.data(); }

    bool makePoints(float width, std::vector<WavePoint>& pointsL, std::vector<WavePoint>& pointsR) const;

    int32_t m_binSize = 32;
    int32_t m_numBins = 0;
    float m_maxY = 0.0f;
    std::vector<float> m_binsL;
    std::vector<float> m_binsR;
    std::vector<WavePoint> m_wavePointsL;
    std::vector<WavePoint> m_wavePointsR;
    std::vector<WavePoint> m_overviewPointsL;
    std::vector<WavePoint> m_overviewPointsR;
};
