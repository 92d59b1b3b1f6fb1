// An independent, plain double-precision model of one frame (own window, own DFT, own folding and
// templates) checked against the estimator's single-precision FFTW path.
#include "ChordTestSignals.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>

using namespace chordtest;

namespace {

constexpr int N = 4096;

struct Reference {
    std::vector<double> power = std::vector<double>(336, 0.0);
    std::array<double, 12> chroma{};
    std::array<double, 24> scores{};
};

int pitchClass(int bin)
{
    const double hz = bin * 22050.0 / N;
    const long midi = std::lround(69.0 + 12.0 * std::log2(hz / 440.0));
    return int(midi % 12);
}

Reference reference(const float* x)
{
    Reference r;
    double total = 0.0;
    for (int k = 10; k <= 335; ++k) {
        std::complex<double> sum = 0.0;
        for (int n = 0; n < N; ++n) {
            const double w = 0.8165 * (1.0 - std::cos(2.0 * M_PI * n / N));
            sum += double(x[n]) * w * std::polar(1.0, -2.0 * M_PI * double(k) * n / N);
        }
        r.power[size_t(k)] = std::norm(sum / double(N));
        if (r.power[size_t(k)] > 1e-10) {
            r.chroma[size_t(pitchClass(k))] += r.power[size_t(k)];
            total += r.power[size_t(k)];
        }
    }
    for (double& c : r.chroma)
        c /= total;
    auto at = [&r](int root, int offset) { return r.chroma[size_t((root + offset) % 12)]; };
    for (int root = 0; root < 12; ++root) {
        const double major = at(root, 0) + at(root, 4) + at(root, 7);
        r.scores[size_t(root)] = major + 0.22 * (at(root, 2) + at(root, 9)) - 0.32 * (1.0 - major);
        const double minor = at(root, 0) + at(root, 3) + at(root, 7);
        r.scores[size_t(12 + root)] = minor + 0.20 * (at(root, 5) + at(root, 10)) - 0.32 * (1.0 - minor);
    }
    return r;
}

std::vector<float> sine(double bin, double amplitude)
{
    std::vector<float> x(N);
    for (int n = 0; n < N; ++n)
        x[size_t(n)] = float(amplitude * std::sin(2.0 * M_PI * bin * n / N));
    return x;
}

} // namespace

TEST(ChordReference, BinPowerIsTheDftOverTheFrameSizeSquared)
{
    // Normalised Hann: a sine of amplitude A on bin k puts (0.8165 A / 2)^2 in k and a quarter of
    // that amplitude, squared, in each neighbour.
    ChordFrameAnalyzer analyzer;
    ASSERT_TRUE(analyzer.isValid());
    const std::vector<float> x = sine(100.0, 0.5);
    analyzer.analyseFrame(x.data());
    ASSERT_TRUE(analyzer.lastFrameVoiced());
    EXPECT_NEAR(analyzer.binPower(100), std::pow(0.8165 * 0.5 / 2, 2), 1e-6);
    EXPECT_NEAR(analyzer.binPower(99), std::pow(0.8165 * 0.5 / 4, 2), 1e-6);
    EXPECT_NEAR(analyzer.binPower(101), std::pow(0.8165 * 0.5 / 4, 2), 1e-6);
    EXPECT_LT(analyzer.binPower(103), 1e-10);
    EXPECT_NEAR(analyzer.windowAt(2048), 2 * 0.8165, 1e-6);
    EXPECT_EQ(analyzer.windowAt(0), 0.0f);
}

