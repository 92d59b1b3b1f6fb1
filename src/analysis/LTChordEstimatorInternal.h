#pragma once

// The estimator's stages, for its own entry point and for tests; not part of the public API.

#include "analysis/ChordFrameAnalyzer.h"
#include "analysis/ChordPostProcessing.h"
#include "analysis/ChordSampleCollector.h"
#include "analysis/ChordSampleStore.h"
#include "analysis/LTChordEstimator.h"

#include <atomic>

// Number of whole frames in a signal of sampleCount samples (0 when shorter than one frame).
int64_t chordFrameCount(int64_t sampleCount);

// The per-frame pass over the store. False when the FFT could not be set up or on a cancel.
bool analyseChordFrames(const ChordSampleStore& store, ChordFrameTrack& track,
                        const LTChordEstimator::Progress& progress = {}, const std::atomic<bool>* cancel = nullptr);

// Everything after decoding: frames, post-processing and the closing log line. fileName is the
// file's last path component. track, when given, receives the per-frame results.
QList<LTChordSegment> analyseChordSamples(const ChordSampleStore& store, const QString& fileName,
                                          const LTChordEstimator::Progress& progress = {},
                                          const std::atomic<bool>* cancel = nullptr, ChordFrameTrack* track = nullptr);
