#pragma once

#include <QSaveFile>
#include <QString>

#include <cstdint>
#include <vector>

typedef struct sf_private_tag SNDFILE;

// A 16-bit PCM WAV file written block by block from planar floats; out-of-range samples clip
// instead of wrapping. The blocks go to a temporary file beside the target, which only commit()
// moves into place: until then a file already at the target stays as it was, and discard() (or
// destruction without a commit) leaves nothing behind.
class WavWriter {
public:
    WavWriter() = default;
    ~WavWriter();
    WavWriter(const WavWriter&) = delete;
    WavWriter& operator=(const WavWriter&) = delete;

    // False with error() set when the file can not be created.
    bool open(const QString& path, double sampleRate, int channels, int maxBlockFrames);
    bool write(const float* const* planar, int frames);
    // Completes the file and renames it over the target. False with error() set, and nothing left
    // behind, when that fails.
    bool commit();
    void discard();
    QString error() const { return m_error; }
    int64_t framesWritten() const { return m_written; }

private:
    bool fail(const QString& why);

    SNDFILE* m_file = nullptr;
    QSaveFile m_save;
    int m_channels = 0;
    int64_t m_written = 0;
    std::vector<float> m_interleaved;
    QString m_error;
};
