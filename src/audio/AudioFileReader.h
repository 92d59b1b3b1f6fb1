#pragma once

#include <QString>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>

struct AudioStreamInfo {
    double sampleRate = 0.0;
    int channelCount = 0;
    uint64_t channelMask = 0; // FFmpeg's speaker mask; 0 when the file names no layout
    // Frames as the container states them before decoding. Exact for PCM and FLAC; an estimate for
    // some compressed streams, whose exact count is known only after decode().
    int64_t estimatedFrames = 0;
    QString codecName;     // FFmpeg's codec name, e.g. "mp3", "aac", "alac", "pcm_s16le"
    QString containerName; // FFmpeg's format name, e.g. "wav", "mov,mp4,m4a,3gp,3g2,mj2"
};

// Decodes one audio file through FFmpeg to float samples at the file's own rate and channel count,
// with encoder delay and padding removed, so the frame count is the one the source had.
class AudioFileReader {
public:
    AudioFileReader();
    ~AudioFileReader();
    AudioFileReader(const AudioFileReader&) = delete;
    AudioFileReader& operator=(const AudioFileReader&) = delete;

    // Opens and probes the file. False, with a log line, when it is missing, unreadable or holds no
    // decodable audio stream.
    bool open(const QString& path);
    const AudioStreamInfo& info() const;

    // Receives decoded audio in file order: interleaved floats, info().channelCount channels,
    // frames > 0. Returning false stops the decode.
    using BlockSink = std::function<bool(const float* interleaved, int64_t frames)>;
    // A fraction 0..1 of the file decoded so far.
    using Progress = std::function<void(double fraction)>;

    // Decodes the whole file from its start. True when the end was reached intact; then
    // decodedFrames() is the exact length. False, with a log line, for corrupt or truncated data,
    // a cancel (wasCancelled()), or a sink that refused. Safe to run on any one thread at a time.
    bool decode(const BlockSink& sink, const std::atomic<bool>* cancel = nullptr, const Progress& progress = {});

    int64_t decodedFrames() const;
    bool wasCancelled() const;

private:
    struct Impl;
    std::unique_ptr<Impl> d;
};
