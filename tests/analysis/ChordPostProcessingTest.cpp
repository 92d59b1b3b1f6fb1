#include "ChordTestSignals.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace chordconst;

namespace {

constexpr int C = 0, D = 2, G = 7, Am = 21;

// Appends `count` frames of one label and confidence.
void frames(ChordFrameTrack& t, int label, int count, float confidence = 0.9f)
{
    t.labels.insert(t.labels.end(), size_t(count), label);
    t.confidences.insert(t.confidences.end(), size_t(count), label < 0 ? 0.0f : confidence);
}

double runEnd(int frameBehind)
{
    return double(frameBehind * kHop + kFrameSize) / kTargetRate;
}

LTChordSegment segment(double start, double end, int midi, double confidence = 0.9)
{
    LTChordSegment s;
    s.startSec = start;
    s.endSec = end;
    s.midi = midi;
    s.noteName = LTChordEstimator::chordName(midi);
    s.confidence = confidence;
    return s;
}

} // namespace

TEST(ChordNames, SharpsForMajorAndAnMForMinor)
{
    EXPECT_EQ(LTChordEstimator::chordName(0), "C");
    EXPECT_EQ(LTChordEstimator::chordName(3), "D#");
    EXPECT_EQ(LTChordEstimator::chordName(11), "B");
    EXPECT_EQ(LTChordEstimator::chordName(13), "C#m");
    EXPECT_EQ(LTChordEstimator::chordName(21), "Am");
    EXPECT_EQ(LTChordEstimator::chordName(23), "Bm");
    EXPECT_EQ(LTChordEstimator::chordName(-1), "");
    EXPECT_EQ(LTChordEstimator::chordName(24), "");
}

TEST(ChordSegmentRecord, JsonHasExactlyTheSixKeys)
{
    const QJsonObject json = segment(1.5, 2.25, Am, 0.875).toJson();
    EXPECT_EQ(json.keys(), (QStringList{"confidence", "endSec", "frequencyHz", "midi", "noteName", "startSec"}));
    EXPECT_EQ(json["startSec"].toDouble(), 1.5);
    EXPECT_EQ(json["endSec"].toDouble(), 2.25);
    EXPECT_EQ(json["frequencyHz"].toDouble(), 0.0);
    EXPECT_TRUE(json["midi"].isDouble());
    EXPECT_EQ(json["midi"].toInt(), 21);
    EXPECT_EQ(json["noteName"].toString(), "Am");
    EXPECT_EQ(json["confidence"].toDouble(), 0.875);
    const QJsonArray array = chordSegmentsToJson({segment(0, 1, C), segment(1, 2, G)});
    ASSERT_EQ(array.size(), 2);
    EXPECT_EQ(array[1].toObject()["noteName"].toString(), "G");
}

TEST(ChordSmoothing, LoneFrameTakesTheLabelOfTwoConfidentNeighbours)
{
    const float atGate = kSmallestVoteConfidence;
    // The lone frame's own confidence is too low to vote, yet it can be relabelled.
    EXPECT_EQ(smoothChordLabels({-1, C, G, C, -1}, {0, atGate, 0.1f, atGate, 0}), (std::vector<int>{-1, C, C, C, -1}));
    const float belowGate = std::nextafter(atGate, 0.0f);
    EXPECT_EQ(smoothChordLabels({-1, C, G, C, -1}, {0, belowGate, 0.1f, belowGate, 0}),
              (std::vector<int>{-1, C, G, C, -1}));
    // One confident neighbour is one vote: not enough.
    EXPECT_EQ(smoothChordLabels({-1, C, G, -1, -1}, {0, 0.9f, 0.1f, 0, 0}), (std::vector<int>{-1, C, G, -1, -1}));
}

TEST(ChordSmoothing, VotesReadTheUnsmoothedLabelsAndTiesGoToTheLowerIndex)
{
    // Frame 2 ties C against G and becomes C; frame 3 still counts frame 2 as G.
    EXPECT_EQ(smoothChordLabels({C, C, G, G, 5}, {0.9f, 0.9f, 0.9f, 0.9f, 0.9f}), (std::vector<int>{C, C, C, G, G}));
}

