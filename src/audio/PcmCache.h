#pragma once

#include <QString>

#include <cstdint>
#include <memory>
#include <vector>

// A decoded track as planar float samples on disk, so that no whole track sits in memory. Each
// channel goes to its own unlinked temp file in the cache folder (nothing is left there, even after
// a crash) through plain writes; finish() maps the files read-only, after which channel c is one
// contiguous float array. Reading after finish() is safe from any number of threads.
class PcmCache {
public:
    // Null, with a reason in *error, when the cache folder or file can not be made.
    static std::unique_ptr<PcmCache> create(int channelCount, double sampleRate, QString* error = nullptr);
    ~PcmCache();
    PcmCache(const PcmCache&) = delete;
    PcmCache& operator=(const PcmCache&) = delete;

    // Appends interleaved frames. False on a write failure (disk full), with error() set; the cache
    // is then unusable.
    bool append(const float* interleaved, int64_t frames);
    // Flushes and maps the file read-only; no appends after this. False on failure.
    bool finish();

    int channelCount() const;
    double sampleRate() const;
    int64_t frameCount() const;
    bool isFinished() const;

    // frameCount() floats, after finish(); null before, or when the track is empty.
    const float* channel(int c) const;
    // Copies frames [start, start+count) of each channel into out[c]; clamps at the end; returns
    // the frames copied (0 before finish() or for a start outside the track).
    int64_t read(int64_t start, int64_t count, float* const* out) const;
    // Brings frames [start, start+count) of every channel into memory; blocks on the disk, so never
    // on the render thread.
    void prefetch(int64_t start, int64_t count) const;
    // Lets go of the pages this process holds of frames [start, start + count), all by default; the
    // samples stay in the file and come back on a read.
    void releaseResident(int64_t start = 0, int64_t count = INT64_MAX) const;

    QString error() const;

    // The folder that holds the (unlinked) cache files.
    static QString folder();

private:
    struct Channel {
        int fd = -1;
        std::vector<float> staging;
        const float* mapped = nullptr;
    };

    PcmCache(int channelCount, double sampleRate);
    bool openFiles(QString* error);
    bool flush(Channel& channel);
    bool fail(const QString& reason);
    void release();

    double m_sampleRate;
    std::vector<Channel> m_channels;
    int64_t m_frameCount = 0;
    bool m_finished = false;
    bool m_failed = false;
    QString m_error;
};
