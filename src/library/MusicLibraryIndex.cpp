#include "library/MusicLibraryIndex.h"

#include "platform/Log.h"

#include <QDateTime>
#include <QDir>
#include <QDirIterator>
#include <QMultiHash>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QSet>
#include <QStandardPaths>
#include <QStringDecoder>
#include <QtConcurrent/QtConcurrentRun>

#include <sqlite3.h>
#include <taglib/fileref.h>
#include <taglib/infotag.h>
#include <taglib/tag.h>
#include <taglib/wavfile.h>

#include <algorithm>
#include <map>
#include <optional>

namespace {

// Audio the player can open; video containers (mp4, m4v, mov, mkv, webm, avi) are left out.
const QSet<QString> kAudioSuffixes{
    "mp3", "m4a", "m4b", "m4p", "aac", "wav", "aif", "aiff", "aifc", "caf", "flac", "ogg", "oga", "opus", "wma", "ape", "wv",
};

// A track missing this long is dropped from the index; until then it keeps its ID for a return.
constexpr qint64 kForgetMissingAfterMs = 180LL * 24 * 3600 * 1000;

struct Row {
    quint64 id = 0;
    QString path;
    qint64 size = 0;
    qint64 mtime = 0;
    QString title, artist, album;
    qint64 durationMs = 0;
    bool drm = false;
    bool present = false;
    qint64 missingSince = 0;
    bool dirty = false;
};

struct PlaylistRow {
    QString path;
    qint64 size = 0;
    qint64 mtime = 0;
    QString name;
    QStringList entries; // absolute paths
};

struct FoundFile {
    QString path;
    qint64 size = 0;
    qint64 mtime = 0;
};

class Database {
public:
    ~Database() { sqlite3_close(m_db); }

    // Opens or makes the index; an unreadable file is replaced by an empty index.
    bool open(const QString& path)
    {
        QDir().mkpath(QFileInfo(path).absolutePath());
        if (tryOpen(path))
            return true;
        Log::line(QStringLiteral("Music library index unreadable, rebuilding it: %1").arg(m_error));
        sqlite3_close(m_db);
        m_db = nullptr;
        for (const char* suffix : {"", "-journal", "-wal", "-shm"})
            QFile::remove(path + QLatin1String(suffix));
        if (tryOpen(path))
            return true;
        Log::line(QStringLiteral("Music library index can not be written: %1").arg(m_error));
        return false;
    }

    bool exec(const char* sql)
    {
        char* message = nullptr;
        if (sqlite3_exec(m_db, sql, nullptr, nullptr, &message) == SQLITE_OK)
            return true;
        m_error = QString::fromUtf8(message ? message : sqlite3_errmsg(m_db));
        sqlite3_free(message);
        return false;
    }

    sqlite3_stmt* prepare(const char* sql)
    {
        sqlite3_stmt* statement = nullptr;
        if (sqlite3_prepare_v2(m_db, sql, -1, &statement, nullptr) != SQLITE_OK)
            m_error = QString::fromUtf8(sqlite3_errmsg(m_db));
        return statement;
    }

    QString error() const { return m_error; }

private:
    bool tryOpen(const QString& path)
    {
        if (sqlite3_open_v2(QFile::encodeName(path).constData(), &m_db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr)
            != SQLITE_OK) {
            m_error = QString::fromUtf8(sqlite3_errmsg(m_db));
            return false;
        }
        sqlite3_busy_timeout(m_db, 5000);
        return exec("CREATE TABLE IF NOT EXISTS tracks(id INTEGER PRIMARY KEY, path TEXT NOT NULL UNIQUE, size INTEGER,"
                    " mtime INTEGER, title TEXT, artist TEXT, album TEXT, duration_ms INTEGER, drm INTEGER,"
                    " present INTEGER, missing_since INTEGER);"
                    "CREATE TABLE IF NOT EXISTS playlists(path TEXT PRIMARY KEY, size INTEGER, mtime INTEGER,"
                    " name TEXT, entries TEXT);")
               && exec("SELECT count(*) FROM tracks; SELECT count(*) FROM playlists;");
    }

