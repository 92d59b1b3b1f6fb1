#include "analysis/LTChordEstimatorInternal.h"
#include "common/Testing.h"

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

TEST(ChordPostProcessing, LongConfidentRunsBecomeSegmentsAndNearbyRunsOfOneChordMerge)
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
}

TEST(ChordPostProcessing, AGapOfAQuarterSecondStillMergesAndCoverageCountsEachSegmentsLength)
{
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
