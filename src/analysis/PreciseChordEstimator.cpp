#include "analysis/PreciseChordEstimator.h"

#include "analysis/LTChordEstimatorInternal.h"
#include "analysis/PreciseChordAnalyzer.h"
#include "audio/AudioFileReader.h"
#include "platform/Log.h"

namespace {

// The frames are transformed while decoding; what is left after it is the smaller part.
constexpr double kDecodeShare = 0.85;

} // namespace

QList<LTChordSegment> PreciseChordEstimator::estimateChordSegmentsForFileURL(const QUrl& url,
                                                                             const LTChordEstimator::Progress& progress,
                                                                             const std::atomic<bool>* cancel,
                                                                             QString* failure, precisechord::Options options)
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

    PreciseChordAnalyzer analyzer(info.sampleRate, options, info.estimatedFrames);
    if (!analyzer.isValid())
        return fail(QStringLiteral("the analysis could not be set up"));
    const int channels = info.channelCount;
    const bool intact = reader.decode(
        [&analyzer, channels](const float* interleaved, int64_t frames) {
            analyzer.appendInterleaved(interleaved, frames, channels);
            return true;
        },
        cancel, [&progress](double fraction) { if (progress) progress(fraction * kDecodeShare); });
    if (!intact) {
        if (reader.wasCancelled())
            return {};
        Log::line(QStringLiteral("[NOTE_DEBUG] read error during note analysis: decoding stopped after %1 frames of %2")
                      .arg(reader.decodedFrames())
                      .arg(path));
        return fail(QStringLiteral("the file is damaged or truncated"));
    }
    if (reader.decodedFrames() < 1)
        return fail(QStringLiteral("the file holds no audio"));
    QList<LTChordSegment> segments = analyzer.finish(
        [&progress](double fraction) { if (progress) progress(kDecodeShare + fraction * (1.0 - kDecodeShare)); }, cancel);
    if (cancel && cancel->load())
        return {};
    if (progress)
        progress(1.0);
    return segments;
}