    sqlite3* m_db = nullptr;
    QString m_error;
};

QString columnText(sqlite3_stmt* s, int column)
{
    return QString::fromUtf8(reinterpret_cast<const char*>(sqlite3_column_text(s, column)));
}

void bindText(sqlite3_stmt* s, int index, const QString& text)
{
    const QByteArray utf8 = text.toUtf8();
    sqlite3_bind_text(s, index, utf8.constData(), int(utf8.size()), SQLITE_TRANSIENT);
}

struct Tags {
    QString title, artist, album;
    qint64 durationMs = 0;
};

Tags readTags(const QString& path)
{
    Tags tags;
    const TagLib::FileRef ref(QFile::encodeName(path).constData(), true, TagLib::AudioProperties::Fast);
    if (!ref.isNull()) {
        if (const TagLib::Tag* tag = ref.tag()) {
            tags.title = QString::fromUtf8(tag->title().toCString(true)).trimmed();
            tags.artist = QString::fromUtf8(tag->artist().toCString(true)).trimmed();
            tags.album = QString::fromUtf8(tag->album().toCString(true)).trimmed();
        }
        // A WAV file's tag() is its ID3v2 tag alone; most writers use the RIFF INFO list instead.
        if (auto* wav = dynamic_cast<TagLib::RIFF::WAV::File*>(ref.file()); wav && wav->hasInfoTag()) {
            const TagLib::RIFF::Info::Tag* info = wav->InfoTag();
            for (auto [field, value] : {std::pair{&tags.title, info->title()}, std::pair{&tags.artist, info->artist()},
                                        std::pair{&tags.album, info->album()}})
                if (field->isEmpty())
                    *field = QString::fromUtf8(value.toCString(true)).trimmed();
        }
        if (const TagLib::AudioProperties* audio = ref.audioProperties())
            tags.durationMs = audio->lengthInMilliseconds();
    }
    return tags;
}

// m3u is Latin-1 by tradition, m3u8 UTF-8; many .m3u files are UTF-8 in fact, so that is tried first.
PlaylistRow readPlaylist(const FoundFile& file)
{
    PlaylistRow row{file.path, file.size, file.mtime, QFileInfo(file.path).completeBaseName(), {}};
    QFile f(file.path);
    if (!f.open(QIODevice::ReadOnly))
        return row;
    const QByteArray bytes = f.read(16 * 1024 * 1024);
    QStringDecoder utf8(QStringDecoder::Utf8);
    QString text = utf8.decode(bytes);
    if (utf8.hasError())
        text = QString::fromLatin1(bytes);
    const QDir base = QFileInfo(file.path).absoluteDir();
    for (QString line : text.split(QLatin1Char('\n'))) {
        line = line.trimmed();
        if (line.startsWith(QLatin1String("#PLAYLIST:")))
            row.name = line.mid(10).trimmed();
        if (line.isEmpty() || line.startsWith(QLatin1Char('#')))
            continue;
        const QUrl url(line);
        if (url.isLocalFile())
            row.entries << QDir::cleanPath(url.toLocalFile());
        else if (url.scheme().size() < 2) // a path, not a stream address
            row.entries << QDir::cleanPath(base.absoluteFilePath(line));
    }
    return row;
}

quint64 newPersistentID(const std::map<quint64, Row*>& taken)
{
    for (;;) {
        const quint64 id = QRandomGenerator::global()->generate64() & 0x7FFFFFFFFFFFFFFFULL;
        if (id != 0 && !taken.count(id))
            return id;
    }
}

bool sameTrack(const Row& a, const Tags& tags, qint64 size)
{
    return a.size == size && a.durationMs == tags.durationMs && a.title == tags.title && a.artist == tags.artist && a.album == tags.album;
}

} // namespace

struct MusicLibraryIndex::Snapshot {
    QSet<QString> watchedFolders; // the roots and every folder holding a listed file
    QList<MusicLibraryTrackPtr> tracks;
    QList<MusicLibraryPlaylistPtr> playlists;
    QHash<quint64, MusicLibraryTrackPtr> byID;
    MusicLibraryScanReport report;
};

