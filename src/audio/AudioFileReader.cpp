#include "audio/AudioFileReader.h"

#include "audio/DataChunk.h"
#include "platform/Log.h"

#include <QDir>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
#include <libavutil/intreadwrite.h>
#include <libswresample/swresample.h>
}

#include <QLoggingCategory>

#include <algorithm>
#include <cstdarg>
#include <mutex>
#include <vector>

namespace {

constexpr int64_t kBlockFrames = 8192;
// Progress is reported in steps of at least this much, so a long file makes no flood of calls.
constexpr double kProgressStep = 0.001;

Q_LOGGING_CATEGORY(lcFfmpeg, "lento.ffmpeg", QtWarningMsg)

// FFmpeg's own complaints go to a log category of ours, so that a command line can keep its
// output to the one line it chooses; the reader reports every failure in its own words anyway.
void forwardFfmpegLine(void* context, int level, const char* format, va_list args)
{
    if (level > av_log_get_level())
        return;
    char line[1024];
    int printPrefix = 1;
    av_log_format_line2(context, level, format, args, line, sizeof line, &printPrefix);
    qCWarning(lcFfmpeg).noquote() << QString::fromUtf8(line).trimmed();
}

void quietFfmpegOnce()
{
    static std::once_flag once;
    std::call_once(once, [] {
        av_log_set_level(AV_LOG_ERROR);
        av_log_set_callback(&forwardFfmpegLine);
    });
}

QString ffmpegError(int code)
{
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(code, text, sizeof text);
    return QString::fromUtf8(text);
}

struct FormatCloser {
    void operator()(AVFormatContext* f) const { avformat_close_input(&f); }
};
struct CodecFreer {
    void operator()(AVCodecContext* c) const { avcodec_free_context(&c); }
};
struct PacketFreer {
    void operator()(AVPacket* p) const { av_packet_free(&p); }
};
struct FrameFreer {
    void operator()(AVFrame* f) const { av_frame_free(&f); }
};
struct ResamplerFreer {
    void operator()(SwrContext* s) const { swr_free(&s); }
};

int64_t toFrames(int64_t timestamp, AVRational timeBase, int sampleRate)
{
    return av_rescale_q(timestamp, timeBase, AVRational{1, sampleRate});
}

// The stream's length in its sample table, before any edit list trims it. -1 when unknown.
int64_t framesIgnoringEditList(const QString& path, int streamIndex, int sampleRate)
{
    AVFormatContext* opened = nullptr;
    AVDictionary* options = nullptr;
    av_dict_set(&options, "ignore_editlist", "1", 0);
    const int result = avformat_open_input(&opened, QFile::encodeName(path).constData(), nullptr, &options);
    av_dict_free(&options);
    if (result < 0)
        return -1;
    std::unique_ptr<AVFormatContext, FormatCloser> format(opened);
    if (streamIndex >= int(opened->nb_streams))
        return -1;
    const AVStream* stream = opened->streams[streamIndex];
    if (stream->duration == AV_NOPTS_VALUE || stream->duration <= 0)
        return -1;
    return toFrames(stream->duration, stream->time_base, sampleRate);
}

bool isMpegAudio(AVCodecID id)
{
    return id == AV_CODEC_ID_MP1 || id == AV_CODEC_ID_MP2 || id == AV_CODEC_ID_MP3;
}

// The reader's state, outside the class so the decode pass below can reach it.
struct ReaderState {
    QString path;
    AudioStreamInfo info;
    std::unique_ptr<AVFormatContext, FormatCloser> format;
    std::unique_ptr<AVCodecContext, CodecFreer> codec;
    int streamIndex = -1;
    bool consumed = false; // decode() ran on this opening: a new decode opens the file again

    // The length the container states, when it states it exactly; -1 when it doesn't.
    int64_t statedFrames = -1;
    // An MPEG audio file's stated length still holds the encoder's end padding, which the decoder
    // drops, so it may decode up to this much shorter and still be whole.
    int64_t allowedShortfall = 0;
    // AAC in MP4 decodes its end padding too. The edit list states the true length, but in the
    // movie's time scale (often milliseconds); the sample table, less the priming, states it to the
    // frame. -1 where there is no such limit.
    int64_t sampleTableFrames = -1;
    int64_t lengthLimit = -1;
    bool dataChunkShort = false;