TEST(ChordSmoothing, ReachesTwoFramesEachWayAndFillsNoHoles)
{
    // The C frames three away from the lone G don't vote for it.
    EXPECT_EQ(smoothChordLabels({C, -1, -1, G, -1, -1, C}, {0.9f, 0, 0, 0.9f, 0, 0, 0.9f}),
              (std::vector<int>{C, -1, -1, G, -1, -1, C}));
    EXPECT_EQ(smoothChordLabels({C, C, -1, C, C}, {0.9f, 0.9f, 0, 0.9f, 0.9f}), (std::vector<int>{C, C, -1, C, C}));
    EXPECT_EQ(smoothChordLabels({C, C, G, -1, -1}, {0.9f, 0.9f, 0.9f, 0, 0}), (std::vector<int>{C, C, C, -1, -1}));
}

TEST(ChordRuns, ThreeFramesAreTooShortAndFourAreEnough)
{
    ChordFrameTrack t3;
    frames(t3, -1, 5);
    frames(t3, G, 3);
    frames(t3, -1, 5);
    EXPECT_TRUE(chordSegmentsFromFrames(t3, 5.0).isEmpty());

    ChordFrameTrack t4;
    frames(t4, -1, 5);
    frames(t4, G, 4);
    frames(t4, -1, 5);
    const QList<LTChordSegment> segments = chordSegmentsFromFrames(t4, 5.0);
    ASSERT_EQ(segments.size(), 1);
    EXPECT_EQ(segments[0], segment(5 * kHopSeconds, runEnd(9), G, double(0.9f)));
}

TEST(ChordRuns, MeanConfidenceOfTheRunDecides)
{
    // Five frames summing to 4.0 have a mean of exactly 0.8: enough.
    ChordFrameTrack t;
    frames(t, D, 3, 1.0f);
    frames(t, D, 2, 0.5f);
    QList<LTChordSegment> segments = chordSegmentsFromFrames(t, 5.0);
    ASSERT_EQ(segments.size(), 1);
    EXPECT_EQ(segments[0].confidence, 0.8);

    t.confidences.back() = std::nextafter(0.5f, 0.0f);
    EXPECT_TRUE(chordSegmentsFromFrames(t, 5.0).isEmpty());
}

TEST(ChordRuns, ConfidencesOfRelabelledFramesCountAsTheyWere)
{
    // The lone G becomes C, and brings its low confidence into C's mean.
    ChordFrameTrack t;
    frames(t, C, 3, 1.0f);
    frames(t, G, 1, 0.2f);
    frames(t, C, 3, 1.0f);
    const QList<LTChordSegment> segments = chordSegmentsFromFrames(t, 5.0);
    ASSERT_EQ(segments.size(), 1);
    EXPECT_EQ(segments[0].midi, C);
    EXPECT_DOUBLE_EQ(segments[0].confidence, (6.0 + double(0.2f)) / 7.0);
}

TEST(ChordRuns, EndIsClampedToTheAnalysedDuration)
{
    ChordFrameTrack t;
    frames(t, Am, 20);
    const QList<LTChordSegment> segments = chordSegmentsFromFrames(t, 1.0);
    ASSERT_EQ(segments.size(), 1);
    EXPECT_EQ(segments[0].endSec, 1.0);
}

TEST(ChordMerging, GapsOfNineUnknownFramesMergeAndTenDoNot)
{
    // Nine frames between the runs leave 5,120 samples (0.232 s) of gap, ten leave 0.279 s.
    for (int gap : {9, 10}) {
        ChordFrameTrack t;
        frames(t, G, 10, 0.85f);
        frames(t, -1, gap);
        frames(t, G, 10, 0.95f);
        const QList<LTChordSegment> segments = chordSegmentsFromFrames(t, 10.0);
        if (gap == 9) {
            ASSERT_EQ(segments.size(), 1);
            EXPECT_EQ(segments[0], segment(0.0, runEnd(29), G, double(0.95f)));
        } else {
            ASSERT_EQ(segments.size(), 2) << gap;
        }
    }
}