TEST(ChordReference, FramesOfRealChordsMatchThePlainModel)
{
    const std::vector<float> signal = progression({{0, false, 1.0}, {9, true, 1.0}, {4, false, 1.0}, {10, true, 1.0}});
    ChordFrameAnalyzer analyzer;
    // Frames inside each chord, and one across the first boundary.
    for (int64_t start : {2048, 20000, 24000, 45000, 70000}) {
        const float* frame = signal.data() + start;
        const ChordFrameDecision decision = analyzer.analyseFrame(frame);
        ASSERT_TRUE(analyzer.lastFrameVoiced()) << start;
        const Reference ref = reference(frame);
        double maxPower = 0.0;
        for (double p : ref.power)
            maxPower = std::max(maxPower, p);
        for (int k = 10; k <= 335; ++k)
            ASSERT_NEAR(analyzer.binPower(k), ref.power[size_t(k)], 1e-5 * maxPower) << start << " bin " << k;
        for (size_t p = 0; p < 12; ++p)
            EXPECT_NEAR(analyzer.lastChroma()[p], ref.chroma[p], 1e-5) << start << " class " << p;
        const ChordTemplateMatch& match = analyzer.lastMatch();
        for (size_t c = 0; c < 24; ++c)
            EXPECT_NEAR(match.scores[c], ref.scores[c], 1e-5) << start << " chord " << c;
        const auto best = std::max_element(ref.scores.begin(), ref.scores.end());
        EXPECT_EQ(match.bestIndex, int(best - ref.scores.begin())) << start;
        if (start != 20000) { // inside a chord the frame is decided
            EXPECT_EQ(decision.label, match.bestIndex) << start;
        }
    }
}

TEST(ChordReference, BinsFoldToTheirRoundedPitchClass)
{
    for (int k = 10; k <= 335; ++k)
        ASSERT_EQ(chromaPitchClassOfBin(k), pitchClass(k)) << k;
    // 440 Hz sits between bins 81 (436.1 Hz) and 82 (441.4 Hz): both are A.
    EXPECT_EQ(chromaPitchClassOfBin(81), 9);
    EXPECT_EQ(chromaPitchClassOfBin(82), 9);
}

TEST(ChordReference, OnlyBinsTenTo335AreVisited)
{
    // A Hann-windowed sine on bin k reaches only k - 1 .. k + 1.
    ChordFrameAnalyzer analyzer;
    auto voicedFor = [&analyzer](double bin) {
        const std::vector<float> x = sine(bin, 0.5);
        analyzer.analyseFrame(x.data());
        return analyzer.lastFrameVoiced();
    };
    EXPECT_FALSE(voicedFor(8));
    EXPECT_TRUE(voicedFor(9));
    // Only bin 10 (A) carries power then, not bin 9 (G).
    EXPECT_FLOAT_EQ(analyzer.lastChroma()[9], 1.0f);
    EXPECT_TRUE(voicedFor(336));
    EXPECT_FALSE(voicedFor(337));
}

TEST(ChordReference, BinsUnderThePowerFloorAreLeftOut)
{
    // A loud tone below the visited bins opens the gate; a tone on bin 190 (C) gives the chroma; a
    // faint one on bin 100 (C#) stays under the floor of 1e-10 and must not count.
    std::vector<float> x(N);
    for (int n = 0; n < N; ++n) {
        const double t = 2.0 * M_PI * n / N;
        x[size_t(n)] = float(0.5 * std::sin(3 * t) + 0.01 * std::sin(190 * t) + 1.7e-5 * std::sin(100 * t));
    }
    ChordFrameAnalyzer analyzer;
    analyzer.analyseFrame(x.data());
    ASSERT_TRUE(analyzer.lastFrameVoiced());
    EXPECT_GT(analyzer.binPower(100), 1e-11);
    EXPECT_LT(analyzer.binPower(100), 1e-10);
    EXPECT_EQ(analyzer.lastChroma()[1], 0.0f);
    EXPECT_FLOAT_EQ(analyzer.lastChroma()[0], 1.0f);
}

TEST(ChordReference, FramesWithTooLittlePowerInTheVisitedBinsHaveNoChroma)
{
    // The loud tone below bin 10 passes the gate; the tone on bin 190 brings (A * 0.8165 / 2)^2 *
    // 1.125 of power into the visited bins: 5e-9 for the first amplitude, 2e-8 for the second.
    auto voicedWith = [](double amplitude) {
        std::vector<float> x(N);
        for (int n = 0; n < N; ++n) {
            const double t = 2.0 * M_PI * n / N;
            x[size_t(n)] = float(0.5 * std::sin(3 * t) + amplitude * std::sin(190 * t));
        }
        ChordFrameAnalyzer analyzer;
        analyzer.analyseFrame(x.data());
        return analyzer.lastFrameVoiced();
    };
    EXPECT_FALSE(voicedWith(1.63e-4));
    EXPECT_TRUE(voicedWith(3.26e-4));
}