    int64_t decodedFrames = 0;
    bool cancelled = false;

    bool openFile(const QString& filePath);
    void readLengthRules();
    void limitLengthByPriming(const AVPacket& firstPacket);
};

// One pass over the file: demux, decode, convert to interleaved float, deliver in blocks.
class DecodeRun {
public:
    DecodeRun(ReaderState& reader, const AudioFileReader::BlockSink& sink,
              const std::atomic<bool>* cancel, const AudioFileReader::Progress& progress)
        : m_reader(reader), m_sink(sink), m_cancel(cancel), m_progress(progress),
          m_packet(av_packet_alloc()), m_frame(av_frame_alloc())
    {
    }
    ~DecodeRun() { av_channel_layout_uninit(&m_inLayout); }

    bool run();

private:
    bool readPackets();
    bool sendPacket(const AVPacket* packet);
    bool receiveFrames();
    bool convert(const AVFrame* frame);
    bool prepareResampler(const AVFrame* frame);
    bool drainResampler();
    bool deliver(const float* interleaved, int64_t frames);
    bool checkLength();
    void reportProgress(const AVPacket& packet);

    bool cancelRequested();
    bool fail(const QString& reason);

    ReaderState& m_reader;
    const AudioFileReader::BlockSink& m_sink;
    const std::atomic<bool>* m_cancel;
    const AudioFileReader::Progress& m_progress;
    std::unique_ptr<AVPacket, PacketFreer> m_packet;
    std::unique_ptr<AVFrame, FrameFreer> m_frame;
    std::unique_ptr<SwrContext, ResamplerFreer> m_resampler;
    AVChannelLayout m_inLayout{};
    int m_inFormat = -1;
    int m_inRate = 0;
    std::vector<float> m_converted;
    double m_reported = 0.0;
    bool m_firstPacket = true;
};

bool DecodeRun::run()
{
    if (!m_packet || !m_frame)
        return fail(QStringLiteral("out of memory"));
    if (m_reader.dataChunkShort)
        return fail(QStringLiteral("its header states more audio data than the file holds"));
    if (!readPackets())
        return false;
    if (!sendPacket(nullptr) || !drainResampler() || !checkLength())
        return false;
    if (m_progress && m_reported < 1.0)
        m_progress(1.0);
    return true;
}

bool DecodeRun::readPackets()
{
    AVFormatContext* format = m_reader.format.get();
    while (!cancelRequested()) {
        const int result = av_read_frame(format, m_packet.get());
        if (result == AVERROR_EOF)
            return true;
        if (result < 0)
            return fail(ffmpegError(result));
        if (m_packet->stream_index != m_reader.streamIndex) {
            av_packet_unref(m_packet.get());
            continue;
        }
        if (m_packet->flags & AV_PKT_FLAG_CORRUPT) {
            av_packet_unref(m_packet.get());
            return fail(QStringLiteral("a damaged or incomplete packet"));
        }
        if (m_firstPacket) {
            m_reader.limitLengthByPriming(*m_packet);
            m_firstPacket = false;
        }
        reportProgress(*m_packet);
        const bool ok = sendPacket(m_packet.get());
        av_packet_unref(m_packet.get());
        if (!ok)
            return false;
    }
    return false;
}

// A null packet flushes the decoder at the end of the file.
bool DecodeRun::sendPacket(const AVPacket* packet)
{
    const int result = avcodec_send_packet(m_reader.codec.get(), packet);
    // Every frame is taken out after each packet, so EAGAIN can not arise; EOF is a repeated flush.
    if (result < 0 && result != AVERROR(EAGAIN) && result != AVERROR_EOF)
        return fail(ffmpegError(result));
    return receiveFrames();
}

bool DecodeRun::receiveFrames()
{
    for (;;) {
        const int result = avcodec_receive_frame(m_reader.codec.get(), m_frame.get());
        if (result == AVERROR(EAGAIN) || result == AVERROR_EOF)
            return true;
        if (result < 0)
            return fail(ffmpegError(result));
        const bool damaged = m_frame->decode_error_flags != 0 || (m_frame->flags & AV_FRAME_FLAG_CORRUPT);
        const bool ok = !damaged && convert(m_frame.get());
        av_frame_unref(m_frame.get());
        if (damaged)
            return fail(QStringLiteral("a damaged frame"));
        if (!ok)
            return false;
    }
}

bool DecodeRun::convert(const AVFrame* frame)
{
    if (frame->nb_samples <= 0)
        return true;
    if (!prepareResampler(frame))
        return false;
    const int capacity = swr_get_out_samples(m_resampler.get(), frame->nb_samples);
    m_converted.resize(size_t(capacity) * size_t(m_reader.info.channelCount));
    auto* out = reinterpret_cast<uint8_t*>(m_converted.data());
    const int frames = swr_convert(m_resampler.get(), &out, capacity,
                                   const_cast<const uint8_t**>(frame->extended_data), frame->nb_samples);
    if (frames < 0)
        return fail(ffmpegError(frames));
    return deliver(m_converted.data(), frames);
}

// The converter is made for the first frame and again whenever the decoder's output format
// changes midway. It converts only the sample format unless a frame comes at another rate or
// channel count than the stream declared.
bool DecodeRun::prepareResampler(const AVFrame* frame)
{
    if (m_resampler && frame->format == m_inFormat && frame->sample_rate == m_inRate
        && av_channel_layout_compare(&frame->ch_layout, &m_inLayout) == 0)
        return true;
    if (m_resampler && !drainResampler())
        return false;
    const AudioStreamInfo& info = m_reader.info;
    AVChannelLayout outLayout{};
    if (frame->ch_layout.nb_channels == info.channelCount)
        av_channel_layout_copy(&outLayout, &frame->ch_layout);
    else
        av_channel_layout_default(&outLayout, info.channelCount);
    av_channel_layout_uninit(&m_inLayout);
    av_channel_layout_copy(&m_inLayout, &frame->ch_layout);
    SwrContext* resampler = nullptr;
    int result = swr_alloc_set_opts2(&resampler, &outLayout, AV_SAMPLE_FMT_FLT, int(info.sampleRate),
                                     &m_inLayout, AVSampleFormat(frame->format), frame->sample_rate, 0, nullptr);
    av_channel_layout_uninit(&outLayout);
    m_resampler.reset(resampler);
    if (result >= 0)
        result = swr_init(resampler);
    if (result < 0)
        return fail(ffmpegError(result));
    m_inFormat = frame->format;
    m_inRate = frame->sample_rate;
    return true;
}

// Only a rate change leaves frames inside the converter.
bool DecodeRun::drainResampler()
{
    if (!m_resampler)
        return true;
    const int capacity = swr_get_out_samples(m_resampler.get(), 0);
    if (capacity <= 0)
        return true;
    m_converted.resize(size_t(capacity) * size_t(m_reader.info.channelCount));
    auto* out = reinterpret_cast<uint8_t*>(m_converted.data());
    const int frames = swr_convert(m_resampler.get(), &out, capacity, nullptr, 0);
    if (frames < 0)
        return fail(ffmpegError(frames));
    return deliver(m_converted.data(), frames);
}

bool DecodeRun::deliver(const float* interleaved, int64_t frames)
{
    if (m_reader.lengthLimit >= 0)
        frames = std::min(frames, m_reader.lengthLimit - m_reader.decodedFrames);
    const int channels = m_reader.info.channelCount;
    for (int64_t done = 0; done < frames;) {
        if (cancelRequested())
            return false;
        const int64_t block = std::min(kBlockFrames, frames - done);
        if (!m_sink(interleaved + done * channels, block)) {
            Log::line(QStringLiteral("Decoding of audio file %1 stopped: its receiver took no more")
                          .arg(QDir::toNativeSeparators(m_reader.path)));
            return false;
        }
        done += block;
        m_reader.decodedFrames += block;
    }
    return true;
}

// A stream that ends before the length its container states lost its tail.
bool DecodeRun::checkLength()
{
    const int64_t stated = m_reader.statedFrames;
    if (stated < 0 || m_reader.decodedFrames + m_reader.allowedShortfall >= stated)
        return true;
    return fail(QStringLiteral("%1 of %2 frames could be decoded").arg(m_reader.decodedFrames).arg(stated));
}

// From the timestamps where the length is known (an Ogg file's byte position moves a whole page at
// a time), else from the byte position.
void DecodeRun::reportProgress(const AVPacket& packet)
{
    if (!m_progress)
        return;
    const AVStream* stream = m_reader.format->streams[m_reader.streamIndex];
    double fraction = -1.0;
    if (m_reader.statedFrames > 0 && packet.pts != AV_NOPTS_VALUE) {
        const int64_t start = stream->start_time != AV_NOPTS_VALUE ? stream->start_time : 0;
        fraction = double(packet.pts + packet.duration - start) / double(stream->duration);
    } else {
        const int64_t size = avio_size(m_reader.format->pb);
        const int64_t position = packet.pos >= 0 ? packet.pos : avio_tell(m_reader.format->pb);
        if (size > 0 && position >= 0)
            fraction = double(position) / double(size);
    }
    fraction = std::clamp(fraction, 0.0, 1.0);
    if (fraction >= m_reported + kProgressStep) {
        m_reported = fraction;
        m_progress(fraction);
    }
}

bool DecodeRun::cancelRequested()
{
    if (m_reader.cancelled)
        return true;
    if (!m_cancel || !m_cancel->load(std::memory_order_relaxed))
        return false;
    m_reader.cancelled = true;
    Log::line(QStringLiteral("Decoding of audio file %1 was cancelled").arg(QDir::toNativeSeparators(m_reader.path)));
    return true;
}

bool DecodeRun::fail(const QString& reason)
{
    Log::line(QStringLiteral("Audio file %1 is truncated or corrupt: %2").arg(QDir::toNativeSeparators(m_reader.path), reason));
    return false;
}

} // namespace

