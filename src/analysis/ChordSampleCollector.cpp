#include "analysis/ChordSampleCollector.h"

#include "analysis/ChordConstants.h"
#include "platform/Log.h"

#include <algorithm>

ChordSampleCollector::ChordSampleCollector(double sampleRate, int channelCount, const QString& fileName,
                                           ChordSampleStore& store)
    : m_store(store)
    , m_fileName(fileName)
    , m_step(std::max(sampleRate / chordconst::kTargetRate, 1.0))
    , m_channels(channelCount)
{
}

bool ChordSampleCollector::appendInterleaved(const float* interleaved, int64_t frames)
{
    if (m_capReached)
        return false;
    for (int64_t f = 0; f < frames; ++f) {
        const float* frame = interleaved + f * m_channels;
        double sum = 0.0;
        for (int c = 0; c < m_channels; ++c)
            sum += double(frame[c]);
        const float mono = float(sum / double(m_channels));
        m_phase += 1.0;
        if (m_phase < m_step)
            continue;
        m_store.append(mono);
        if (m_store.byteCount() >= chordconst::kSampleCapBytes) {
            Log::line(QStringLiteral("[NOTE_DEBUG] analysis sample limit reached for %1").arg(m_fileName));
            m_capReached = true;
            return false;
        }
        m_phase -= m_step;
    }
    return true;
}
