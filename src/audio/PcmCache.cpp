#include "audio/PcmCache.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace {

// Frames held per channel before a write: 256 KiB a channel, few system calls, little memory.
constexpr size_t kStagingFrames = 65536;

QString systemError(int code)
{
    return QString::fromLocal8Bit(std::strerror(code));
}

// An anonymous file in `dir`: O_TMPFILE where the file system has it, else a named one that is
// unlinked at once.
int openUnlinkedFile(const QString& dir)
{
    const QByteArray path = QFile::encodeName(dir);
    const int fd = ::open(path.constData(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
    if (fd >= 0 || (errno != EOPNOTSUPP && errno != EISDIR && errno != EINVAL))
        return fd;
    QByteArray name = path + "/pcm-XXXXXX";
    const int named = ::mkostemp(name.data(), O_CLOEXEC);
    if (named >= 0)
        ::unlink(name.constData());
    return named;
}

bool writeAll(int fd, const float* data, size_t count)
{
    const char* bytes = reinterpret_cast<const char*>(data);
    size_t left = count * sizeof(float);
    while (left > 0) {
        const ssize_t written = ::write(fd, bytes, left);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0) {
            if (written == 0)
                errno = ENOSPC;
            return false;
        }
        bytes += written;
        left -= size_t(written);
    }
    return true;
}

} // namespace

QString PcmCache::folder()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation) + QStringLiteral("/Lento");
}

std::unique_ptr<PcmCache> PcmCache::create(int channelCount, double sampleRate, QString* error)
{
    if (channelCount < 1 || !(sampleRate > 0.0)) {
        if (error)
            *error = QStringLiteral("Can not cache audio of %1 channels at %2 Hz").arg(channelCount).arg(sampleRate);
        return nullptr;
    }
    std::unique_ptr<PcmCache> cache(new PcmCache(channelCount, sampleRate));
    if (!cache->openFiles(error))
        return nullptr;
    return cache;
}

PcmCache::PcmCache(int channelCount, double sampleRate) : m_sampleRate(sampleRate), m_channels(size_t(channelCount))
{
}

PcmCache::~PcmCache()
{
    release();
}

bool PcmCache::openFiles(QString* error)
{
    const QString dir = folder();
    if (!QDir().mkpath(dir)) {
        if (error)
            *error = QStringLiteral("Could not make the cache folder %1").arg(QDir::toNativeSeparators(dir));
        return false;
    }
    for (Channel& channel : m_channels) {
        channel.fd = openUnlinkedFile(dir);
        if (channel.fd < 0) {
            if (error)
                *error = QStringLiteral("Could not make a cache file in %1: %2")
                             .arg(QDir::toNativeSeparators(dir), systemError(errno));
            return false;
        }
        channel.staging.reserve(kStagingFrames);
    }
    return true;
}

bool PcmCache::append(const float* interleaved, int64_t frames)
{
    if (m_failed)
        return false;
    if (m_finished) {
        m_error = QStringLiteral("Audio was added to a finished cache");
        return false;
    }
    const size_t channels = m_channels.size();
    for (int64_t done = 0; done < frames;) {
        const int64_t room = int64_t(kStagingFrames - m_channels.front().staging.size());
        const int64_t n = std::min(room, frames - done);
        for (size_t c = 0; c < channels; ++c) {
            std::vector<float>& staging = m_channels[c].staging;
            const size_t at = staging.size();
            staging.resize(at + size_t(n));
            const float* from = interleaved + done * int64_t(channels) + int64_t(c);
            for (int64_t f = 0; f < n; ++f)
                staging[at + size_t(f)] = from[f * int64_t(channels)];
        }
        done += n;
        m_frameCount += n;
        if (m_channels.front().staging.size() == kStagingFrames)
            for (Channel& channel : m_channels)
                if (!flush(channel))
                    return false;
    }
    return true;
}

bool PcmCache::flush(Channel& channel)
{
    if (!writeAll(channel.fd, channel.staging.data(), channel.staging.size()))
        return fail(QStringLiteral("Could not write the decoded audio to the cache: %1").arg(systemError(errno)));
    channel.staging.clear();
    return true;
}

