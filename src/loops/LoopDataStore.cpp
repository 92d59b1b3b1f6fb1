#include "loops/LoopDataStore.h"

#include "platform/Log.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonParseError>
#include <QSaveFile>
#include <QStandardPaths>
#include <QThread>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstring>

namespace {

constexpr int kVersion = 1;
// A saved-loops file this large was not written by us; reading it would only stall the window.
constexpr qint64 kMaximumSize = 16 * 1024 * 1024;

QString shown(const QString& path)
{
    return QDir::toNativeSeparators(path);
}

// What the file holds: its tracks, or why it could not be used.
struct Contents {
    // A damaged file is there and readable but not ours to read: it may be replaced, once kept.
    enum State { Usable, Unreadable, Damaged } state = Usable;
    QJsonObject tracks;
    QJsonObject practice; // per key: "fingerprint", "seconds", "settings"
    QString whyNot;
};

Contents readContents(const QString& path)
{
    Contents contents;
    QFile file(path);
    if (!file.exists())
        return contents;
    const auto fail = [&](Contents::State state, const QString& why) {
        contents.state = state;
        contents.whyNot = why;
        return contents;
    };
    if (!file.open(QIODevice::ReadOnly))
        return fail(Contents::Unreadable, QStringLiteral("it cannot be read: %1").arg(file.errorString()));
    if (file.size() > kMaximumSize)
        return fail(Contents::Damaged, QStringLiteral("it is larger than %1 bytes").arg(kMaximumSize));
    const QByteArray bytes = file.readAll();
    if (file.error() != QFileDevice::NoError)
        return fail(Contents::Unreadable, QStringLiteral("it cannot be read: %1").arg(file.errorString()));
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
    if (error.error != QJsonParseError::NoError)
        return fail(Contents::Damaged,
                    QStringLiteral("it is not JSON: %1 at offset %2").arg(error.errorString()).arg(error.offset));
    if (!document.isObject())
        return fail(Contents::Damaged, QStringLiteral("its top level is not an object"));
    const QJsonObject root = document.object();
    const QJsonValue version = root.value(QLatin1String("version"));
    if (!version.isDouble() || version.toDouble() != kVersion)
        return fail(Contents::Damaged, QStringLiteral("its version is %1, not %2")
                                           .arg(version.isDouble() ? QString::number(version.toDouble())
                                                                   : QStringLiteral("missing or not a number"))
                                           .arg(kVersion));
    const QJsonValue tracks = root.value(QLatin1String("tracks"));
    if (!tracks.isObject())
        return fail(Contents::Damaged, QStringLiteral("its \"tracks\" is not an object"));
    contents.tracks = tracks.toObject();
    // Written by a later part of the program than the loops: a file without it is still whole.
    contents.practice = root.value(QLatin1String("practice")).toObject();
    return contents;
}

// What is known of the sound that owns `key`.
bool ownedBy(const QJsonObject& practice, const QString& key, const TrackIdentity& track)
{
    const QJsonObject owner = practice.value(key).toObject();
    return owner.value(QLatin1String("fingerprint")).toString() == track.fingerprint &&
           std::abs(owner.value(QLatin1String("seconds")).toDouble() - track.seconds) < 0.5;
}

bool hasOwner(const QJsonObject& practice, const QString& key)
{
    return !practice.value(key).toObject().value(QLatin1String("fingerprint")).toString().isEmpty();
}

// Keeps the damaged file as "<path>.bak" before anything overwrites it, replacing an older copy.
bool keepDamagedCopy(const QString& path, const QString& whyDamaged)
{
    QFile damaged(path);
    QSaveFile copy(path + QStringLiteral(".bak"));
    bool kept = damaged.open(QIODevice::ReadOnly) && copy.open(QIODevice::WriteOnly);
    while (kept && !damaged.atEnd()) {
        const QByteArray chunk = damaged.read(1 << 16);
        kept = damaged.error() == QFileDevice::NoError && copy.write(chunk) == chunk.size();
    }
    kept = kept && copy.commit();
    if (kept)
        Log::line(QStringLiteral("Saved loops file %1 is damaged (%2); a copy is kept as %1.bak")
                      .arg(shown(path), whyDamaged));
    else
        Log::line(QStringLiteral("Saved loops file %1 is damaged (%2) and no copy could be kept: %3")
                      .arg(shown(path), whyDamaged,
                           damaged.error() != QFileDevice::NoError ? damaged.errorString() : copy.errorString()));
    return kept;
}

// The fractions of one track's loops, or why the entry is not a list of loops.
bool loopsOf(const QJsonValue& entry, std::vector<LoopPair>& loops, QString& why)
{
    if (!entry.isArray()) {
        why = QStringLiteral("the entry is not a list");
        return false;
    }
    const QJsonArray array = entry.toArray();
    loops.reserve(size_t(array.size()));
    for (qsizetype i = 0; i < array.size(); ++i) {
        const QJsonObject pair = array.at(i).toObject();
        const QJsonValue left = pair.value(QLatin1String("left")), right = pair.value(QLatin1String("right"));
        if (!left.isDouble() || !right.isDouble()) {
            why = QStringLiteral("loop %1 has no numbers for left and right").arg(i);
            return false;
        }
        const LoopPair loop{left.toDouble(), right.toDouble()};
        if (!(0.0 <= loop.left && loop.left < loop.right && loop.right <= 1.0)) {
            why = QStringLiteral("loop %1 is not a stretch within the track").arg(i);
            return false;
        }
        loops.push_back(loop);
    }
    return true;
}

// One read-change-write at a time across windows and runs. flock, unlike a lock file with an owner
// written in it, ends with its process, so a save that was killed holds up no later one.
class SaveLock {
public:
    explicit SaveLock(const QString& path)
        : m_fd(::open(QFile::encodeName(path).constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0600))
        , m_openError(m_fd < 0 ? errno : 0)
    {
    }
    ~SaveLock()
    {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    SaveLock(const SaveLock&) = delete;
    SaveLock& operator=(const SaveLock&) = delete;

    // Empty when taken, else why not.
    QString take(int timeoutMs)
    {
        if (m_fd < 0)
            return QString::fromLocal8Bit(std::strerror(m_openError));
        for (int waited = 0;; waited += 10) {
            if (::flock(m_fd, LOCK_EX | LOCK_NB) == 0)
                return {};
            if (errno != EWOULDBLOCK && errno != EINTR)
                return QString::fromLocal8Bit(std::strerror(errno));
            if (waited >= timeoutMs)
                return QStringLiteral("another save held it for %1 ms").arg(timeoutMs);
            QThread::msleep(10);
        }
    }

private:
    int m_fd;
    int m_openError;
};

} // namespace

QString LoopDataStore::defaultPath()
{
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::AppDataLocation);
    QDir().mkpath(folder);
    return folder + QStringLiteral("/saved-loops.json");
}