struct AudioFileReader::Impl : ReaderState {};

bool ReaderState::openFile(const QString& filePath)
{
    quietFfmpegOnce();
    path = filePath;
    info = {};
    codec.reset();
    format.reset();
    streamIndex = -1;
    consumed = false;
    const auto refuse = [&](const QString& reason) {
        Log::line(QStringLiteral("Could not open audio file %1: %2").arg(QDir::toNativeSeparators(filePath), reason));
        codec.reset();
        format.reset();
        return false;
    };

    AVFormatContext* opened = nullptr;
    int result = avformat_open_input(&opened, QFile::encodeName(filePath).constData(), nullptr, nullptr);
    if (result < 0)
        return refuse(ffmpegError(result));
    format.reset(opened);
    result = avformat_find_stream_info(opened, nullptr);
    if (result < 0)
        return refuse(ffmpegError(result));
    const AVCodec* decoder = nullptr;
    streamIndex = av_find_best_stream(opened, AVMEDIA_TYPE_AUDIO, -1, -1, &decoder, 0);
    if (streamIndex < 0 || !decoder)
        return refuse(QStringLiteral("it holds no audio stream that can be decoded"));
    for (unsigned i = 0; i < opened->nb_streams; ++i) // cover art and the like: not even read
        if (int(i) != streamIndex)
            opened->streams[i]->discard = AVDISCARD_ALL;
    const AVCodecParameters* parameters = opened->streams[streamIndex]->codecpar;
    if (parameters->sample_rate <= 0 || parameters->ch_layout.nb_channels <= 0)
        return refuse(QStringLiteral("its audio stream has no sample rate or channels"));

    codec.reset(avcodec_alloc_context3(decoder));
    if (!codec)
        return refuse(QStringLiteral("out of memory"));
    result = avcodec_parameters_to_context(codec.get(), parameters);
    if (result >= 0)
        result = avcodec_open2(codec.get(), decoder, nullptr);
    if (result < 0)
        return refuse(ffmpegError(result));

    info.sampleRate = parameters->sample_rate;
    info.channelCount = parameters->ch_layout.nb_channels;
    if (parameters->ch_layout.order == AV_CHANNEL_ORDER_NATIVE)
        info.channelMask = parameters->ch_layout.u.mask;
    info.codecName = QString::fromUtf8(decoder->name);
    info.containerName = QString::fromUtf8(opened->iformat->name);
    readLengthRules();
    dataChunkShort = DataChunk::isShorterThanDeclared(filePath);
    return true;
}

