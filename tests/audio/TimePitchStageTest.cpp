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
        std::printf("rate %.2f, %+.0f cents: %.3f Hz, error %+.3f cents\n", c.rate, c.cents, hz, error);
        EXPECT_NEAR(error, 0.0, 2.0) << "rate " << c.rate << ", cents " << c.cents << ": " << hz << " Hz";
    }
}

// Bursts one second of source apart must come out 1/rate seconds apart, the first one at the
// very start and at full level.
void checkTiming(double rate)
{
    const std::vector<int64_t> starts{0, 44100, 88200};
    Chain chain(bursts(starts));
    chain.stage.setRate(rate);
    const auto out = measure::renderMono(chain.stage, int64_t(2.5 * kRate / rate), kBlock);

    const float reference = measure::peak(out, size_t(2.0 * kRate / rate) - 2000, size_t(2.0 * kRate / rate) + 2000);
    ASSERT_GT(reference, 0.5f);
    std::printf("rate %.2f: first burst peak %.3f, later burst peak %.3f\n", rate, measure::peak(out, 0, 441),
                reference);
    EXPECT_GT(measure::peak(out, 0, 441), 0.85f * reference) << "the first beat after a reset is kept";

    size_t searchFrom = 0;
    for (int64_t s : starts) {
        const int64_t at = measure::onset(out, 0.3f * reference, searchFrom);
        const double expected = double(s) / rate;
        std::printf("rate %.2f: burst at source %lld found at output %lld, expected %.0f\n", rate, (long long)s,
                    (long long)at, expected);
        EXPECT_NEAR(double(at), expected, kBlock) << "burst at source frame " << s;
        searchFrom = size_t(std::max<int64_t>(at, 0)) + size_t(0.5 * kRate / rate);
    }
}

TEST(TimePitchStage, stretchesTimeByTheInverseRateAndKeepsTheFirstBeat)
{
    checkTiming(0.5);
    checkTiming(1.0);
    checkTiming(1.5);
}

TEST(TimePitchStage, aResetDropsHeldAudioAndKeepsTheFirstBeatOfTheNewMaterial)
{
    for (double rate : {0.5, 1.0}) {
        Chain chain(sine(300.0, 0.9f));
        chain.stage.setRate(rate);
        measure::renderMono(chain.stage, 20000, kBlock);

        chain.source.setFunction(bursts({0}));
        chain.source.restart();
        chain.stage.requestReset();
        const auto out = measure::renderMono(chain.stage, int64_t(0.5 * kRate), kBlock);
        EXPECT_GT(measure::peak(out, 0, 441), 0.7f) << "rate " << rate;
        EXPECT_LT(measure::peak(out, size_t(0.1 * kRate / rate), out.size()), 0.02f)
            << "nothing of the audio before the reset may follow, rate " << rate;
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
        EXPECT_EQ(chain.stage.lastRenderRate(), rate);
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
    float worst = 0.0f;
    for (size_t i = 1; i < out.size(); ++i)
        worst = std::max(worst, std::fabs(out[i] - out[i - 1]));
    std::printf("largest step between samples while sweeping: %.4f\n", worst);
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