namespace {

using ProgressFn = std::function<void(int, int)>;

void listFolder(const QString& root, QList<FoundFile>& audio, QList<FoundFile>& playlists, QSet<QString>& seen,
                const std::atomic<bool>& cancel)
{
    // Without QDir::Hidden the iterator neither lists hidden files nor enters hidden folders, and
    // without FollowSymlinks it can't loop through a link to a parent.
    QDirIterator it(root, QDir::Files | QDir::NoDotAndDotDot | QDir::Readable, QDirIterator::Subdirectories);
    QList<FoundFile> rootAudio, rootPlaylists;
    while (it.hasNext() && !cancel) {
        it.next();
        const QFileInfo info = it.fileInfo();
        const QString path = QDir::cleanPath(info.absoluteFilePath());
        if (seen.contains(path))
            continue;
        const bool isAudio = MusicLibraryIndex::isAudioFileName(info.fileName());
        if (!isAudio && !MusicLibraryIndex::isPlaylistFileName(info.fileName()))
            continue;
        seen.insert(path);
        (isAudio ? rootAudio : rootPlaylists).append({path, info.size(), info.lastModified().toMSecsSinceEpoch()});
    }
    // The directory's own order is arbitrary; the table shows a folder's tracks by path.
    const auto byPath = [](const FoundFile& a, const FoundFile& b) {
        const int c = QString::compare(a.path, b.path, Qt::CaseInsensitive);
        return c != 0 ? c < 0 : a.path < b.path;
    };
    std::sort(rootAudio.begin(), rootAudio.end(), byPath);
    std::sort(rootPlaylists.begin(), rootPlaylists.end(), byPath);
    audio += rootAudio;
    playlists += rootPlaylists;
}

std::shared_ptr<MusicLibraryIndex::Snapshot> scanFolders(const QStringList& folders, const QString& databasePath,
                                                         const std::atomic<bool>& cancel, const ProgressFn& progress);

} // namespace

MusicLibraryIndex::MusicLibraryIndex(QStringList folders, QString databasePath, QObject* parent)
    : QObject(parent), m_folders(std::move(folders)), m_databasePath(std::move(databasePath))
{
    qRegisterMetaType<MusicLibraryScanReport>();
    // A burst of changes (a folder copied in) becomes one rescan once it settles.
    m_changeSettle.setSingleShot(true);
    m_changeSettle.setInterval(kChangeSettleMs);
    connect(&m_changeSettle, &QTimer::timeout, this, &MusicLibraryIndex::rescan);
    connect(&m_watcher, &QFileSystemWatcher::directoryChanged, this, [this] { m_changeSettle.start(); });
    if (m_folders.isEmpty())
        m_folders << QStandardPaths::writableLocation(QStandardPaths::MusicLocation);
    if (m_databasePath.isEmpty())
        m_databasePath = QDir(QStandardPaths::writableLocation(QStandardPaths::AppDataLocation))
                             .filePath(QStringLiteral("music-library.sqlite"));
}

MusicLibraryIndex::~MusicLibraryIndex()
{
    if (m_cancel)
        *m_cancel = true;
    m_scan.waitForFinished();
}

void MusicLibraryIndex::setFolders(const QStringList& folders)
{
    m_folders = folders;
}

MusicLibraryTrackPtr MusicLibraryIndex::trackForPersistentID(const QString& decimalID) const
{
    bool ok = false;
    const quint64 id = decimalID.toULongLong(&ok);
    // Exact, as stored: "007" is no ID.
    return ok && QString::number(id) == decimalID ? m_byID.value(id) : nullptr;
}

bool MusicLibraryIndex::isAudioFileName(const QString& fileName)
{
    return !fileName.startsWith(QLatin1Char('.')) && kAudioSuffixes.contains(QFileInfo(fileName).suffix().toLower());
}

bool MusicLibraryIndex::isPlaylistFileName(const QString& fileName)
{
    const QString suffix = QFileInfo(fileName).suffix().toLower();
    return !fileName.startsWith(QLatin1Char('.')) && (suffix == QLatin1String("m3u") || suffix == QLatin1String("m3u8"));
}