bool PcmCache::finish()
{
    if (m_failed)
        return false;
    if (m_finished)
        return true;
    const size_t bytes = size_t(m_frameCount) * sizeof(float);
    for (Channel& channel : m_channels) {
        if (!flush(channel))
            return false;
        channel.staging = {};
        if (bytes > 0) {
            void* map = ::mmap(nullptr, bytes, PROT_READ, MAP_SHARED, channel.fd, 0);
            if (map == MAP_FAILED)
                return fail(QStringLiteral("Could not map the audio cache: %1").arg(systemError(errno)));
            channel.mapped = static_cast<const float*>(map);
        }
        // The mapping keeps the file alive.
        ::close(channel.fd);
        channel.fd = -1;
    }
    m_finished = true;
    return true;
}

bool PcmCache::fail(const QString& reason)
{
    m_error = reason;
    m_failed = true;
    release();
    return false;
}

void PcmCache::release()
{
    const size_t bytes = size_t(m_frameCount) * sizeof(float);
    for (Channel& channel : m_channels) {
        if (channel.mapped)
            ::munmap(const_cast<float*>(channel.mapped), bytes);
        if (channel.fd >= 0)
            ::close(channel.fd);
        channel = {};
    }
    m_finished = false;
}

int PcmCache::channelCount() const
{
    return int(m_channels.size());
}

double PcmCache::sampleRate() const
{
    return m_sampleRate;
}

int64_t PcmCache::frameCount() const
{
    return m_frameCount;
}

bool PcmCache::isFinished() const
{
    return m_finished;
}

const float* PcmCache::channel(int c) const
{
    if (!m_finished || c < 0 || c >= channelCount())
        return nullptr;
    return m_channels[size_t(c)].mapped;
}

int64_t PcmCache::read(int64_t start, int64_t count, float* const* out) const
{
    if (!m_finished || start < 0 || start >= m_frameCount || count <= 0)
        return 0;
    const int64_t n = std::min(count, m_frameCount - start);
    for (size_t c = 0; c < m_channels.size(); ++c)
        std::memcpy(out[c], m_channels[c].mapped + start, size_t(n) * sizeof(float));
    return n;
}

void PcmCache::prefetch(int64_t start, int64_t count) const
{
    if (!m_finished)
        return;
    start = std::clamp<int64_t>(start, 0, m_frameCount);
    count = std::clamp<int64_t>(count, 0, m_frameCount - start);
    if (count == 0)
        return;
    static const int64_t page = ::sysconf(_SC_PAGESIZE);
    const int64_t perPage = page / int64_t(sizeof(float));
    for (const Channel& channel : m_channels) {
        const auto first = reinterpret_cast<uintptr_t>(channel.mapped + start) & ~uintptr_t(page - 1);
        const auto end = reinterpret_cast<uintptr_t>(channel.mapped + start + count);
        ::madvise(reinterpret_cast<void*>(first), size_t(end - first), MADV_WILLNEED);
        // Reading one sample a page makes it resident now rather than at the render thread's read.
        volatile float sink = 0.0f;
        for (int64_t f = start - (start % perPage); f < start + count; f += perPage)
            sink = channel.mapped[std::max(f, start)];
        (void)sink;
    }
}

void PcmCache::releaseResident(int64_t start, int64_t count) const
{
    start = std::clamp<int64_t>(start, 0, m_frameCount);
    count = std::clamp<int64_t>(count, 0, m_frameCount - start);
    if (!m_finished || count == 0)
        return;
    static const uintptr_t page = uintptr_t(::sysconf(_SC_PAGESIZE));
    for (const Channel& channel : m_channels) {
        // Only whole pages inside the range: a neighbour's samples stay where they are.
        const uintptr_t first = (reinterpret_cast<uintptr_t>(channel.mapped + start) + page - 1) & ~(page - 1);
        const uintptr_t end = reinterpret_cast<uintptr_t>(channel.mapped + start + count) & ~(page - 1);
        if (end > first)
            ::madvise(reinterpret_cast<void*>(first), end - first, MADV_DONTNEED);
    }
}

QString PcmCache::error() const
{
    return m_error;
}