LoopDataStore::LoopDataStore(QString path)
    : m_path(std::move(path))
{
}

QString LoopDataStore::path() const
{
    return m_path;
}

std::vector<LoopPair> LoopDataStore::loopsForKey(const QString& key) const
{
    const Contents contents = readContents(m_path);
    if (contents.state == Contents::Damaged) {
        keepDamagedCopy(m_path, contents.whyNot);
        return {};
    }
    if (contents.state == Contents::Unreadable) {
        Log::line(QStringLiteral("Saved loops file %1 is not read: %2").arg(shown(m_path), contents.whyNot));
        return {};
    }
    const auto entry = contents.tracks.constFind(key);
    if (entry == contents.tracks.constEnd())
        return {};
    std::vector<LoopPair> loops;
    QString why;
    if (!loopsOf(*entry, loops, why)) {
        Log::line(QStringLiteral("Saved loops of %1 in %2 are skipped: %3").arg(key, shown(m_path), why));
        return {};
    }
    return loops;
}

bool LoopDataStore::setLoopsForKey(const QString& key, const std::vector<LoopPair>& loops)
{
    QJsonArray array;
    for (const LoopPair& loop : loops) {
        // What the reader would skip is not written: it would cost the track all its loops.
        if (!(0.0 <= loop.left && loop.left < loop.right && loop.right <= 1.0)) {
            Log::line(QStringLiteral("Saved loops of %1 are not written to %2: (%3, %4) is not a stretch within the track")
                          .arg(key, shown(m_path))
                          .arg(loop.left)
                          .arg(loop.right));
            return false;
        }
        array.append(QJsonObject{{QStringLiteral("left"), loop.left}, {QStringLiteral("right"), loop.right}});
    }
    return change(QStringLiteral("Saved loops of %1").arg(key), [&](QJsonObject& tracks, QJsonObject&) {
        if (array.isEmpty())
            tracks.remove(key);
        else
            tracks.insert(key, array);
    });
}