void MusicLibraryIndex::rescan()
{
    if (m_scanning) {
        m_rescanQueued = true;
        return;
    }
    startScan();
}

void MusicLibraryIndex::startScan()
{
    // A missing folder is reported here, on the caller's thread, and simply contributes nothing.
    for (const QString& folder : m_folders)
        if (!QFileInfo(folder).isDir())
            Log::line(QStringLiteral("Music library unavailable: the folder \"%1\" does not exist").arg(folder));
    m_scanning = true;
    m_cancel = std::make_shared<std::atomic<bool>>(false);
    auto cancel = m_cancel;
    const QStringList folders = m_folders;
    const QString databasePath = m_databasePath;
    m_scan = QtConcurrent::run([this, cancel, folders, databasePath] {
        const ProgressFn progress = [this](int done, int total) {
            QMetaObject::invokeMethod(this, [this, done, total] { emit scanProgress(done, total); }, Qt::QueuedConnection);
        };
        auto snapshot = scanFolders(folders, databasePath, *cancel, progress);
        if (*cancel)
            return;
        QMetaObject::invokeMethod(this, [this, snapshot] { adopt(snapshot); }, Qt::QueuedConnection);
    });
}

void MusicLibraryIndex::watchFolders(const QSet<QString>& folders)
{
    // A library holds thousands of folders: each side is looked up in a set, not searched.
    const QStringList old = m_watcher.directories();
    const QSet<QString> watching(old.begin(), old.end());
    QStringList gone, added;
    for (const QString& folder : old)
        if (!folders.contains(folder))
            gone << folder;
    for (const QString& folder : folders)
        if (!watching.contains(folder))
            added << folder;
    if (!gone.isEmpty())
        m_watcher.removePaths(gone);
    // Past the system's limit of watches, the Rescan command still finds what changed.
    if (!added.isEmpty() && !m_watcher.addPaths(added).isEmpty() && !m_watchLimitLogged) {
        m_watchLimitLogged = true;
        Log::line(QStringLiteral("Music library: not every folder can be watched for changes; use Rescan Music Library"));
    }
}

void MusicLibraryIndex::adopt(const std::shared_ptr<Snapshot>& snapshot)
{
    m_scanning = false;
    if (snapshot) {
        m_tracks = snapshot->tracks;
        m_playlists = snapshot->playlists;
        m_byID = snapshot->byID;
        m_lastReport = snapshot->report;
        watchFolders(snapshot->watchedFolders);
        emit libraryChanged();
    }
    emit scanFinished(m_lastReport);
    if (m_rescanQueued) {
        m_rescanQueued = false;
        startScan();
    }
}