// What the container says about the length, and how far that can be trusted.
void ReaderState::readLengthRules()
{
    const AVStream* stream = format->streams[streamIndex];
    const int rate = int(info.sampleRate);
    statedFrames = -1;
    allowedShortfall = 0;
    sampleTableFrames = -1;
    lengthLimit = -1;
    if (stream->duration != AV_NOPTS_VALUE && stream->duration > 0) {
        int64_t frames = toFrames(stream->duration, stream->time_base, rate);
        // The decoder drops the encoder delay at the start (MP3's LAME tag sets the stream's start
        // time to it, Opus declares it as initial padding).
        if (stream->start_time != AV_NOPTS_VALUE && stream->start_time > 0)
            frames -= toFrames(stream->start_time, stream->time_base, rate);
        frames -= stream->codecpar->initial_padding;
        info.estimatedFrames = std::max<int64_t>(frames, 0);
        // A length guessed from the bit rate proves nothing; a CAF's packet table may overstate.
        const bool exact = format->duration_estimation_method != AVFMT_DURATION_FROM_BITRATE
                           && info.containerName != QLatin1String("caf");
        if (exact)
            statedFrames = info.estimatedFrames;
    } else if (format->duration != AV_NOPTS_VALUE && format->duration > 0) {
        info.estimatedFrames = av_rescale(format->duration, rate, AV_TIME_BASE);
    }
    if (statedFrames < 0)
        return;
    if (isMpegAudio(stream->codecpar->codec_id))
        allowedShortfall = 2 * 1152;
    if (info.containerName.contains(QLatin1String("mp4"))) {
        lengthLimit = statedFrames;
        sampleTableFrames = framesIgnoringEditList(path, streamIndex, rate);
    }
}

