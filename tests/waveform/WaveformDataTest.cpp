#include "waveform/WaveformData.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <tuple>

namespace {

std::vector<float> noise(int64_t frames, unsigned seed)
{
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> dist(-0.9f, 0.9f);
    std::vector<float> v(static_cast<size_t>(frames));
    for (float& x : v)
        x = dist(rng);
    return v;
}

// The reduction as plainly as it can be said: run i covers values [i*run, min((i+1)*run, n)).
std::vector<float> runMaxima(const std::vector<float>& values, int64_t run)
{
    std::vector<float> out;
    for (size_t start = 0; start < values.size(); start += static_cast<size_t>(run))
        out.push_back(*std::max_element(values.begin() + long(start), values.begin() + long(std::min(values.size(), start + size_t(run)))));
    return out;
}

std::vector<float> squared(std::vector<float> v)
{
    for (float& x : v)
        x *= x;
    return v;
}

// The points' y values; x must be the index in the list.
std::vector<float> ys(const WavePoint* points, int32_t count)
{
    std::vector<float> y;
    for (int32_t i = 0; i < count; ++i) {
        EXPECT_EQ(points[i].x, static_cast<double>(i));
        y.push_back(static_cast<float>(points[i].y));
    }
    return y;
}

void preprocess(WaveformData& data, const std::vector<float>& left, const std::vector<float>& right, int32_t binSize)
{
    const float* channels[] = {left.data(), right.data()};
    data.setBinSize(binSize);
    data.preprocessAudioData(channels, 2, static_cast<int64_t>(left.size()));
}

} // namespace

TEST(WaveformData, BinsHoldTheSquaredLargestSampleOfEachRunOfFramesAndMaxYFollowsTheLeft)
{
    // Mono serves as both channels; of three, the first two count.
    struct Case { int64_t frames; int32_t binSize; int channels; int32_t expectedBins; };
    for (const Case c : {Case{1, 1, 2, 1}, Case{72001, 2, 2, 36001}, Case{31, 32, 1, 1}, Case{5 * 32, 32, 3, 5},
                         Case{5 * 32 + 1, 32, 2, 6}, Case{100000, 64, 2, 1563}, Case{16384 * 3 - 5, 16384, 2, 3}}) {
        std::vector<float> left = noise(c.frames, 1), right = noise(c.frames, 2), third = noise(c.frames, 3);
        left.back() = 0.99f; // the last frame is the loudest, so a lost or misplaced last bin shows
        right[0] = 1.0f;
        const float* channels[] = {left.data(), right.data(), third.data()};
        WaveformData data;
        data.setBinSize(c.binSize);
        data.preprocessAudioData(channels, c.channels, c.frames);
        ASSERT_EQ(data.numBins(), c.expectedBins) << c.frames;
        EXPECT_EQ(std::vector<float>(data.binsL(), data.binsL() + c.expectedBins), squared(runMaxima(left, c.binSize))) << c.frames;
        EXPECT_EQ(std::vector<float>(data.binsR(), data.binsR() + c.expectedBins), squared(runMaxima(c.channels > 1 ? right : left, c.binSize)))
            << c.frames;
        EXPECT_FLOAT_EQ(data.maxY(), 0.99f * 0.99f) << c.frames;
    }
}

TEST(WaveformData, BinSizeIsTheSmallestPowerOfTwoGivingAtMost72000Bins)
{
    for (auto [frames, size] : {std::pair<int64_t, int32_t>{0, 1}, {1, 1}, {72000, 1}, {72001, 2}, {144001, 4}, {635040000, 16384}})
        EXPECT_EQ(WaveformData::binSizeForFrameCount(frames), size) << frames;
}

TEST(WaveformData, PointsHoldTheLargestBinOfEachGroupAndOnePointABinWhenTheWidthAllows)
{
    const std::vector<float> left = noise(1000, 11), right = noise(1000, 12);
    WaveformData data;
    preprocess(data, left, right, 1);
    // 1000 bins at 999.5 make groups of 2; the last group may be short (142 of 143, 332 of 334).
    for (auto [width, group] : {std::pair{300.0f, 4}, {999.5f, 2}, {7.0f, 143}, {3.0f, 334}, {1.0f, 1000}, {1000.0f, 1}, {48000.0f, 1}}) {
        EXPECT_EQ(data.makeWaveformOfWidth(width), group > 1) << width;
        EXPECT_EQ(ys(data.wavePointsL(), data.numPoints()), runMaxima(squared(left), group)) << width;
        EXPECT_EQ(ys(data.wavePointsR(), data.numPoints()), runMaxima(squared(right), group)) << width;
        EXPECT_EQ(data.makeOverviewOfWidth(width), group > 1) << width;
        EXPECT_EQ(ys(data.overviewPointsL(), data.numOverviewPoints()), runMaxima(squared(left), group)) << width;
        EXPECT_EQ(ys(data.overviewPointsR(), data.numOverviewPoints()), runMaxima(squared(right), group)) << width;
    }
}

TEST(WaveformData, CallsWithoutDataChangeNothingAndSwapAndMoveCarryEverythingWithoutCopying)
{
    auto state = [](const WaveformData& d) {
        return std::tuple(d.binSize(), d.numBins(), d.maxY(), d.binsL(), d.binsR(), d.wavePointsL(), d.wavePointsR(),
                          d.overviewPointsL(), d.overviewPointsR());
    };
    WaveformData data;
    const auto empty = state(data);
    preprocess(data, noise(1000, 5), noise(1000, 6), 1);
    data.makeWaveformOfWidth(300.0f);
    data.makeOverviewOfWidth(100.0f);
    const auto full = state(data);
    const std::vector<float> loud(1000, 1.0f);
    const float* channels[] = {loud.data(), nullptr};
    data.preprocessAudioData(nullptr, 2, 1000);
    data.preprocessAudioData(channels, 2, 1000);
    data.preprocessAudioData(channels, 0, 1000);
    data.preprocessAudioData(channels, 1, 0);
    data.setBinSize(0);
    data.preprocessAudioData(channels, 1, 1000);
    data.setBinSize(1);
    EXPECT_EQ(state(data), full);

    WaveformData other;
    other.swap(data);
    EXPECT_EQ(state(other), full);
    EXPECT_EQ(state(data), empty);
    WaveformData moved(std::move(other));
    EXPECT_EQ(state(moved), full);
}
