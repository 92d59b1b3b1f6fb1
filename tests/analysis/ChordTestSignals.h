#pragma once

#include "analysis/LTChordEstimatorInternal.h"

#include <vector>

namespace chordtest {

constexpr double kRate = 22050.0;

struct Chord {
    int root = 0; // pitch class, 0 = C
    bool minor = false;
    double seconds = 1.0;
    int index() const { return minor ? 12 + root : root; }
};

// A triad around middle C: three tones, each a sine with three overtones, at `rate`.
std::vector<float> triad(const Chord& chord, double rate = kRate, float amplitude = 0.1f);
std::vector<float> progression(const std::vector<Chord>& chords, double rate = kRate);

// Collects mono samples (already at the target rate) into a store, in blocks of blockFrames.
void collect(ChordSampleStore& store, const std::vector<float>& mono, int64_t blockFrames = 8192);

// Collects mono samples at the target rate and runs the analysis on them.
QList<LTChordSegment> analyse(const std::vector<float>& mono, ChordFrameTrack* track = nullptr,
                              const QString& fileName = QStringLiteral("test.wav"));

} // namespace chordtest
