#include "analysis/LTChordEstimatorInternal.h"

#include "platform/Log.h"

#include <vector>

using namespace chordconst;

namespace {

constexpr int64_t kFramesPerReport = 256;

bool cancelled(const std::atomic<bool>* cancel)
{
    return cancel && cancel->load(std::memory_order_relaxed);
}

} // namespace

int64_t chordFrameCount(int64_t sampleCount)
{
    return sampleCount < kFrameSize ? 0 : (sampleCount - kFrameSize) / kHop + 1;
}

bool analyseChordFrames(const ChordSampleStore& store, ChordFrameTrack& track,
                        const LTChordEstimator::Progress& progress, const std::atomic<bool>* cancel)
{
    ChordFrameAnalyzer analyzer;
    if (!analyzer.isValid())
        return false;
    const int64_t frames = chordFrameCount(store.size());
    track.labels.reserve(size_t(frames));
    track.confidences.reserve(size_t(frames));
    std::vector<float> samples(kFrameSize);
    for (int64_t f = 0; f < frames; ++f) {
        if (f % kFramesPerReport == 0) {
            if (cancelled(cancel))
                return false;
            if (progress)
                progress(double(f) / double(frames));
        }
        store.copy(f * kHop, kFrameSize, samples.data());
        const ChordFrameDecision decision = analyzer.analyseFrame(samples.data());
        if (analyzer.lastFrameVoiced()) {
            for (size_t p = 0; p < 12; ++p)
                track.chromaSum[p] += analyzer.lastChroma()[p];
            ++track.voicedFrames;
        }
        track.labels.push_back(decision.label);
        track.confidences.push_back(decision.confidence);
    }
    return true;
}

QList<LTChordSegment> analyseChordSamples(const ChordSampleStore& store, const QString& fileName,
                                          const LTChordEstimator::Progress& progress,
                                          const std::atomic<bool>* cancel, ChordFrameTrack* trackOut)
{
    if (store.byteCount() < kShortestInputBytes)
        return {};
    ChordFrameTrack track;
    if (!analyseChordFrames(store, track, progress, cancel))
        return {};
    const double analysedDuration = double(store.size()) / kTargetRate;
    QList<LTChordSegment> segments = chordSegmentsFromFrames(track, analysedDuration);
    Log::line(QStringLiteral("[NOTE_DEBUG] chord segments=%1 file=%2").arg(segments.size()).arg(fileName));
    if (trackOut)
        *trackOut = std::move(track);
    return segments;
}