namespace {

std::shared_ptr<MusicLibraryIndex::Snapshot> scanFolders(const QStringList& folders, const QString& databasePath,
                                                         const std::atomic<bool>& cancel, const ProgressFn& progress)
{
    auto snapshot = std::make_shared<MusicLibraryIndex::Snapshot>();
    MusicLibraryScanReport& report = snapshot->report;

    QList<FoundFile> audio, playlistFiles;
    QSet<QString> seen;
    for (const QString& folder : folders)
        if (QFileInfo(folder).isDir())
            listFolder(folder, audio, playlistFiles, seen, cancel);
    report.filesSeen = int(audio.size());
    QSet<QString> watched;
    for (const QString& folder : folders)
        if (QFileInfo(folder).isDir())
            watched.insert(QDir::cleanPath(QFileInfo(folder).absoluteFilePath()));
    for (const FoundFile& file : audio + playlistFiles)
        watched.insert(QFileInfo(file.path).path());
    snapshot->watchedFolders = std::move(watched);

    // Without a database the scan still lists the files, with new IDs each time.
    Database db;
    const bool stored = db.open(databasePath);

    std::map<QString, Row> rows; // by path
    std::map<quint64, Row*> byID;
    std::map<QString, PlaylistRow> storedPlaylists;
    if (stored) {
        if (sqlite3_stmt* s = db.prepare("SELECT id, path, size, mtime, title, artist, album, duration_ms, drm, present,"
                                         " missing_since FROM tracks")) {
            while (sqlite3_step(s) == SQLITE_ROW) {
                Row r{quint64(sqlite3_column_int64(s, 0)), columnText(s, 1), sqlite3_column_int64(s, 2),
                      sqlite3_column_int64(s, 3), columnText(s, 4), columnText(s, 5), columnText(s, 6),
                      sqlite3_column_int64(s, 7), sqlite3_column_int(s, 8) != 0, sqlite3_column_int(s, 9) != 0,
                      sqlite3_column_int64(s, 10), false};
                rows[r.path] = r;
            }
            sqlite3_finalize(s);
        }
        if (sqlite3_stmt* s = db.prepare("SELECT path, size, mtime, name, entries FROM playlists")) {
            while (sqlite3_step(s) == SQLITE_ROW) {
                PlaylistRow p{columnText(s, 0), sqlite3_column_int64(s, 1), sqlite3_column_int64(s, 2), columnText(s, 3), {}};
                const QString entries = columnText(s, 4);
                p.entries = entries.isEmpty() ? QStringList() : entries.split(QLatin1Char('\n'));
                storedPlaylists[p.path] = p;
            }
            sqlite3_finalize(s);
        }
    }
    for (auto& [path, row] : rows)
        byID[row.id] = &row;

    QSet<QString> found;
    for (const FoundFile& f : audio)
        found.insert(f.path);
    // Rows whose file is not where it was: the candidates for a renamed or moved file, by size so
    // that moving a whole folder stays linear.
    QMultiHash<qint64, Row*> vanished;
    for (auto& [path, row] : rows)
        if (!found.contains(path))
            vanished.insert(row.size, &row);

    const qint64 now = QDateTime::currentMSecsSinceEpoch();
    int done = 0;
    for (const FoundFile& f : audio) {
        if (cancel)
            return snapshot;
        if (++done % 50 == 0)
            progress(done, int(audio.size()));
        auto known = rows.find(f.path);
        if (known != rows.end() && known->second.size == f.size && known->second.mtime == f.mtime) {
            if (!known->second.present) {
                known->second.present = true;
                known->second.dirty = true;
            }
            continue;
        }
        const Tags tags = readTags(f.path);
        ++report.tagsRead;
        Row* row = nullptr;
        if (known != rows.end()) {
            row = &known->second;
        } else {
            for (auto it = vanished.find(f.size); it != vanished.end() && it.key() == f.size; ++it)
                if (sameTrack(**it, tags, f.size)) {
                    row = *it;
                    vanished.erase(it);
                    break;
                }
            if (row) {
                ++report.renamed;
                Row moved = *row;
                const QString oldPath = moved.path;
                moved.path = f.path;
                rows.erase(oldPath);
                row = &rows.emplace(f.path, moved).first->second;
                byID[row->id] = row;
            } else {
                Row fresh;
                fresh.id = newPersistentID(byID);
                fresh.path = f.path;
                row = &rows.emplace(f.path, fresh).first->second;
                byID[row->id] = row;
                ++report.added;
            }
        }
        row->size = f.size;
        row->mtime = f.mtime;
        row->title = tags.title;
        row->artist = tags.artist;
        row->album = tags.album;
        row->durationMs = tags.durationMs;
        row->drm = QFileInfo(f.path).suffix().compare(QLatin1String("m4p"), Qt::CaseInsensitive) == 0;
        row->present = true;
        row->missingSince = 0;
        row->dirty = true;
    }
    progress(done, int(audio.size()));

    QList<quint64> forgotten;
    for (Row* row : std::as_const(vanished)) {
        if (row->present) {
            row->present = false;
            row->missingSince = now;
            row->dirty = true;
            ++report.vanished;
        } else if (now - row->missingSince > kForgetMissingAfterMs) {
            forgotten.append(row->id);
        }
    }

    std::map<QString, PlaylistRow> playlists;
    for (const FoundFile& f : playlistFiles) {
        auto known = storedPlaylists.find(f.path);
        if (known != storedPlaylists.end() && known->second.size == f.size && known->second.mtime == f.mtime) {
            playlists[f.path] = known->second;
        } else {
            playlists[f.path] = readPlaylist(f);
            ++report.playlistsRead;
        }
    }

    if (stored && !cancel) {
        db.exec("BEGIN");
        sqlite3_stmt* del = db.prepare("DELETE FROM tracks WHERE id = ?");
        // REPLACE also drops the row a renamed track held under its old path.
        sqlite3_stmt* put = db.prepare("INSERT OR REPLACE INTO tracks(id, path, size, mtime, title, artist, album,"
                                       " duration_ms, drm, present, missing_since) VALUES(?,?,?,?,?,?,?,?,?,?,?)");
        for (quint64 id : forgotten) {
            sqlite3_bind_int64(del, 1, qint64(id));
            sqlite3_step(del);
            sqlite3_reset(del);
        }
        for (const auto& [path, row] : rows) {
            if (!row.dirty)
                continue;
            sqlite3_bind_int64(put, 1, qint64(row.id));
            bindText(put, 2, row.path);
            sqlite3_bind_int64(put, 3, row.size);
            sqlite3_bind_int64(put, 4, row.mtime);
            bindText(put, 5, row.title);
            bindText(put, 6, row.artist);
            bindText(put, 7, row.album);
            sqlite3_bind_int64(put, 8, row.durationMs);
            sqlite3_bind_int(put, 9, row.drm);
            sqlite3_bind_int(put, 10, row.present);
            sqlite3_bind_int64(put, 11, row.missingSince);
            sqlite3_step(put);
            sqlite3_reset(put);
        }
        sqlite3_finalize(del);
        sqlite3_finalize(put);
        db.exec("DELETE FROM playlists");
        if (sqlite3_stmt* s = db.prepare("INSERT INTO playlists(path, size, mtime, name, entries) VALUES(?,?,?,?,?)")) {
            for (const auto& [path, p] : playlists) {
                bindText(s, 1, p.path);
                sqlite3_bind_int64(s, 2, p.size);
                sqlite3_bind_int64(s, 3, p.mtime);
                bindText(s, 4, p.name);
                bindText(s, 5, p.entries.join(QLatin1Char('\n')));
                sqlite3_step(s);
                sqlite3_reset(s);
            }
            sqlite3_finalize(s);
        }
        if (!db.exec("COMMIT")) {
            Log::line(QStringLiteral("Music library index not saved: %1").arg(db.error()));
            db.exec("ROLLBACK");
        }
    }

    // The snapshot: present tracks in folder order, and every known ID for look-ups.
    QHash<QString, MusicLibraryTrackPtr> byPath;
    for (const auto& [path, row] : rows) {
        if (forgotten.contains(row.id))
            continue;
        auto track = std::make_shared<MusicLibraryTrack>();
        track->persistentID = row.id;
        // The tags are stored as found, so that an untagged file renamed still matches its old row.
        track->title = row.title.isEmpty() ? QFileInfo(row.path).completeBaseName() : row.title;
        track->artist = row.artist;
        track->album = row.album;
        track->totalTime = row.durationMs;
        track->path = row.path;
        track->isDRMProtected = row.drm;
        track->present = row.present;
        snapshot->byID.insert(row.id, track);
        byPath.insert(row.path, track);
    }
    for (const FoundFile& f : audio)
        if (const MusicLibraryTrackPtr track = byPath.value(f.path))
            snapshot->tracks.append(track);
    for (const FoundFile& f : playlistFiles) {
        const PlaylistRow& p = playlists[f.path];
        auto playlist = std::make_shared<MusicLibraryPlaylist>();
        playlist->name = p.name;
        playlist->path = p.path;
        for (const QString& entry : p.entries)
            if (const MusicLibraryTrackPtr track = byPath.value(entry))
                playlist->items.append(track);
        snapshot->playlists.append(playlist);
    }
    return snapshot;
}

} // namespace
