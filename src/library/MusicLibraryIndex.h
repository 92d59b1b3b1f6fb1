#pragma once

#include <QFileSystemWatcher>
#include <QFuture>
#include <QHash>
#include <QList>
#include <QObject>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QTimer>
#include <QUrl>

#include <atomic>
#include <memory>

// One track of the music library as the last scan saw it. Shared read-only between the index's
// snapshots and the entries built from them.
struct MusicLibraryTrack {
    quint64 persistentID = 0; // stable across rescans and renames; never 0
    QString title;            // the tag, or the file name without extension where it has none
    QString artist;
    QString album;
    qint64 totalTime = 0;     // milliseconds, from the tags' audio properties
    QString path;             // absolute
    bool isDRMProtected = false;
    bool isVideo = false;     // always false: video files are not indexed
    bool present = true;      // false once the file has gone; kept so that its ID still answers

    QString persistentIDString() const { return QString::number(persistentID); }
    QUrl location() const { return QUrl::fromLocalFile(path); }
};
using MusicLibraryTrackPtr = std::shared_ptr<const MusicLibraryTrack>;

// An .m3u or .m3u8 file found in the library folders.
struct MusicLibraryPlaylist {
    QString name; // #PLAYLIST: line, else the file name without extension
    QString path;
    QList<MusicLibraryTrackPtr> items; // entries that name an indexed track, in file order
};
using MusicLibraryPlaylistPtr = std::shared_ptr<const MusicLibraryPlaylist>;

struct MusicLibraryScanReport {
    int filesSeen = 0;   // audio files found
    int tagsRead = 0;    // files whose tags were read: new or changed ones
    int added = 0;       // tracks given a new ID
    int renamed = 0;     // new paths that kept the ID of a vanished file
    int vanished = 0;    // tracks whose file went missing in this scan
    int playlistsRead = 0;
};
Q_DECLARE_METATYPE(MusicLibraryScanReport)

// The Music folder and further folders, indexed with TagLib into SQLite. Scans run on a pool
// thread with their own database connection; this object (GUI thread) only swaps in the finished
// snapshot, so reading it never waits for the disk. A later scan reads the tags only of files
// whose size or modification time changed. The scanned folders are watched: a change in them
// brings a rescan a moment later.
class MusicLibraryIndex : public QObject {
    Q_OBJECT
public:
    // Empty folders: the user's Music folder. Empty databasePath: "music-library.sqlite" in the
    // application's data folder. Nothing is read until rescan().
    explicit MusicLibraryIndex(QStringList folders = {}, QString databasePath = {}, QObject* parent = nullptr);
    ~MusicLibraryIndex() override;

    QStringList folders() const { return m_folders; }
    void setFolders(const QStringList& folders); // takes effect at the next rescan
    QString databasePath() const { return m_databasePath; }

    // Starts a scan and returns at once; a call during a scan queues one more after it.
    void rescan();
    bool isScanning() const { return m_scanning; }

    // The present tracks, ordered by folder, then path.
    QList<MusicLibraryTrackPtr> allMediaItems() const { return m_tracks; }
    QList<MusicLibraryPlaylistPtr> allPlaylists() const { return m_playlists; }
    // Also knows tracks whose file has gone, so that they resolve to "Missing local file".
    MusicLibraryTrackPtr trackForPersistentID(const QString& decimalID) const;
    MusicLibraryScanReport lastScanReport() const { return m_lastReport; }

    static bool isAudioFileName(const QString& fileName);
    static bool isPlaylistFileName(const QString& fileName);

signals:
    void scanProgress(int filesDone, int filesTotal);
    // A new snapshot is in place.
    void libraryChanged();
    void scanFinished(const MusicLibraryScanReport& report);

public:
    struct Snapshot; // what a finished scan hands over

private:
    void startScan();
    void adopt(const std::shared_ptr<Snapshot>& snapshot);
    void watchFolders(const QSet<QString>& folders);

    static constexpr int kChangeSettleMs = 1000;

    QStringList m_folders;
    QString m_databasePath;
    QList<MusicLibraryTrackPtr> m_tracks;
    QList<MusicLibraryPlaylistPtr> m_playlists;
    QHash<quint64, MusicLibraryTrackPtr> m_byID;
    MusicLibraryScanReport m_lastReport;
    bool m_scanning = false;
    bool m_rescanQueued = false;
    std::shared_ptr<std::atomic<bool>> m_cancel;
    QFuture<void> m_scan;
    QFileSystemWatcher m_watcher;
    QTimer m_changeSettle;
    bool m_watchLimitLogged = false;
};
