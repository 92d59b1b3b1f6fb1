// The basic estimator's stages one by one: collecting samples, deciding a frame, smoothing and segments.
#include "analysis/LTChordEstimatorInternal.h"
#include "common/Testing.h"

#include <numeric>
#include <optional>

using namespace chordconst;

namespace {

constexpr int C = 0, D = 2, G = 7, Cm = 12, Am = 21;

struct FrameRun { int label; int frames; float confidence = 0.9f; };

// The end of a run whose last frame is frameBehind - 1: that frame's window.
double runEnd(int frameBehind)
{
    return double(frameBehind * kHop + kFrameSize) / kTargetRate;
}

LTChordSegment segment(double start, double end, int midi, double confidence = double(0.9f))
{
    return {start, end, 0.0, midi, LTChordEstimator::chordName(midi), confidence};
}

ChordChroma chroma(std::initializer_list<std::pair<int, float>> classes)
{
    ChordChroma c{};
    for (const auto& [pitchClass, value] : classes)
        c[size_t(pitchClass)] = value;
    return c;
}

} // namespace

TEST(LTChordSegment, NamesHaveSharpsForMajorAndAnMForMinorAndTheJsonHasExactlyTheSixKeys)
{
    QStringList names;
    for (int index : {-1, 0, 3, 11, 12, 21, 23, 24})
        names << LTChordEstimator::chordName(index);
    EXPECT_EQ(names, (QStringList{"", "C", "D#", "B", "Cm", "Am", "Bm", ""}));
    const QJsonArray array = chordSegmentsToJson({segment(0, 1, C), segment(1.5, 2.25, Am, 0.875)});
    ASSERT_EQ(array.size(), 2);
    EXPECT_EQ(array[1].toObject(), (QJsonObject{{"startSec", 1.5}, {"endSec", 2.25}, {"frequencyHz", 0.0},
                                                {"midi", 21}, {"noteName", "Am"}, {"confidence", 0.875}}));
}

TEST(ChordPostProcessing, EachFrameIsSmoothedToTheMajorityOfConfidentLabelsTwoFramesEitherSide)
{
    const float gate = kSmallestVoteConfidence, below = std::nextafter(gate, 0.0f);
    struct Case { std::vector<int> labels; std::vector<float> confidences; std::vector<int> expected; };
    const Case cases[] = {
        // A lone frame takes the label of two neighbours at the vote gate, whatever its own confidence.
        {{-1, C, G, C, -1}, {0, gate, 0.1f, gate, 0}, {-1, C, C, C, -1}},
        {{-1, C, G, C, -1}, {0, below, 0.1f, below, 0}, {-1, C, G, C, -1}},
        {{-1, C, G, -1, -1}, {0, 0.9f, 0.1f, 0, 0}, {-1, C, G, -1, -1}}, // one vote is not enough
        // Votes read the unsmoothed labels; a tie goes to the lower index.
        {{C, C, G, G, 5}, {0.9f, 0.9f, 0.9f, 0.9f, 0.9f}, {C, C, C, G, G}},
        // Two frames each way, and holes stay holes.
        {{C, -1, -1, G, -1, -1, C}, {0.9f, 0, 0, 0.9f, 0, 0, 0.9f}, {C, -1, -1, G, -1, -1, C}},
        // A label outside the 24 chords is kept but is no vote.
        {{C, 24, 24, 24, C}, {0.9f, 0.9f, 0.9f, 0.9f, 0.9f}, {C, 24, C, 24, C}},
    };
    for (const Case& c : cases)
        EXPECT_EQ(smoothChordLabels(c.labels, c.confidences), c.expected) << ::testing::PrintToString(c.labels);
}