TEST(ChordMerging, QuarterSecondGapMergesAndAnythingMoreDoesNot)
{
    const auto merged = mergeChordSegments({segment(0.0, 1.0, C, 0.9), segment(1.25, 2.0, C, 0.85)});
    ASSERT_EQ(merged.size(), 1);
    EXPECT_EQ(merged[0], segment(0.0, 2.0, C, 0.9));

    EXPECT_EQ(mergeChordSegments({segment(0.0, 1.0, C), segment(std::nextafter(1.25, 2.0), 2.0, C)}).size(), 2);
    EXPECT_EQ(mergeChordSegments({segment(0.0, 1.0, C), segment(1.1, 2.0, G)}).size(), 2);
    // Overlap is a negative gap; a chain merges into its first entry.
    const auto chain = mergeChordSegments({segment(0.0, 1.0, C, 0.8), segment(0.9, 2.0, C, 0.95), segment(2.1, 3.0, C, 0.9)});
    ASSERT_EQ(chain.size(), 1);
    EXPECT_EQ(chain[0], segment(0.0, 3.0, C, 0.95));
}

TEST(ChordCoverage, UnderThreePercentOfTheDurationReportsNothing)
{
    ChordFrameTrack t;
    frames(t, D, 10);
    const double length = runEnd(10); // 0.650 s
    EXPECT_EQ(chordSegmentsFromFrames(t, length / 0.03 - 0.01).size(), 1);
    EXPECT_TRUE(chordSegmentsFromFrames(t, length / 0.03 + 0.01).isEmpty());
    EXPECT_TRUE(chordSegmentsCoverEnough({segment(0, 0.3, C), segment(0.1, 0.4, G)}, 20.0)); // 0.6 of 0.6
    EXPECT_FALSE(chordSegmentsCoverEnough({segment(0, 0.3, C), segment(0.1, 0.3, G)}, 20.0));
}

namespace {

ChordChroma triadChroma(float root, float third, float fifth, int r = 0)
{
    ChordChroma c{};
    c[size_t(r)] = root;
    c[size_t((r + 4) % 12)] = third;
    c[size_t((r + 7) % 12)] = fifth;
    return c;
}

ChordChroma doubled(ChordChroma c)
{
    for (float& v : c)
        v *= 2.0f;
    return c;
}

} // namespace

TEST(ChordFallback, MeanTriadShareOfAtLeastPointFortyFiveGivesOneWholeFileSegment)
{
    const float fifth = 0.45f - 0.375f; // exact: the mean share is exactly 0.45f
    auto fallback = wholeFileChordFallback(doubled(triadChroma(0.25f, 0.125f, fifth, 7)), 2, 30.0);
    ASSERT_TRUE(fallback.has_value());
    EXPECT_EQ(*fallback, segment(0.0, 30.0, G, 0.2));

    const float lowerFifth = std::nextafter(0.45f, 0.0f) - 0.375f; // the share one step below 0.45f
    EXPECT_FALSE(wholeFileChordFallback(doubled(triadChroma(0.25f, 0.125f, lowerFifth, 7)), 2, 30.0));
    // The sum is divided by the voiced count: the same sum over three frames is too weak.
    EXPECT_FALSE(wholeFileChordFallback(doubled(triadChroma(0.25f, 0.125f, fifth, 7)), 3, 30.0));
    EXPECT_FALSE(wholeFileChordFallback(triadChroma(1, 1, 1), 0, 30.0));
}

TEST(ChordFallback, OnEqualSharesTheChordTriedFirstStays)
{
    ChordChroma c{};
    c[0] = 0.375f; // C
    c[4] = 0.375f; // E
    c[7] = 0.125f; // G
    c[9] = 0.125f; // A: A minor has the same share as C major
    EXPECT_EQ(wholeFileChordFallback(c, 1, 10.0)->midi, C);
    c[3] = 0.375f; // D#: C minor ties C major
    EXPECT_EQ(wholeFileChordFallback(c, 1, 10.0)->midi, C);
    c[4] = 0.0f;
    EXPECT_EQ(wholeFileChordFallback(c, 1, 10.0)->midi, 12);
}

TEST(ChordFallback, RunsOnlyWhenNoSegmentSurvives)
{
    ChordFrameTrack t;
    t.chromaSum = doubled(triadChroma(0.5f, 0.3f, 0.2f));
    t.voicedFrames = 2;
    frames(t, D, 10);
    const QList<LTChordSegment> kept = chordSegmentsFromFrames(t, 10.0);
    ASSERT_EQ(kept.size(), 1);
    EXPECT_EQ(kept[0].midi, D);
    // Too little coverage empties the list, and then the mean chroma speaks.
    const QList<LTChordSegment> fallback = chordSegmentsFromFrames(t, 100.0);
    ASSERT_EQ(fallback.size(), 1);
    EXPECT_EQ(fallback[0], segment(0.0, 100.0, C, 0.2));
}