QString LoopDataStore::keyFor(const TrackIdentity& track) const
{
    const Contents contents = readContents(m_path);
    if (!track.fingerprint.isEmpty())
        for (auto it = contents.practice.constBegin(); it != contents.practice.constEnd(); ++it)
            if (!it.key().isEmpty() && ownedBy(contents.practice, it.key(), track))
                return it.key();
    if (track.fingerprint.isEmpty() || !hasOwner(contents.practice, track.name))
        return track.name;
    // Another sound has the name; this one takes the name marked with a hash of its own sound.
    const QByteArray mark = QCryptographicHash::hash(track.fingerprint.toLatin1(), QCryptographicHash::Sha1).toHex().left(8);
    return QStringLiteral("%1 #%2").arg(track.name, QString::fromLatin1(mark));
}

QJsonObject LoopDataStore::settingsForKey(const QString& key) const
{
    return readContents(m_path).practice.value(key).toObject().value(QLatin1String("settings")).toObject();
}

bool LoopDataStore::setTrackForKey(const QString& key, const TrackIdentity& track, const QJsonObject& settings)
{
    return change(QStringLiteral("Settings of %1").arg(key), [&](QJsonObject&, QJsonObject& practice) {
        practice.insert(key, QJsonObject{{QStringLiteral("fingerprint"), track.fingerprint},
                                         {QStringLiteral("seconds"), track.seconds},
                                         {QStringLiteral("settings"), settings}});
    });
}

bool LoopDataStore::change(const QString& what, const std::function<void(QJsonObject&, QJsonObject&)>& edit)
{
    const auto refuse = [&](const QString& why) {
        Log::line(QStringLiteral("%1 are not written to %2: %3").arg(what, shown(m_path), why));
        return false;
    };
    const QString folder = QFileInfo(m_path).absolutePath();
    if (!QDir().mkpath(folder))
        return refuse(QStringLiteral("its folder cannot be made"));
    // Another window or run may be saving too: neither may drop the other's track.
    SaveLock lock(m_path + QStringLiteral(".lock"));
    if (const QString why = lock.take(5000); !why.isEmpty())
        return refuse(QStringLiteral("%1.lock is not taken: %2").arg(shown(m_path), why));

    Contents contents = readContents(m_path);
    if (contents.state == Contents::Unreadable)
        return refuse(contents.whyNot);
    if (contents.state == Contents::Damaged && !keepDamagedCopy(m_path, contents.whyNot))
        return refuse(QStringLiteral("the damaged file would be lost"));
    edit(contents.tracks, contents.practice);

    QJsonObject root{{QStringLiteral("version"), kVersion}, {QStringLiteral("tracks"), contents.tracks}};
    if (!contents.practice.isEmpty())
        root.insert(QStringLiteral("practice"), contents.practice);
    const QByteArray bytes = QJsonDocument(root).toJson(QJsonDocument::Indented);
    QSaveFile file(m_path);
    if (!file.open(QIODevice::WriteOnly))
        return refuse(file.errorString());
    if (file.write(bytes) != bytes.size()) {
        const QString why = file.errorString();
        file.cancelWriting();
        return refuse(why);
    }
    if (!file.commit())
        return refuse(file.errorString());
    return true;
}
