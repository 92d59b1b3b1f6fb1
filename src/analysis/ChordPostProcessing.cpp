#include "analysis/ChordPostProcessing.h"

#include "analysis/LTChordEstimator.h"

#include <algorithm>
#include <array>

using namespace chordconst;

namespace {

LTChordSegment makeSegment(double start, double end, int index, double confidence)
{
    LTChordSegment s;
    s.startSec = start;
    s.endSec = end;
    s.frequencyHz = 0.0;
    s.midi = index;
    s.noteName = LTChordEstimator::chordName(index);
    s.confidence = confidence;
    return s;
}

} // namespace

std::vector<int> smoothChordLabels(const std::vector<int>& labels, const std::vector<float>& confidences)
{
    std::vector<int> smoothed = labels;
    const int64_t count = int64_t(labels.size());
    for (int64_t i = 0; i < count; ++i) {
        if (labels[size_t(i)] == -1)
            continue;
        std::array<int, kChordCount> votes{};
        for (int64_t j = std::max<int64_t>(0, i - kSmoothingReach); j <= std::min(count - 1, i + kSmoothingReach); ++j) {
            const int label = labels[size_t(j)];
            if (label >= 0 && label < kChordCount && confidences[size_t(j)] >= kSmallestVoteConfidence)
                ++votes[size_t(label)];
        }
        // max_element returns the first of equal maxima: the lowest index wins a tie.
        const auto winner = std::max_element(votes.begin(), votes.end());
        if (*winner >= kSmallestVotes)
            smoothed[size_t(i)] = int(winner - votes.begin());
    }
    return smoothed;
}

QList<LTChordSegment> chordRunsToSegments(const std::vector<int>& smoothed, const std::vector<float>& confidences,
                                          double analysedDuration)
{
    QList<LTChordSegment> segments;
    const int64_t count = int64_t(smoothed.size());
    int64_t i = 0;
    while (i < count) {
        const int label = smoothed[size_t(i)];
        if (label == -1) {
            ++i;
            continue;
        }
        int64_t j = i + 1;
        while (j < count && smoothed[size_t(j)] == label)
            ++j;
        const double start = double(i) * kHopSeconds;
        const double end = std::min(double(j * kHop + kFrameSize) / kTargetRate, analysedDuration);
        if (end - start >= kShortestSegment) {
            double sum = 0.0;
            for (int64_t f = i; f < j; ++f)
                sum += double(confidences[size_t(f)]);
            const double mean = sum / double(j - i);
            if (mean >= kSmallestMeanConfidence)
                segments.append(makeSegment(start, end, label, mean));
        }
        i = j;
    }
    return segments;
}

QList<LTChordSegment> mergeChordSegments(const QList<LTChordSegment>& segments)
{
    QList<LTChordSegment> merged;
    for (const LTChordSegment& segment : segments) {
        if (!merged.isEmpty()) {
            LTChordSegment& last = merged.last();
            if (last.midi == segment.midi && segment.startSec - last.endSec <= kLargestMergeGap) {
                last = makeSegment(last.startSec, segment.endSec, last.midi, std::max(last.confidence, segment.confidence));
                continue;
            }
        }
        merged.append(segment);
    }
    return merged;
}

bool chordSegmentsCoverEnough(const QList<LTChordSegment>& segments, double analysedDuration)
{
    double covered = 0.0;
    for (const LTChordSegment& segment : segments)
        covered += segment.endSec - segment.startSec;
    return covered >= kSmallestCoverage * analysedDuration;
}

std::optional<LTChordSegment> wholeFileChordFallback(const ChordChroma& chromaSum, int64_t voicedFrames,
                                                     double analysedDuration)
{
    if (voicedFrames <= 0)
        return std::nullopt;
    ChordChroma mean;
    for (size_t p = 0; p < 12; ++p)
        mean[p] = chromaSum[p] / float(voicedFrames);
    auto at = [&mean](int root, int offset) { return mean[size_t((root + offset) % 12)]; };
    float bestShare = 0.0f;
    int bestIndex = -1;
    for (int r = 0; r < 12; ++r) {
        const float majorShare = at(r, 0) + at(r, 4) + at(r, 7);
        if (majorShare > bestShare) {
            bestShare = majorShare;
            bestIndex = r;
        }
        const float minorShare = at(r, 0) + at(r, 3) + at(r, 7);
        if (minorShare > bestShare) {
            bestShare = minorShare;
            bestIndex = 12 + r;
        }
    }
    if (bestIndex < 0 || bestShare < kFallbackTriadShare)
        return std::nullopt;
    return makeSegment(0.0, analysedDuration, bestIndex, kFallbackConfidence);
}

QList<LTChordSegment> chordSegmentsFromFrames(const ChordFrameTrack& track, double analysedDuration)
{
    const std::vector<int> smoothed = smoothChordLabels(track.labels, track.confidences);
    QList<LTChordSegment> segments =
        mergeChordSegments(chordRunsToSegments(smoothed, track.confidences, analysedDuration));
    if (!chordSegmentsCoverEnough(segments, analysedDuration))
        segments.clear();
    if (segments.isEmpty()) {
        if (auto fallback = wholeFileChordFallback(track.chromaSum, track.voicedFrames, analysedDuration))
            segments.append(*fallback);
    }
    return segments;
}
