// The bare real-time stretcher, as the export and the render thread drive it: stereo 44.1 kHz,
// speed 0.5 and +100 cents, pulled in the export's 4,096-frame blocks.
#include "audio/AudioRenderSource.h"
#include "audio/TimePitchStage.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

namespace {

class SineSource : public AudioRenderSource {
public:
    int channelCount() const override { return 2; }
    void render(float* const* out, int frames) override
    {
        for (int i = 0; i < frames; ++i, ++m_frame) {
            const double t = double(m_frame) / 44100.0;
            out[0][i] = float(0.3 * std::sin(2 * M_PI * 220.0 * t) + 0.2 * std::sin(2 * M_PI * 330.0 * t));
            out[1][i] = float(0.3 * std::sin(2 * M_PI * 277.0 * t));
        }
    }

private:
    int64_t m_frame = 0;
};

void BM_TimePitchStage(benchmark::State& state)
{
    const double rate = double(state.range(0)) / 100.0;
    const int block = 4096;
    const int64_t outputFrames = 10 * 44100;
    SineSource source;
    TimePitchStage stage;
    stage.prepare(44100.0, 2);
    stage.setInput(&source);
    stage.setRate(rate);
    stage.setPitch(100.0);
    std::vector<float> left(block), right(block);
    float* out[2] = {left.data(), right.data()};
    for (auto _ : state) {
        for (int64_t done = 0; done < outputFrames; done += block)
            stage.render(out, block);
        benchmark::DoNotOptimize(left.data());
    }
    state.counters["x_real_time"] =
        benchmark::Counter(double(outputFrames) / 44100.0 * double(state.iterations()), benchmark::Counter::kIsRate);
}
BENCHMARK(BM_TimePitchStage)->Arg(50)->Arg(100)->Arg(150)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
