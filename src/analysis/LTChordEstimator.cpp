#include "analysis/LTChordEstimator.h"

#include "analysis/ChordFileReading.h"
#include "analysis/LTChordEstimatorInternal.h"
#include "audio/AudioFileReader.h"

#include <QFileInfo>

namespace {

// Decoding is most of the work; the frames take the last part of the progress range.
constexpr double kDecodeShare = 0.8;

} // namespace

QList<LTChordSegment> LTChordEstimator::estimateChordSegmentsForFileURL(const QUrl& url, const Progress& progress,
                                                                        const std::atomic<bool>* cancel,
                                                                        QString* failure)
{
    AudioFileReader reader;
    if (!openForChordAnalysis(url, reader, failure))
        return {};
    const QString path = url.toLocalFile();
    const AudioStreamInfo& info = reader.info();

    const QString fileName = QFileInfo(path).fileName();
    ChordSampleStore store;
    ChordSampleCollector collector(info.sampleRate, info.channelCount, fileName, store);
    const bool intact = reader.decode(
        [&collector](const float* interleaved, int64_t frames) { return collector.appendInterleaved(interleaved, frames); },
        cancel, [&progress](double fraction) { if (progress) progress(fraction * kDecodeShare); });
    if (!chordDecodeUsable(reader, intact || collector.capReached(), path, failure))
        return {};
    QList<LTChordSegment> segments = analyseChordSamples(
        store, fileName, [&progress](double fraction) { if (progress) progress(kDecodeShare + fraction * (1.0 - kDecodeShare)); },
        cancel);
    if (progress && !(cancel && cancel->load()))
        progress(1.0);
    return segments;
}