TEST(ChordReference, RmsGateIsOnTheRawSamplesAndLetsTheGateValueThrough)
{
    // A square wave of ±a has an RMS of exactly a and a fundamental on bin 64.
    auto square = [](float a) {
        std::vector<float> x(N);
        for (int n = 0; n < N; ++n)
            x[size_t(n)] = (n / 32) % 2 ? -a : a;
        return x;
    };
    ChordFrameAnalyzer analyzer;
    analyzer.analyseFrame(square(0.006f).data());
    EXPECT_TRUE(analyzer.lastFrameVoiced());
    analyzer.analyseFrame(square(std::nextafter(0.006f, 0.0f)).data());
    EXPECT_FALSE(analyzer.lastFrameVoiced());
}

TEST(ChordTemplates, StrictComparisonsKeepTheFirstTriedOnEqualScores)
{
    // Equal C, E, G, A: C major and A minor have equal triads, and C major gains A as a colour tone.
    ChordChroma chroma{};
    chroma[0] = chroma[4] = chroma[7] = 0.25f;
    chroma[9] = 0.25f;
    const ChordTemplateMatch m = matchChordTemplates(chroma);
    EXPECT_EQ(m.bestIndex, 0);
    EXPECT_FLOAT_EQ(m.bestScore, 0.75f + 0.22f * 0.25f - 0.32f * 0.25f);

    // C, D#, E, G equal: C major and C minor tie exactly; the major, tried first, stays best and the
    // tie is the second score, so the margin is zero and the frame is unknown.
    ChordChroma tie{};
    tie[0] = tie[3] = tie[4] = tie[7] = 0.25f;
    const ChordTemplateMatch t = matchChordTemplates(tie);
    EXPECT_EQ(t.bestIndex, 0);
    EXPECT_EQ(t.scores[0], t.scores[12]);
    EXPECT_EQ(t.secondScore, t.bestScore);
    EXPECT_EQ(decideChord(t).label, -1);
}

TEST(ChordTemplates, ANewBestPushesTheOldBestToSecond)
{
    // C major scores high first; A minor, tried much later, beats it and nothing after comes close.
    ChordChroma chroma{};
    chroma[0] = chroma[4] = chroma[9] = 0.3f;
    chroma[7] = 0.1f;
    const ChordTemplateMatch m = matchChordTemplates(chroma);
    EXPECT_EQ(m.bestIndex, 21);
    EXPECT_EQ(m.bestScore, m.scores[21]);
    EXPECT_EQ(m.secondScore, m.scores[0]);
    EXPECT_FLOAT_EQ(m.bestShare, 0.9f);
}

TEST(ChordTemplates, AcceptanceNeedsTriadShareAndMarginAndConfidenceIsClamped)
{
    ChordTemplateMatch m;
    m.bestIndex = 5;
    m.bestShare = 0.38f;
    m.secondScore = 0.0f;
    m.bestScore = 0.015f; // the margin is exactly the smallest one
    EXPECT_EQ(decideChord(m).label, 5);
    EXPECT_FLOAT_EQ(decideChord(m).confidence, 1.5f * (0.38f - 0.30f) + 4.0f * 0.015f);
    m.bestScore = std::nextafter(0.015f, 0.0f);
    EXPECT_EQ(decideChord(m).label, -1);

    m.bestScore = 0.1f;
    m.bestShare = std::nextafter(0.38f, 0.0f);
    EXPECT_EQ(decideChord(m).label, -1);
    EXPECT_EQ(decideChord(m).confidence, 0.0f);
    m.bestShare = 0.9f;
    EXPECT_EQ(decideChord(m).confidence, 1.0f);
    m.bestShare = 0.5f;
    m.bestScore = 0.02f;
    EXPECT_FLOAT_EQ(decideChord(m).confidence, 1.5f * 0.2f + 4.0f * 0.02f);
    m.bestIndex = -1;
    EXPECT_EQ(decideChord(m).label, -1);
}
