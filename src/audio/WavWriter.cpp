#include "audio/WavWriter.h"

#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>

#include <sndfile.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

QString systemError(int error)
{
    return QString::fromLocal8Bit(std::strerror(error));
}

// Where the file really goes: through a symbolic link to the file it names, so that the link
// stays a link.
QString resolvedTarget(const QString& path)
{
    const QFileInfo info(path);
    if (info.isSymLink() && info.exists())
        return info.canonicalFilePath();
    return info.absoluteFilePath();
}

// A new file with a hidden name beside `target`, created with the mode any new file gets.
int createHiddenBeside(const QString& target, QString& created)
{
    const QFileInfo info(target);
    for (int attempt = 0; attempt < 100; ++attempt) {
        const QString name = info.absolutePath() + QStringLiteral("/.") + info.fileName() + QLatin1Char('.')
            + QString::number(QRandomGenerator::global()->generate(), 16) + QStringLiteral(".part");
        const int fd = ::open(QFile::encodeName(name).constData(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd >= 0 || errno != EEXIST) {
            created = fd >= 0 ? name : QString();
            return fd;
        }
    }
    errno = EEXIST;
    return -1;
}

} // namespace

WavWriter::~WavWriter()
{
    discard();
}

bool WavWriter::open(const QString& path, double sampleRate, int channels, int maxBlockFrames)
{
    discard();
    m_error.clear();
    m_written = 0;
    if (sampleRate <= 0.0 || channels < 1) {
        m_error = QStringLiteral("no audio format to write");
        return false;
    }
    m_target = resolvedTarget(path);
    m_fd = createHiddenBeside(m_target, m_temporaryPath);
    if (m_fd < 0)
        return fail(systemError(errno));
    SF_INFO info{};
    info.samplerate = int(sampleRate);
    info.channels = channels;
    info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    m_file = sf_open_fd(m_fd, SFM_WRITE, &info, SF_FALSE);
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
    // A replaced file keeps its permissions, as an edit in place would have.
    struct stat existing {};
    if (::stat(QFile::encodeName(m_target).constData(), &existing) == 0)
        ::fchmod(m_fd, existing.st_mode & 07777);
    // On disk before the name points at it, so a power cut can not leave an empty file there.
    if (::fsync(m_fd) != 0)
        return fail(systemError(errno));
    ::close(m_fd);
    m_fd = -1;
    if (std::rename(QFile::encodeName(m_temporaryPath).constData(), QFile::encodeName(m_target).constData()) != 0)
        return fail(systemError(errno));
    m_temporaryPath.clear();
    return true;
}

void WavWriter::discard()
{
    if (m_file)
        sf_close(m_file);
    m_file = nullptr;
    if (m_fd >= 0)
        ::close(m_fd);
    m_fd = -1;
    if (!m_temporaryPath.isEmpty())
        ::unlink(QFile::encodeName(m_temporaryPath).constData());
    m_temporaryPath.clear();
}

bool WavWriter::fail(const QString& why)
{
    m_error = why;
    discard();
    return false;
}