TEST(ChordPostProcessing, LongConfidentRunsBecomeSegmentsNearbyRunsOfOneChordMergeAndCoverageCountsEachLength)
{
    const double hop = kHopSeconds;
    // voiced: frames behind a C major mean chroma.
    struct Case { std::vector<FrameRun> runs; double duration; QList<LTChordSegment> expected; int64_t voiced = 0; };
    const Case cases[] = {
        {{{-1, 5}, {G, 3}, {-1, 5}}, 5.0, {}}, // 0.325 s is too short
        {{{-1, 5}, {G, 4}, {-1, 5}}, 5.0, {segment(5 * hop, runEnd(9), G)}},
        // A mean confidence of exactly 0.8 is enough, and only the run's own frames count.
        {{{D, 3, 1.0f}, {D, 2, 0.5f}, {G, 5}}, 5.0, {segment(0, runEnd(5), D, 0.8), segment(5 * hop, runEnd(10), G)}},
        // The lone G becomes C, and brings its low confidence into C's mean.
        {{{C, 3, 1.0f}, {G, 1, 0.2f}, {C, 3, 1.0f}}, 5.0, {segment(0, runEnd(7), C, (6.0 + double(0.2f)) / 7.0)}},
        {{{Am, 20}}, 1.0, {segment(0, 1.0, Am)}}, // the end stops at the analysed duration
        // Nine unknown frames (0.232 s) between runs of one chord: one segment, the higher confidence.
        {{{G, 10, 0.85f}, {-1, 9}, {G, 10, 0.95f}}, 10.0, {segment(0, runEnd(29), G, double(0.95f))}},
        // Covering under 3 % of the analysed duration reports nothing, unless the mean chroma has a chord.
        {{{D, 10}}, runEnd(10) / 0.03 - 0.01, {segment(0, runEnd(10), D)}},
        {{{D, 10}}, runEnd(10) / 0.03 + 0.01, {}},
        {{{D, 10}}, 100.0, {segment(0, 100.0, C, 0.2)}, 2},
        {{{D, 10}}, 10.0, {segment(0, runEnd(10), D)}, 2}, // enough coverage: the mean chroma is not asked
    };
    for (const Case& c : cases) {
        ChordFrameTrack t;
        for (const FrameRun& r : c.runs) {
            t.labels.insert(t.labels.end(), size_t(r.frames), r.label);
            t.confidences.insert(t.confidences.end(), size_t(r.frames), r.label < 0 ? 0.0f : r.confidence);
        }
        t.voicedFrames = c.voiced;
        t.chromaSum = chroma({{0, 1.0f}, {4, 0.6f}, {7, 0.4f}});
        EXPECT_EQ(chordSegmentsFromFrames(t, c.duration), c.expected) << ::testing::PrintToString(t.labels);
    }
    // A gap of a quarter second still merges; coverage counts each segment's length.
    EXPECT_EQ(mergeChordSegments({segment(0, 1, C), segment(1.25, 2, C), segment(2.1, 3, G)}),
              (QList{segment(0, 2, C), segment(2.1, 3, G)}));
    EXPECT_EQ(mergeChordSegments({segment(0, 1, C), segment(std::nextafter(1.25, 2.0), 2, C)}).size(), 2);
    EXPECT_FALSE(chordSegmentsCoverEnough({segment(0.1, 0.6, C)}, 20.0)); // 0.5 of 0.6
}

