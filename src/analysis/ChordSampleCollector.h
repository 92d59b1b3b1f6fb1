#pragma once

#include "analysis/ChordSampleStore.h"

#include <QString>

#include <cstdint>

// Turns decoded blocks into the analysis signal: the channels' mean, then every step-th frame kept
// without filtering, until the sample cap. Blocks may be cut anywhere: the phase carries over.
class ChordSampleCollector {
public:
    // fileName names the file in the cap's log line.
    ChordSampleCollector(double sampleRate, int channelCount, const QString& fileName, ChordSampleStore& store);

    // Takes interleaved frames. False once the cap has been reached; the rest is then ignored.
    bool appendInterleaved(const float* interleaved, int64_t frames);

    bool capReached() const { return m_capReached; }
    double step() const { return m_step; }

private:
    ChordSampleStore& m_store;
    QString m_fileName;
    double m_step;
    double m_phase = 0.0;
    int m_channels;
    bool m_capReached = false;
};
