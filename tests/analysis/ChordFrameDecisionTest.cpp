#include "analysis/LTChordEstimatorInternal.h"
#include "common/Testing.h"

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
    // The template's weights: the triad, its added tones, and what lies outside.
    EXPECT_FLOAT_EQ(m.scores[0], 0.7f + 0.22f * 0.3f - 0.32f * 0.3f);
    EXPECT_FLOAT_EQ(m.scores[21], 0.9f + 0.20f * 0.1f - 0.32f * 0.1f);

    const float share = 0.38f, margin = 0.015f;
    struct Case { int index; float share, best, second; int label; float confidence; };
    for (const Case& c : {Case{0, share, margin, 0.0f, 0, 1.5f * (share - 0.30f) + 4.0f * margin}, // both at their limits
                          Case{0, share, std::nextafter(margin, 0.0f), 0.0f, -1, 0.0f},
                          Case{0, std::nextafter(share, 0.0f), 0.1f, 0.0f, -1, 0.0f},
                          Case{7, 0.9f, 0.1f, 0.0f, 7, 1.0f}, // clamped
                          Case{7, 0.5f, 0.1f, 0.08f, 7, 1.5f * 0.2f + 4.0f * 0.02f}}) {
        const ChordFrameDecision d = decideChord({.bestScore = c.best, .secondScore = c.second, .bestShare = c.share, .bestIndex = c.index});
        EXPECT_EQ(d.label, c.label) << c.share << " " << c.best;
        EXPECT_NEAR(d.confidence, c.confidence, 1e-6f) << c.share << " " << c.best;
    }
}
