#include "audio/WavWriter.h"

#include <sndfile.h>

#include <algorithm>

WavWriter::~WavWriter()
{
    discard();
}

bool WavWriter::open(const QString& path, double sampleRate, int channels, int maxBlockFrames)
{
    discard();
    m_error.clear();
    m_written = 0;
    // Unbuffered: libsndfile writes through the descriptor, so Qt must hold nothing back.
    m_save.setFileName(path);
    if (!m_save.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
        return fail(m_save.errorString());
    SF_INFO info{};
    info.samplerate = int(sampleRate);
    info.channels = channels;
    info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    m_file = sf_open_fd(m_save.handle(), SFM_WRITE, &info, SF_FALSE);
    if (!m_file)
        return fail(QString::fromLocal8Bit(sf_strerror(nullptr)));
    sf_command(m_file, SFC_SET_CLIPPING, nullptr, SF_TRUE);
    m_channels = channels;
    m_interleaved.assign(size_t(std::max(1, maxBlockFrames)) * size_t(channels), 0.0f);
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

bool WavWriter::commit()
{
    if (!m_file)
        return fail(m_error.isEmpty() ? QStringLiteral("nothing was written") : m_error);
    // Closing writes the header's final sizes.
    const int closed = sf_close(m_file);
    m_file = nullptr;
    if (closed != 0)
        return fail(QString::fromLocal8Bit(sf_error_number(closed)));
    if (!m_save.commit())
        return fail(m_save.errorString());
    return true;
}

void WavWriter::discard()
{
    if (m_file)
        sf_close(m_file);
    m_file = nullptr;
    // A cancelled commit removes the temporary file.
    if (m_save.isOpen()) {
        m_save.cancelWriting();
        m_save.commit();
    }
}

bool WavWriter::fail(const QString& why)
{
    m_error = why;
    discard();
    return false;
}
