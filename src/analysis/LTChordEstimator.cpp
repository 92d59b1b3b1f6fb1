#include "analysis/LTChordEstimator.h"

#include "analysis/LTChordEstimatorInternal.h"
#include "audio/AudioFileReader.h"
#include "platform/Log.h"

#include <QFileInfo>

namespace {

// Decoding is most of the work; the frames take the last part of the progress range.
constexpr double kDecodeShare = 0.8;

} // namespace

QString openFailureReason(const QString& path)
{
    const QFileInfo file(path);
    if (!file.exists())
        return QStringLiteral("no such file");
    if (!file.isReadable())
        return QStringLiteral("permission denied");
    return QStringLiteral("no decodable audio stream");
}

QList<LTChordSegment> LTChordEstimator::estimateChordSegmentsForFileURL(const QUrl& url, const Progress& progress,
                                                                        const std::atomic<bool>* cancel,
                                                                        QString* failure)
{
    const auto fail = [failure](const QString& why) {
        if (failure)
            *failure = why;
        return QList<LTChordSegment>{};
    };
    if (failure)
        failure->clear();
    if (!url.isLocalFile())
        return fail(QStringLiteral("not a local file"));
    const QString path = url.toLocalFile();
    AudioFileReader reader;
    if (!reader.open(path)) {
        const QString why = openFailureReason(path);
        Log::line(QStringLiteral("[NOTE_DEBUG] cannot open file for note analysis: %1 error=%2").arg(url.toString(), why));
        return fail(why);
    }
    const AudioStreamInfo& info = reader.info();
    if (!(info.sampleRate > 0.0) || info.channelCount <= 0)
        return fail(QStringLiteral("no decodable audio stream"));

    const QString fileName = QFileInfo(path).fileName();
    ChordSampleStore store;
    ChordSampleCollector collector(info.sampleRate, info.channelCount, fileName, store);
    const bool intact = reader.decode(
        [&collector](const float* interleaved, int64_t frames) { return collector.appendInterleaved(interleaved, frames); },
        cancel, [&progress](double fraction) { if (progress) progress(fraction * kDecodeShare); });
    if (!intact && !collector.capReached()) {
        if (reader.wasCancelled())
            return {};
        Log::line(QStringLiteral("[NOTE_DEBUG] read error during note analysis: decoding stopped after %1 frames of %2")
                      .arg(reader.decodedFrames())
                      .arg(path));
        return fail(QStringLiteral("the file is damaged or truncated"));
    }
    // Worded as the track's own read words them, so every command refuses a file alike.
    if (reader.decodedFrames() < 1)
        return fail(QStringLiteral("the file holds no audio"));
    QList<LTChordSegment> segments = analyseChordSamples(
        store, fileName, [&progress](double fraction) { if (progress) progress(kDecodeShare + fraction * (1.0 - kDecodeShare)); },
        cancel);
    if (progress && !(cancel && cancel->load()))
        progress(1.0);
    return segments;
}
