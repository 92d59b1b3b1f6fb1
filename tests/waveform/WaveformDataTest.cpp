#include "waveform/WaveformData.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

namespace {

std::vector<float> noise(int64_t frames, unsigned seed, float amplitude = 1.0f)
{
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> dist(-amplitude, amplitude);
    std::vector<float> v(static_cast<size_t>(frames));
    for (float& x : v)
        x = dist(rng);
    return v;
}

// The reduction as plainly as it can be said: run i covers values [i*run, min((i+1)*run, n)).
std::vector<float> expectedRunMaxima(const std::vector<float>& values, int64_t run)
{
    std::vector<float> out;
    for (size_t start = 0; start < values.size(); start += static_cast<size_t>(run)) {
        const size_t end = std::min(values.size(), start + static_cast<size_t>(run));
        out.push_back(*std::max_element(values.begin() + static_cast<long>(start), values.begin() + static_cast<long>(end)));
    }
    return out;
}

std::vector<float> squared(std::vector<float> v)
{
    for (float& x : v)
        x *= x;
    return v;
}

std::vector<float> binsOf(const float* bins, int32_t count)
{
    return bins ? std::vector<float>(bins, bins + count) : std::vector<float>{};
}

std::vector<float> yOf(const WavePoint* points, int32_t count)
{
    std::vector<float> y;
    for (int32_t i = 0; i < count; ++i) {
        EXPECT_EQ(points[i].x, static_cast<double>(i)) << "x is the index in the list";
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

// 1000 bins whose squared values are known: one frame a bin.
struct ThousandBins {
    std::vector<float> left = noise(1000, 11);
    std::vector<float> right = noise(1000, 12);
    WaveformData data;
    ThousandBins() { preprocess(data, left, right, 1); }
};

} // namespace

TEST(WaveformData, StartsEmptyAndRefusesPointsBeforeAnyBins)
{
    WaveformData data;
    EXPECT_EQ(data.binSize(), 32);
    EXPECT_EQ(data.numBins(), 0);
    EXPECT_EQ(data.maxY(), 0.0f);
    EXPECT_FALSE(data.makeWaveformOfWidth(500.0f));
    EXPECT_FALSE(data.makeOverviewOfWidth(500.0f));
    EXPECT_EQ(data.numPoints(), 0);
    EXPECT_EQ(data.numOverviewPoints(), 0);
    EXPECT_EQ(data.wavePointsL(), nullptr);
    EXPECT_EQ(data.overviewPointsR(), nullptr);
    EXPECT_EQ(data.binsL(), nullptr);

    // A buffer without data is no first file either.
    const std::vector<float> samples(100, 0.5f);
    const float* channels[] = {samples.data()};
    data.preprocessAudioData(nullptr, 1, 100);
    data.preprocessAudioData(channels, 1, 0);
    data.preprocessAudioData(channels, 0, 100);
    EXPECT_EQ(data.numBins(), 0);
    EXPECT_FALSE(data.makeWaveformOfWidth(500.0f));
    EXPECT_EQ(data.numPoints(), 0);
}

TEST(WaveformData, BinSizeIsTheSmallestPowerOfTwoGivingAtMost72000Bins)
{
    EXPECT_EQ(WaveformData::binSizeForFrameCount(1), 1);
    EXPECT_EQ(WaveformData::binSizeForFrameCount(72000), 1);
    EXPECT_EQ(WaveformData::binSizeForFrameCount(72001), 2);
    EXPECT_EQ(WaveformData::binSizeForFrameCount(144000), 2);
    EXPECT_EQ(WaveformData::binSizeForFrameCount(144001), 4);
    EXPECT_EQ(WaveformData::binSizeForFrameCount(441000), 8);
    EXPECT_EQ(WaveformData::binSizeForFrameCount(635040000), 16384);
    EXPECT_EQ(WaveformData::binSizeForFrameCount(0), 1);
    for (int64_t frames : {1000LL, 72001LL, 1234567LL, 635040000LL}) {
        const int64_t size = WaveformData::binSizeForFrameCount(frames);
        const int64_t bins = (frames + size - 1) / size;
        EXPECT_LE(bins, 72000) << frames;
        if (size > 1) {
            EXPECT_GT(bins, 36000) << frames;
        }
    }
}

struct BinCase {
    int64_t frames;
    int32_t binSize;
    int32_t expectedBins;
};

class WaveformBinCounts : public ::testing::TestWithParam<BinCase> {};

TEST_P(WaveformBinCounts, EveryFrameLandsInExactlyOneBinAndTheLastMayBeShort)
{
    const BinCase c = GetParam();
    std::vector<float> left = noise(c.frames, 1, 0.9f);
    std::vector<float> right = noise(c.frames, 2, 0.9f);
    // The very last frame is the loudest, so a lost or misplaced remainder bin shows.
    left.back() = 0.99f;
    right.back() = -0.01f;
    WaveformData data;
    preprocess(data, left, right, c.binSize);

    ASSERT_EQ(data.numBins(), c.expectedBins);
    EXPECT_EQ(binsOf(data.binsL(), data.numBins()), squared(expectedRunMaxima(left, c.binSize)));
    EXPECT_EQ(binsOf(data.binsR(), data.numBins()), squared(expectedRunMaxima(right, c.binSize)));
    EXPECT_FLOAT_EQ(data.maxY(), 0.99f * 0.99f);
}

INSTANTIATE_TEST_SUITE_P(Boundaries, WaveformBinCounts,
                         ::testing::Values(BinCase{1, 1, 1},
                                           BinCase{72000, 1, 72000},
                                           BinCase{72001, 2, 36001},    // last bin of one frame
                                           BinCase{32, 32, 1},          // frameLength == binSize
                                           BinCase{31, 32, 1},          // shorter than a bin
                                           BinCase{5 * 32, 32, 5},      // a multiple of the bin size
                                           BinCase{5 * 32 + 1, 32, 6},
                                           BinCase{100000, 64, 1563},   // long runs
                                           BinCase{16384 * 3 - 5, 16384, 3}));

TEST(WaveformData, OneFrameGivesOneBinAndItsSquareAsMaxY)
{
    WaveformData data;
    preprocess(data, {-0.7f}, {0.2f}, WaveformData::binSizeForFrameCount(1));
    ASSERT_EQ(data.numBins(), 1);
    EXPECT_FLOAT_EQ(data.binsL()[0], 0.49f);
    EXPECT_FLOAT_EQ(data.binsR()[0], 0.04f);
    EXPECT_FLOAT_EQ(data.maxY(), 0.49f);
}

TEST(WaveformData, BinsHoldTheSquaredSignedMaximumNotTheLargestMagnitude)
{
    // Four bins of four frames.
    const std::vector<float> left = {-0.5f, -0.5f, -0.5f, -0.5f,  // all negative and equal
                                     -0.9f, -0.1f, -0.9f, -0.3f,  // nearest zero wins
                                     -0.9f, 0.3f, -0.2f, 0.0f,    // the positive peak, not |-0.9|
                                     0.0f, 0.0f, 0.0f, 0.0f};
    WaveformData data;
    preprocess(data, left, left, 4);
    ASSERT_EQ(data.numBins(), 4);
    EXPECT_FLOAT_EQ(data.binsL()[0], 0.25f);
    EXPECT_FLOAT_EQ(data.binsL()[1], 0.1f * 0.1f);
    EXPECT_FLOAT_EQ(data.binsL()[2], 0.3f * 0.3f);
    EXPECT_EQ(data.binsL()[3], 0.0f);
    EXPECT_FLOAT_EQ(data.maxY(), 0.25f);
}

TEST(WaveformData, MonoServesAsBothChannels)
{
    const std::vector<float> mono = noise(5000, 3);
    const float* channels[] = {mono.data()};
    WaveformData data;
    data.setBinSize(16);
    data.preprocessAudioData(channels, 1, 5000);
    ASSERT_EQ(data.numBins(), 313);
    EXPECT_EQ(binsOf(data.binsR(), 313), binsOf(data.binsL(), 313));
    EXPECT_EQ(binsOf(data.binsL(), 313), squared(expectedRunMaxima(mono, 16)));

    EXPECT_TRUE(data.makeWaveformOfWidth(100.0f));
    EXPECT_EQ(yOf(data.wavePointsL(), data.numPoints()), yOf(data.wavePointsR(), data.numPoints()));
}

TEST(WaveformData, MoreThanTwoChannelsUseTheFirstTwo)
{
    const std::vector<float> a(64, 0.1f), b(64, 0.2f), c(64, 0.9f);
    const float* channels[] = {a.data(), b.data(), c.data()};
    WaveformData data;
    data.setBinSize(32);
    data.preprocessAudioData(channels, 3, 64);
    ASSERT_EQ(data.numBins(), 2);
    EXPECT_FLOAT_EQ(data.binsL()[1], 0.01f);
    EXPECT_FLOAT_EQ(data.binsR()[1], 0.04f);
}

TEST(WaveformData, MaxYLooksAtTheLeftChannelOnly)
{
    const std::vector<float> left(256, 0.5f);
    const std::vector<float> right(256, 1.0f);
    WaveformData data;
    preprocess(data, left, right, 32);
    EXPECT_FLOAT_EQ(data.maxY(), 0.25f);
    EXPECT_GT(*std::max_element(data.binsR(), data.binsR() + data.numBins()), data.maxY());
}

TEST(WaveformData, ABufferWithoutDataKeepsTheFormerBins)
{
    const std::vector<float> samples = noise(1000, 4);
    WaveformData data;
    preprocess(data, samples, samples, 10);
    const std::vector<float> before = binsOf(data.binsL(), data.numBins());
    const float maxY = data.maxY();

    const float* channels[] = {samples.data(), nullptr};
    data.preprocessAudioData(nullptr, 2, 1000);
    data.preprocessAudioData(channels, 2, 1000);
    data.setBinSize(0);
    data.preprocessAudioData(channels, 1, 1000);

    EXPECT_EQ(data.numBins(), 100);
    EXPECT_EQ(binsOf(data.binsL(), data.numBins()), before);
    EXPECT_EQ(data.maxY(), maxY);
}

TEST(WaveformData, ANewFileReplacesTheBinsButNotThePoints)
{
    ThousandBins t;
    t.data.makeWaveformOfWidth(300.0f);
    const std::vector<float> oldPoints = yOf(t.data.wavePointsL(), t.data.numPoints());

    const std::vector<float> quiet(640, 0.1f);
    preprocess(t.data, quiet, quiet, 32);
    EXPECT_EQ(t.data.numBins(), 20);
    EXPECT_FLOAT_EQ(t.data.maxY(), 0.01f);
    EXPECT_EQ(yOf(t.data.wavePointsL(), t.data.numPoints()), oldPoints);

    EXPECT_FALSE(t.data.makeWaveformOfWidth(300.0f));
    EXPECT_EQ(t.data.numPoints(), 20);
}

struct WidthCase {
    float width;
    int32_t expectedGroup;
    int32_t expectedPoints;
};

class WaveformPointGroups : public ::testing::TestWithParam<WidthCase> {};

TEST_P(WaveformPointGroups, GroupsHoldTheLargestBinOfEachStretch)
{
    const WidthCase c = GetParam();
    ThousandBins t;
    EXPECT_TRUE(t.data.makeWaveformOfWidth(c.width));
    ASSERT_EQ(t.data.numPoints(), c.expectedPoints);
    EXPECT_LE(t.data.numPoints(), static_cast<int32_t>(std::ceil(c.width)));

    const std::vector<float> binsL = binsOf(t.data.binsL(), 1000);
    const std::vector<float> binsR = binsOf(t.data.binsR(), 1000);
    EXPECT_EQ(yOf(t.data.wavePointsL(), t.data.numPoints()), expectedRunMaxima(binsL, c.expectedGroup));
    EXPECT_EQ(yOf(t.data.wavePointsR(), t.data.numPoints()), expectedRunMaxima(binsR, c.expectedGroup));

    // The overview is the same rule on its own lists.
    EXPECT_EQ(t.data.numOverviewPoints(), 0);
    EXPECT_TRUE(t.data.makeOverviewOfWidth(c.width));
    EXPECT_EQ(yOf(t.data.overviewPointsL(), t.data.numOverviewPoints()), expectedRunMaxima(binsL, c.expectedGroup));
}

INSTANTIATE_TEST_SUITE_P(OneThousandBins, WaveformPointGroups,
                         ::testing::Values(WidthCase{300.0f, 4, 250},   // not 300
                                           WidthCase{999.5f, 2, 500},
                                           WidthCase{7.0f, 143, 7},     // last group of 142
                                           WidthCase{3.0f, 334, 3},     // last group of 332
                                           WidthCase{333.3f, 4, 250},
                                           WidthCase{1.0f, 1000, 1}));

TEST(WaveformData, AWidthOfAtLeastTheBinCountGivesOnePointABin)
{
    ThousandBins t;
    EXPECT_FALSE(t.data.makeWaveformOfWidth(1000.0f));
    ASSERT_EQ(t.data.numPoints(), 1000);
    const std::vector<float> atBinCount = yOf(t.data.wavePointsL(), 1000);
    EXPECT_EQ(atBinCount, binsOf(t.data.binsL(), 1000));
    EXPECT_EQ(yOf(t.data.wavePointsR(), 1000), binsOf(t.data.binsR(), 1000));

    EXPECT_FALSE(t.data.makeWaveformOfWidth(48000.0f));
    ASSERT_EQ(t.data.numPoints(), 1000);
    EXPECT_EQ(yOf(t.data.wavePointsL(), 1000), atBinCount);

    // Zooming back out replaces the lists.
    EXPECT_TRUE(t.data.makeWaveformOfWidth(100.0f));
    EXPECT_EQ(t.data.numPoints(), 100);
    EXPECT_EQ(t.data.numOverviewPoints(), 0) << "the overview lists are separate";
}

TEST(WaveformData, PeaksSurviveEveryReduction)
{
    std::vector<float> samples = noise(441000, 5);
    std::transform(samples.begin(), samples.end(), samples.begin(), [](float v) { return v * 0.3f; });
    samples[123457] = -1.0f; // a negative spike is not a peak
    samples[300001] = 0.95f;
    WaveformData data;
    preprocess(data, samples, samples, WaveformData::binSizeForFrameCount(441000));
    EXPECT_EQ(data.numBins(), 55125);
    EXPECT_FLOAT_EQ(data.maxY(), 0.95f * 0.95f);
    for (float width : {55125.0f, 1920.0f, 1280.5f, 200.0f}) {
        data.makeOverviewOfWidth(width);
        const WavePoint* p = data.overviewPointsL();
        const auto highest = std::max_element(p, p + data.numOverviewPoints(),
                                              [](const WavePoint& a, const WavePoint& b) { return a.y < b.y; });
        EXPECT_FLOAT_EQ(static_cast<float>(highest->y), data.maxY()) << width;
        // Entry i covers frames from i * group * binSize on.
        const double group = std::ceil(55125.0 / width);
        EXPECT_EQ(static_cast<int64_t>(highest->x), static_cast<int64_t>(300001 / (group * 8))) << width;
    }
}

TEST(WaveformData, SwapAndMoveCarryEverything)
{
    ThousandBins t;
    t.data.makeWaveformOfWidth(300.0f);
    const float* bins = t.data.binsL();

    WaveformData fresh;
    fresh.swap(t.data);
    EXPECT_EQ(fresh.numBins(), 1000);
    EXPECT_EQ(fresh.numPoints(), 250);
    EXPECT_EQ(fresh.binSize(), 1);
    EXPECT_EQ(fresh.binsL(), bins) << "swapping must not copy the bins";
    EXPECT_EQ(t.data.numBins(), 0);
    EXPECT_EQ(t.data.binSize(), 32);
    EXPECT_FALSE(t.data.makeWaveformOfWidth(300.0f));

    WaveformData moved(std::move(fresh));
    EXPECT_EQ(moved.numBins(), 1000);
    EXPECT_EQ(moved.binsL(), bins);
    using std::swap;
    swap(moved, t.data);
    EXPECT_EQ(t.data.numPoints(), 250);
    EXPECT_EQ(moved.numBins(), 0);
}
