#include "audio/TimePitchStage.h"

#include "SignalMeasure.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>

namespace {

constexpr double kRate = 44100.0;
constexpr int kBlock = 512;

std::function<float(int64_t)> sine(double hz, float amplitude = 0.5f)
{
    return [=](int64_t n) { return amplitude * float(std::sin(2.0 * M_PI * hz * double(n) / kRate)); };
}

// 10 ms bursts of 1 kHz at full scale 0.8, starting at each of `starts`, silence elsewhere.
std::function<float(int64_t)> bursts(std::vector<int64_t> starts)
{
    return [starts = std::move(starts)](int64_t n) {
        for (int64_t s : starts)
            if (n >= s && n < s + 441)
                return 0.8f * float(std::sin(2.0 * M_PI * 1000.0 * double(n - s) / kRate + M_PI / 2));
        return 0.0f;
    };
}

struct Chain {
    measure::FunctionSource source;
    TimePitchStage stage;
    explicit Chain(std::function<float(int64_t)> f, int channels = 2) : source(channels, std::move(f))
    {
        EXPECT_TRUE(stage.prepare(kRate, channels));
        stage.setInput(&source);
    }
};

double measuredPitch(double rate, double cents)
{
    Chain chain(sine(440.0));
    chain.stage.setRate(rate);
    chain.stage.setPitch(cents);
    const auto out = measure::renderMono(chain.stage, int64_t(3.0 * kRate), kBlock);
    return measure::zeroCrossingFrequency(out, size_t(1.0 * kRate), out.size(), kRate);
}

TEST(TimePitchStage, shiftsPitchBySetCentsAtAnyRate)
{
    struct Case {
        double rate, cents, expectedHz;
    };
    for (const Case c : {Case{1.0, 100.0, 466.1638}, Case{1.0, 1200.0, 880.0}, Case{0.5, 100.0, 466.1638},
                         Case{1.5, -1200.0, 220.0}, Case{0.25, 0.0, 440.0}}) {
        const double hz = measuredPitch(c.rate, c.cents);
        const double error = measure::cents(hz, c.expectedHz);
        EXPECT_NEAR(error, 0.0, 2.0) << "rate " << c.rate << ", cents " << c.cents << ": " << hz << " Hz";
    }
}

TEST(TimePitchStage, eachBlockIsStampedWithTheSourceFrameItBegins)
{
    for (double rate : {0.5, 1.0, 1.4}) {
        const int64_t burstAt = 30000;
        Chain chain(bursts({burstAt}));
        chain.stage.setRate(rate);
        std::vector<double> stampAtBlockStart;
        const auto out = measure::renderMono(chain.stage, int64_t(60000 / rate), kBlock, [&](int64_t) {
            stampAtBlockStart.push_back(chain.stage.lastRenderTime());
        });
        const int64_t at = measure::onset(out, 0.3f);
        ASSERT_GE(at, 0);
        const size_t block = size_t(at) / kBlock;
        const double estimated = stampAtBlockStart[block] + double(at - int64_t(block) * kBlock) * rate;
        EXPECT_NEAR(estimated, double(burstAt), 0.010 * kRate) << "rate " << rate;
        EXPECT_NEAR(chain.stage.lastRenderRate(), rate, 1e-9);
    }
}

TEST(TimePitchStage, changingRateAndPitchWhilePlayingMakesNoClick)
{
    Chain chain(sine(440.0, 0.5f));
    measure::renderMono(chain.stage, 20000, kBlock);
    // Settings swept every block, as a dragged slider does.
    int step = 0;
    const auto out = measure::renderMono(chain.stage, 3 * 44100, kBlock, [&](int64_t) {
        ++step;
        chain.stage.setRate(1.0 - 0.5 * std::fabs(std::sin(step * 0.05)));
        chain.stage.setPitch(600.0 * std::sin(step * 0.07));
    });
    // The steepest step of a 0.5 sine at up to 622 Hz is 0.044 per sample.
    const float worst = measure::largestStep(out);
    EXPECT_LT(worst, 0.1f);
    EXPECT_GT(measure::peak(out, out.size() - 10000, out.size()), 0.3f) << "still sounding";
}

TEST(TimePitchStage, bypassPassesTheInputThroughUnchanged)
{
    Chain chain(sine(440.0));
    chain.stage.setRate(0.5);
    chain.stage.setPitch(700.0);
    chain.stage.setBypass(true);
    const auto out = measure::renderMono(chain.stage, 5000, 300);
    const auto f = sine(440.0);
    for (int64_t i = 0; i < 5000; ++i)
        ASSERT_EQ(out[size_t(i)], f(i)) << "frame " << i;
}

} // namespace
