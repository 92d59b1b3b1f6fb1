#pragma once

#include <QString>

#include <cstdint>
#include <vector>

typedef struct sf_private_tag SNDFILE;

// A 16-bit PCM WAV file written block by block from planar floats; out-of-range samples clip
// instead of wrapping. The file is complete and valid after every block.
class WavWriter {
public:
    WavWriter() = default;
    ~WavWriter();
    WavWriter(const WavWriter&) = delete;
    WavWriter& operator=(const WavWriter&) = delete;

    // False with error() set when the file can not be created.
    bool open(const QString& path, double sampleRate, int channels, int maxBlockFrames);
    bool write(const float* const* planar, int frames);
    void close();
    QString error() const { return m_error; }
    int64_t framesWritten() const { return m_written; }

private:
    SNDFILE* m_file = nullptr;
    int m_channels = 0;
    int64_t m_written = 0;
    std::vector<float> m_interleaved;
    QString m_error;
};