TEST(ChordPostProcessing, TheWholeFileFallbackNeedsATriadShareOf045AndKeepsTheFirstOfEqualShares)
{
    // Exact in float: the G major share of the mean is exactly 0.45f, or one step below it.
    const float fifth = 0.45f - 0.375f, weakFifth = std::nextafter(0.45f, 0.0f) - 0.375f;
    const ChordChroma gMajorTwice = chroma({{7, 0.5f}, {11, 0.25f}, {2, 2 * fifth}});
    struct Case { ChordChroma sum; int64_t voiced; std::optional<LTChordSegment> expected; };
    const Case cases[] = {
        {gMajorTwice, 2, segment(0, 30, G, 0.2)},
        {chroma({{7, 0.5f}, {11, 0.25f}, {2, 2 * weakFifth}}), 2, std::nullopt},
        {gMajorTwice, 3, std::nullopt}, // the sum is divided by the voiced frames
        // On equal shares the chord tried first stays: C major before A minor.
        {chroma({{0, 0.375f}, {4, 0.375f}, {7, 0.125f}, {9, 0.125f}}), 1, segment(0, 30, C, 0.2)},
        // Minor chords keep their own root.
        {chroma({{0, 0.375f}, {3, 0.375f}, {7, 0.125f}, {9, 0.125f}}), 1, segment(0, 30, Cm, 0.2)},
        {chroma({{9, 0.5f}, {0, 0.3f}, {4, 0.2f}}), 1, segment(0, 30, Am, 0.2)},
    };
    for (const Case& c : cases)
        EXPECT_EQ(wholeFileChordFallback(c.sum, c.voiced, 30.0), c.expected) << ::testing::PrintToString(c.sum);
}
TEST(ChordFrameAnalyzer, AFrameNeedsATriadShareOf038AndAMarginOf0015OverTheRunnerUp)
{
    // C, D#, E, G equal: C major and C minor tie exactly; the first tried stays, with a margin of zero.
    const ChordTemplateMatch t = matchChordTemplates(chroma({{0, 0.25f}, {3, 0.25f}, {4, 0.25f}, {7, 0.25f}}));
    EXPECT_EQ(std::tuple(t.bestIndex, t.secondScore, decideChord(t).label), std::tuple(0, t.bestScore, -1));
    // C major scores high first; A minor, tried much later, beats it and leaves it second.
    const ChordTemplateMatch m = matchChordTemplates(chroma({{0, 0.3f}, {4, 0.3f}, {9, 0.3f}, {7, 0.1f}}));
    EXPECT_EQ(std::tuple(m.bestIndex, m.bestScore, m.secondScore), std::tuple(21, m.scores[21], m.scores[0]));
    EXPECT_FLOAT_EQ(m.bestShare, 0.9f);

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

TEST(ChordSampleStore, GrowsAcrossChunksWithoutLosingSamples)
{
    ChordSampleStore store;
    for (int64_t i = 0; i < 2 * ChordSampleStore::kChunkSamples + 10'000; ++i)
        store.append(float(i % 100'003));
    const int64_t start = ChordSampleStore::kChunkSamples * 2 - 2500; // straddles the second boundary
    std::vector<float> span(5000), expected(5000);
    store.copy(start, 5000, span.data());
    std::iota(expected.begin(), expected.end(), float(start % 100'003)); // no wrap inside the span
    EXPECT_EQ(span, expected);
}

TEST(ChordSampleCollector, KeepsFramesAtTheTargetRateWhereverTheBlocksAreCutUpToTheCap)
{
    // Frame f carries the value f on both channels, so kept samples tell which frames were kept.
    std::vector<float> stereo(2 * 100'003);
    for (size_t i = 0; i < stereo.size(); ++i)
        stereo[i] = float(i / 2);
    auto collect = [&stereo](double rate, int64_t block) {
        ChordSampleStore store;
        ChordSampleCollector collector(rate, 2, QStringLiteral("x.wav"), store);
        for (int64_t at = 0; at < 100'003; at += block)
            collector.appendInterleaved(stereo.data() + at * 2, std::min<int64_t>(block, 100'003 - at));
        std::vector<float> out(size_t(store.size()));
        store.copy(0, store.size(), out.data());
        return out;
    };
    for (const auto& [rate, firstKept] : {std::pair{44100.0, std::vector<float>{1, 3, 5, 7, 9, 11}}, {48000.0, {2, 4, 6, 8, 10, 13}}, {11025.0, {0, 1, 2, 3, 4, 5}}}) {
        const std::vector<float> whole = collect(rate, 100'003);
        ASSERT_GE(whole.size(), 6u);
        EXPECT_EQ(std::vector<float>(whole.begin(), whole.begin() + 6), firstKept) << rate;
        EXPECT_NEAR(double(whole.size()), 100'003 * std::min(1.0, 22050.0 / rate), 1.0) << rate;
        for (int64_t block : {1, 7, 4095})
            EXPECT_EQ(collect(rate, block), whole) << rate << " in blocks of " << block;
    }

    // An hour stops at the cap; the block that reached it is refused.
    const std::vector<float> block(8192, 0.5f);
    ChordSampleStore store;
    ChordSampleCollector collector(chordconst::kTargetRate, 1, QStringLiteral("hour.flac"), store);
    int64_t fed = 0;
    while (fed < 3600 * 22050 && collector.appendInterleaved(block.data(), int64_t(block.size())))
        fed += int64_t(block.size());
    const int64_t capSamples = chordconst::kSampleCapBytes / 4; // 2,400 s
    EXPECT_EQ(store.size(), capSamples);
    EXPECT_EQ(fed, capSamples / 8192 * 8192);
    EXPECT_FALSE(collector.appendInterleaved(block.data(), 1));
    EXPECT_EQ(store.size(), capSamples);
}
