#include "waveform/WaveformData.h"

#include "common/Testing.h"

// Values in (-0.9, 0.9) with no pattern that a run boundary could line up with.
static std::vector<float> wobble(int64_t frames, double seed)
{
    std::vector<float> v(static_cast<size_t>(frames));
    std::generate(v.begin(), v.end(), [seed, i = 0.0]() mutable { return float(0.9 * std::sin(i++ * 1.37 + seed)); });
    return v;
}

// The reduction as plainly as it can be said: run i covers values [i*run, min((i+1)*run, n)).
static std::vector<float> runMaxima(const std::vector<float>& values, size_t run, bool squared = false)
{
    std::vector<float> out;
    for (size_t start = 0; start < values.size(); start += run) {
        const float m = *std::max_element(values.begin() + long(start), values.begin() + long(std::min(values.size(), start + run)));
        out.push_back(squared ? m * m : m);
    }
    return out;
}

TEST(WaveformData, BinsHoldTheSquaredLargestSampleOfEachRunAndPointsTheLargestBinOfEachGroupWhileCallsWithoutDataChangeNothing)
{
    // Mono serves as both channels; of three, the first two count.
    for (auto [frames, binSize, channelCount] : {std::tuple<int64_t, int32_t, int>{1, 1, 2}, {72001, 2, 2}, {31, 32, 1}, {160, 32, 3}, {161, 32, 2}, {49147, 16384, 2}}) {
        std::vector<float> left = wobble(frames, 1), right = wobble(frames, 2), third = wobble(frames, 3);
        left.back() = 0.99f; // the loudest, so a lost or misplaced last bin shows, and maxY is not the right's
        const float* channels[] = {left.data(), right.data(), third.data()};
        WaveformData data;
        data.setBinSize(binSize);
        data.preprocessAudioData(channels, channelCount, frames);
        const std::vector<float> l = runMaxima(left, size_t(binSize), true);
        ASSERT_EQ(data.numBins(), int32_t(l.size())) << frames;
        EXPECT_EQ(std::vector<float>(data.binsL(), data.binsL() + l.size()), l) << frames;
        EXPECT_EQ(std::vector<float>(data.binsR(), data.binsR() + l.size()), runMaxima(channelCount > 1 ? right : left, size_t(binSize), true));
        EXPECT_FLOAT_EQ(data.maxY(), 0.99f * 0.99f) << frames;
    }
    for (auto [frames, size] : {std::pair<int64_t, int32_t>{0, 1}, {72000, 1}, {72001, 2}, {144001, 4}, {635040000, 16384}})
        EXPECT_EQ(WaveformData::binSizeForFrameCount(frames), size) << frames;

    // Points hold the largest bin of each group; calls without data change nothing.
    const std::vector<float> left = wobble(1000, 11), right = wobble(1000, 12);
    const float* channels[] = {left.data(), right.data()}, *halfMissing[] = {left.data(), nullptr};
    // A point's x is its index; -1 stands for a misplaced one.
    auto ys = [](const WavePoint* p, int32_t n) { std::vector<float> y; for (int32_t i = 0; i < n; ++i) y.push_back(p[i].x == i ? float(p[i].y) : -1.0f); return y; };
    WaveformData data;
    data.setBinSize(1);
    data.preprocessAudioData(channels, 2, 1000);
    // 1000 bins at 999.5 make groups of 2; the last group may be short (142 of 143, 332 of 334).
    for (auto [width, group] : {std::pair{300.0f, 4}, {999.5f, 2}, {7.0f, 143}, {3.0f, 334}, {1.0f, 1000}, {1000.0f, 1}}) {
        EXPECT_EQ(data.makeWaveformOfWidth(width), group > 1) << width;
        EXPECT_EQ(ys(data.wavePointsR(), data.numPoints()), runMaxima(runMaxima(right, 1, true), size_t(group))) << width;
        EXPECT_EQ(data.makeOverviewOfWidth(width), group > 1) << width;
        EXPECT_EQ(ys(data.overviewPointsL(), data.numOverviewPoints()), runMaxima(runMaxima(left, 1, true), size_t(group))) << width;
    }
    const auto full = std::tuple(data.numBins(), data.maxY(), data.binsL(), data.binsR());
    for (auto [binSize, input, count, frames] : {std::tuple{1, channels, 0, 1000}, {1, halfMissing, 2, 1000}, {1, channels, 2, 0}, {0, channels, 2, 1000}}) {
        data.setBinSize(binSize);
        data.preprocessAudioData(input, count, frames);
        EXPECT_EQ(std::tuple(data.numBins(), data.maxY(), data.binsL(), data.binsR()), full) << count << " channels, " << frames << " frames";
    }
}
