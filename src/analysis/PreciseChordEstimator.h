#pragma once

#include "analysis/LTChordEstimator.h"
#include "analysis/PreciseChordStages.h"

// The chords of a file by note transcription: a log-frequency spectrum tuned to the recording,
// whitened and explained as notes, treble and bass chroma scored against the 24 triads and no
// chord, decoded by an HMM and aligned with onsets. Same segments, failures, progress and cancel
// as LTChordEstimator; the two never share results.
//
// Known limit: a melody playing alone is still labelled with chords, since a single note and its
// neighbours in time fit some triad better than no chord. The way to it would be to count the notes
// the transcription finds sounding together in the treble, and to favour no chord over a stretch
// where at most one does (a state for "single notes" in the HMM, scored by that count).
class PreciseChordEstimator {
public:
    PreciseChordEstimator() = delete;

    static QList<LTChordSegment> estimateChordSegmentsForFileURL(const QUrl& url,
                                                                 const LTChordEstimator::Progress& progress = {},
                                                                 const std::atomic<bool>* cancel = nullptr,
                                                                 QString* failure = nullptr,
                                                                 precisechord::Options options = {});
};
