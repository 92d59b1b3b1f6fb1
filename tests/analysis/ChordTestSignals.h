#pragma once

#include "analysis/LTChordEstimatorInternal.h"

#include "common/Testing.h"

namespace chordtest {

struct Chord {
    int root = 0; // pitch class, 0 = C
    bool minor = false;
    double seconds = 1.0;
    int index() const { return minor ? 12 + root : root; }
};

// A triad around middle C: three tones, each a sine with three overtones, at `rate`.
std::vector<float> triad(const Chord& chord, double rate = chordconst::kTargetRate, float amplitude = 0.1f);

// Collects mono samples (already at the target rate) into a store, in blocks of 8,192.
void collect(ChordSampleStore& store, const std::vector<float>& mono);

// Collects mono samples at the target rate and analyses them as "test.wav".
QList<LTChordSegment> analyse(const std::vector<float>& mono, ChordFrameTrack* track = nullptr);

} // namespace chordtest