// The priming the demuxer asks the decoder to drop rides on the first packet.
void ReaderState::limitLengthByPriming(const AVPacket& firstPacket)
{
    if (lengthLimit < 0 || sampleTableFrames < 0)
        return;
    size_t size = 0;
    const uint8_t* skip = av_packet_get_side_data(&firstPacket, AV_PKT_DATA_SKIP_SAMPLES, &size);
    const int64_t priming = skip && size >= 4 ? int64_t(AV_RL32(skip)) : 0;
    const int64_t exact = sampleTableFrames - priming;
    // Only a length that the edit list's rounding can explain: an edit that cuts the track
    // elsewhere keeps its own length.
    if (exact >= statedFrames && exact < statedFrames + int64_t(info.sampleRate) / 100)
        lengthLimit = exact;
}

AudioFileReader::AudioFileReader() : d(std::make_unique<Impl>()) {}

AudioFileReader::~AudioFileReader() = default;

bool AudioFileReader::open(const QString& path)
{
    d->decodedFrames = 0;
    d->cancelled = false;
    return d->openFile(path);
}

const AudioStreamInfo& AudioFileReader::info() const
{
    return d->info;
}

bool AudioFileReader::decode(const BlockSink& sink, const std::atomic<bool>* cancel, const Progress& progress)
{
    d->decodedFrames = 0;
    d->cancelled = false;
    if (!d->format) {
        Log::line(QStringLiteral("Could not decode audio file %1: it is not open").arg(QDir::toNativeSeparators(d->path)));
        return false;
    }
    if (d->consumed && !d->openFile(d->path))
        return false;
    d->consumed = true;
    return DecodeRun(*d, sink, cancel, progress).run();
}

int64_t AudioFileReader::decodedFrames() const
{
    return d->decodedFrames;
}

bool AudioFileReader::wasCancelled() const
{
    return d->cancelled;
}
