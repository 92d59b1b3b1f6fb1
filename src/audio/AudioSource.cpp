#include "audio/AudioSource.h"

#include "audio/AcousticFingerprint.h"
#include "audio/AudioFileReader.h"
#include "audio/PcmCache.h"
#include "platform/Log.h"

namespace {

bool exceedsLimit(double sampleRate, int64_t frames)
{
    return sampleRate * AudioSource::maximumSeconds < double(frames);
}

AudioSource refuse(AudioSource source, AudioSource::Status status, const QString& reason)
{
    source.status = status;
    source.reason = reason;
    source.pcm.reset();
    return source;
}

AudioSource refuseTooLarge(AudioSource source)
{
    Log::line(QStringLiteral("file too large!"));
    return refuse(std::move(source), AudioSource::Status::TooLarge,
                  QStringLiteral("longer than four hours (%1 s at most)").arg(AudioSource::maximumSeconds));
}

} // namespace

AudioSource AudioSource::read(const QUrl& url, const std::atomic<bool>* cancel, const Progress& progress)
{
    AudioSource source;
    if (url.isEmpty() || !url.isValid())
        return refuse(std::move(source), Status::NullURL, QStringLiteral("no file given"));
    source.url = url;

    const QString path = url.isLocalFile() ? url.toLocalFile() : url.toString();
    AudioFileReader reader;
    if (!reader.open(path))
        return refuse(std::move(source), Status::CannotOpen, QStringLiteral("not a readable audio file"));

    const AudioStreamInfo& info = reader.info();
    source.inputFormat = {info.sampleRate, info.channelCount, QStringLiteral("float32"), info.channelMask};
    source.fileFormat = {info.sampleRate, info.channelCount, info.codecName, info.channelMask};

    // Checked before decoding so that a ten-hour file is refused at once.
    if (exceedsLimit(info.sampleRate, info.estimatedFrames))
        return refuseTooLarge(std::move(source));

    QString cacheError;
    std::shared_ptr<PcmCache> pcm = PcmCache::create(info.channelCount, info.sampleRate, &cacheError);
    if (!pcm) {
        Log::line(QStringLiteral("Error alloc file buffer %1").arg(path));
        return refuse(std::move(source), Status::EmptyOrNoMemory, cacheError);
    }

    const bool decoded = reader.decode(
        [&](const float* interleaved, int64_t frames) { return pcm->append(interleaved, frames); }, cancel,
        progress);
    if (reader.wasCancelled())
        return refuse(std::move(source), Status::Cancelled, QStringLiteral("cancelled"));
    if (decoded && pcm->frameCount() < 1) {
        Log::line(QStringLiteral("Error alloc file buffer %1").arg(path));
        return refuse(std::move(source), Status::EmptyOrNoMemory, QStringLiteral("the file holds no audio"));
    }
    if (!decoded || !pcm->finish()) {
        const QString why = pcm->error().isEmpty() ? QStringLiteral("the file is damaged or truncated") : pcm->error();
        Log::line(QStringLiteral("Error read into buffer %1").arg(why));
        return refuse(std::move(source), Status::ReadFailed, why);
    }
    // The container's length can be an estimate; the decoded count is the truth.
    if (exceedsLimit(info.sampleRate, pcm->frameCount()))
        return refuseTooLarge(std::move(source));

    source.fileLength = pcm->frameCount();
    source.waveData.setBinSize(WaveformData::binSizeForFrameCount(source.fileLength));
    std::vector<const float*> channels;
    for (int c = 0; c < pcm->channelCount(); ++c)
        channels.push_back(pcm->channel(c));
    source.waveData.preprocessAudioData(channels.data(), int(channels.size()), source.fileLength);
    source.fingerprint = AcousticFingerprint::of(*pcm);
    // The reduction read every page; playback brings back only what it reaches.
    pcm->releaseResident();

    source.pcm = std::move(pcm);
    source.status = Status::Ready;
    return source;
}
