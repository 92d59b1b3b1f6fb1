// The two reduction stages at their real sizes: one scan of a 10-minute stereo track, and the
// regrouping of 72,000 bins that every zoom step or resize costs.
#include "waveform/WaveformData.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <vector>

namespace {

constexpr int64_t tenMinutes = 10 * 60 * 44100;

std::vector<float> tone(int64_t frames, double hz)
{
    std::vector<float> v(static_cast<size_t>(frames));
    for (int64_t i = 0; i < frames; ++i)
        v[static_cast<size_t>(i)] = static_cast<float>(0.8 * std::sin(6.283185307179586 * hz * static_cast<double>(i) / 44100.0));
    return v;
}

void preprocessTenMinutesStereo(benchmark::State& state)
{
    const std::vector<float> left = tone(tenMinutes, 440.0);
    const std::vector<float> right = tone(tenMinutes, 660.0);
    const float* channels[] = {left.data(), right.data()};
    WaveformData data;
    data.setBinSize(WaveformData::binSizeForFrameCount(tenMinutes));
    for (auto _ : state) {
        data.preprocessAudioData(channels, 2, tenMinutes);
        benchmark::DoNotOptimize(data.binsL());
    }
    state.SetBytesProcessed(state.iterations() * tenMinutes * 2 * static_cast<int64_t>(sizeof(float)));
}
BENCHMARK(preprocessTenMinutesStereo)->Unit(benchmark::kMillisecond);

void makeWaveformFrom72000Bins(benchmark::State& state)
{
    const std::vector<float> samples = tone(72000, 3.0);
    const float* channels[] = {samples.data(), samples.data()};
    WaveformData data;
    data.setBinSize(1);
    data.preprocessAudioData(channels, 2, 72000);
    const float width = static_cast<float>(state.range(0));
    for (auto _ : state) {
        benchmark::DoNotOptimize(data.makeWaveformOfWidth(width));
        benchmark::DoNotOptimize(data.wavePointsL());
    }
}
BENCHMARK(makeWaveformFrom72000Bins)->Arg(1280)->Arg(20000)->Arg(100000)->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();
