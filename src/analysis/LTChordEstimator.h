#pragma once

#include "analysis/LTChordSegment.h"

#include <QList>
#include <QString>
#include <QUrl>

#include <atomic>
#include <functional>

// Estimates the major and minor triads of an audio file as time-ordered segments. No instances;
// the call is synchronous and may run on several threads at once.
class LTChordEstimator {
public:
    LTChordEstimator() = delete;

    // A fraction 0..1 of the work done so far, reported from the calling thread.
    using Progress = std::function<void(double fraction)>;

    // Decodes the whole file and returns its chord segments, or an empty list on any failure or a
    // cancel (a cancel returns no partial result). An empty list alone can not tell silence from a
    // file that could not be read: `failure`, when given, is set to a short cause for the latter
    // and cleared otherwise (a cancel included).
    static QList<LTChordSegment> estimateChordSegmentsForFileURL(const QUrl& url, const Progress& progress = {},
                                                                 const std::atomic<bool>* cancel = nullptr,
                                                                 QString* failure = nullptr);

    // "C".."B" for 0-11, "Cm".."Bm" for 12-23, "" otherwise. Sharps only.
    static QString chordName(int index);
};
