#include "audio/WavWriter.h"

#include <sndfile.h>

#include <algorithm>

WavWriter::~WavWriter()
{
    close();
}

bool WavWriter::open(const QString& path, double sampleRate, int channels, int maxBlockFrames)
{
    close();
    SF_INFO info{};
    info.samplerate = int(sampleRate);
    info.channels = channels;
    info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    m_file = sf_open(path.toLocal8Bit().constData(), SFM_WRITE, &info);
    if (!m_file) {
        m_error = QString::fromLocal8Bit(sf_strerror(nullptr));
        return false;
    }
    sf_command(m_file, SFC_SET_CLIPPING, nullptr, SF_TRUE);
    // Keeps the header right after every block, so a cancelled export leaves a valid file.
    sf_command(m_file, SFC_SET_UPDATE_HEADER_AUTO, nullptr, SF_TRUE);
    m_channels = channels;
    m_written = 0;
    m_interleaved.assign(size_t(std::max(1, maxBlockFrames)) * size_t(channels), 0.0f);
    m_error.clear();
    return true;
}

bool WavWriter::write(const float* const* planar, int frames)
{
    if (!m_file)
        return false;
    const int capacity = int(m_interleaved.size()) / m_channels;
    for (int done = 0; done < frames;) {
        const int n = std::min(capacity, frames - done);
        for (int i = 0; i < n; ++i)
            for (int c = 0; c < m_channels; ++c)
                m_interleaved[size_t(i * m_channels + c)] = planar[c][done + i];
        const sf_count_t written = sf_writef_float(m_file, m_interleaved.data(), n);
        m_written += written;
        if (written != n) {
            m_error = QString::fromLocal8Bit(sf_strerror(m_file));
            return false;
        }
        done += n;
    }
    return true;
}

void WavWriter::close()
{
    if (m_file)
        sf_close(m_file);
    m_file = nullptr;
}
