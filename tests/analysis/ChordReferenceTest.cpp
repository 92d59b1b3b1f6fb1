// An independent, plain double-precision model of one frame (own window, own DFT, own folding and
// templates) checked against the estimator's single-precision FFTW path.
#include "ChordTestSignals.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>

using namespace chordtest;

namespace {

constexpr int N = 4096;

struct Reference { std::array<double, 336> power{}; std::array<double, 12> chroma{}; std::array<double, 24> scores{}; };

int pitchClass(int bin)
{
    return int(std::lround(69.0 + 12.0 * std::log2(bin * 22050.0 / N / 440.0)) % 12);
}

Reference reference(const float* x)
{
    Reference r;
    double total = 0.0;
    for (int k = 10; k <= 335; ++k) {
        std::complex<double> sum = 0.0;
        for (int n = 0; n < N; ++n)
            sum += double(x[n]) * 0.8165 * (1.0 - std::cos(2.0 * M_PI * n / N)) * std::polar(1.0, -2.0 * M_PI * k * n / N);
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

} // namespace

TEST(ChordFrameAnalyzer, FramesOfRealChordsMatchThePlainModel)
{
    const std::vector<float> signal = progression({{0, false, 1.0}, {9, true, 1.0}, {4, false, 1.0}, {10, true, 1.0}});
    ChordFrameAnalyzer analyzer;
    // Frames inside each chord, and one across the first boundary, through one analyzer.
    for (int64_t start : {2048, 20000, 24000, 45000, 70000}) {
        const float* frame = signal.data() + start;
        const ChordFrameDecision decision = analyzer.analyseFrame(frame);
        ASSERT_TRUE(analyzer.lastFrameVoiced()) << start;
        const Reference ref = reference(frame);
        const double maxPower = *std::max_element(ref.power.begin(), ref.power.end());
        for (int k = 10; k <= 335; ++k)
            ASSERT_NEAR(analyzer.binPower(k), ref.power[size_t(k)], 1e-5 * maxPower) << start << " bin " << k;
        for (size_t p = 0; p < 12; ++p)
            EXPECT_NEAR(analyzer.lastChroma()[p], ref.chroma[p], 1e-5) << start << " class " << p;
        const ChordTemplateMatch& match = analyzer.lastMatch();
        for (size_t c = 0; c < 24; ++c)
            EXPECT_NEAR(match.scores[c], ref.scores[c], 1e-5) << start << " chord " << c;
        EXPECT_EQ(match.bestIndex, int(std::max_element(ref.scores.begin(), ref.scores.end()) - ref.scores.begin()));
        if (start != 20000) { // inside a chord the frame is decided
            EXPECT_EQ(decision.label, match.bestIndex) << start;
        }
    }
}

TEST(ChordFrameAnalyzer, AFrameNeedsATriadShareOf038AndAMarginOf0015OverTheRunnerUp)
{
    // C, D#, E, G equal: C major and C minor tie exactly; the first tried stays, with a margin of zero.
    ChordChroma tie{};
    tie[0] = tie[3] = tie[4] = tie[7] = 0.25f;
    const ChordTemplateMatch t = matchChordTemplates(tie);
    EXPECT_EQ(std::tuple(t.bestIndex, t.secondScore, decideChord(t).label), std::tuple(0, t.bestScore, -1));
    // C major scores high first; A minor, tried much later, beats it and leaves it second.
    ChordChroma chroma{};
    chroma[0] = chroma[4] = chroma[9] = 0.3f;
    chroma[7] = 0.1f;
    const ChordTemplateMatch m = matchChordTemplates(chroma);
    EXPECT_EQ(std::tuple(m.bestIndex, m.bestScore, m.secondScore), std::tuple(21, m.scores[21], m.scores[0]));
    EXPECT_FLOAT_EQ(m.bestShare, 0.9f);

    auto decide = [](int index, float share, float best, float second) {
        const ChordFrameDecision d = decideChord({.bestScore = best, .secondScore = second, .bestShare = share, .bestIndex = index});
        return std::pair{d.label, d.confidence};
    };
    const float share = 0.38f, margin = 0.015f;
    EXPECT_EQ(decide(0, share, margin, 0.0f), std::pair(0, 1.5f * (share - 0.30f) + 4.0f * margin)); // both at their limits
    EXPECT_EQ(decide(0, share, std::nextafter(margin, 0.0f), 0.0f), std::pair(-1, 0.0f));
    EXPECT_EQ(decide(0, std::nextafter(share, 0.0f), 0.1f, 0.0f), std::pair(-1, 0.0f));
    EXPECT_EQ(decide(7, 0.9f, 0.1f, 0.0f), std::pair(7, 1.0f)); // clamped
    const auto [label, confidence] = decide(7, 0.5f, 0.1f, 0.08f);
    EXPECT_EQ(label, 7);
    EXPECT_FLOAT_EQ(confidence, 1.5f * 0.2f + 4.0f * 0.02f);
}
