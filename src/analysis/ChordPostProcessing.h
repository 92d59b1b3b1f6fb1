#pragma once

#include "analysis/ChordFrameAnalyzer.h"
#include "analysis/LTChordSegment.h"

#include <QList>

#include <cstdint>
#include <optional>
#include <vector>

// What the per-frame pass leaves for the later stages: one label (-1 = none) and one confidence per
// frame, and the sum of the voiced frames' chroma for the whole-file fallback.
struct ChordFrameTrack {
    std::vector<int> labels;
    std::vector<float> confidences;
    ChordChroma chromaSum{};
    int64_t voicedFrames = 0;
};

// Each labelled frame takes the majority of the confident labels within two frames either side,
// read from the unsmoothed labels.
std::vector<int> smoothChordLabels(const std::vector<int>& labels, const std::vector<float>& confidences);

// Runs of equal smoothed labels that are long and confident enough.
QList<LTChordSegment> chordRunsToSegments(const std::vector<int>& smoothed, const std::vector<float>& confidences,
                                          double analysedDuration);

// Joins neighbouring segments of one chord separated by at most the merge gap.
QList<LTChordSegment> mergeChordSegments(const QList<LTChordSegment>& segments);

bool chordSegmentsCoverEnough(const QList<LTChordSegment>& segments, double analysedDuration);

// One low-confidence chord for the whole file from the mean chroma, if a triad dominates it.
std::optional<LTChordSegment> wholeFileChordFallback(const ChordChroma& chromaSum, int64_t voicedFrames,
                                                     double analysedDuration);

// Smoothing, runs, merging, coverage and fallback, in that order.
QList<LTChordSegment> chordSegmentsFromFrames(const ChordFrameTrack& track, double analysedDuration);
