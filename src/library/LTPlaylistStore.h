#pragma once

#include "library/LTPlaylist.h"
#include "library/LTPlaylistItem.h"

#include <QList>
#include <QString>
#include <QUrl>

#include <functional>

class LTMusicLibraryEntry;

// The list of playlists and the selected one, kept in one JSON file. Main thread only; nothing
// but loadPlaylists and savePlaylists touches the file.
class LTPlaylistStore {
public:
    static constexpr qint64 NSNotFound = 0x7FFFFFFFFFFFFFFF;
    using ResolvedURLBlock = std::function<QUrl(const LTPlaylistItemPtr&)>;

    // `folder` holds playlists.json; empty means the application's data folder.
    explicit LTPlaylistStore(QString folder = {});

    // The folder is made when missing, on every call.
    QString playlistStorePath() const;
    QString backupPath() const { return playlistStorePath() + QStringLiteral(".bak"); }

    void loadPlaylists();
    // False when the file could not be written; the playlists in memory stay as they are.
    bool savePlaylists();

    void ensureActivePlaylistSelection();
    LTPlaylistPtr selectedPlaylist();
    QList<LTPlaylistPtr> allPlaylists();
    void addPlaylist(const LTPlaylistPtr& playlist);
    void removePlaylistAtIndex(qint64 index);
    void selectPlaylistAtIndex(qint64 index);
    qint64 currentPlaylistIndex();
    // The index as it stands, without restoring the selection.
    qint64 selectedPlaylistIndex() const { return m_selectedPlaylistIndex; }

    static LTPlaylistItemPtr playlistItemFromMusicEntry(const LTMusicLibraryEntry& entry);
    static LTPlaylistItemPtr playlistItemFromFileURL(const QUrl& url);

    static QString normalizedPathForItem(const LTPlaylistItemPtr& item, const ResolvedURLBlock& resolvedURLBlock);
    static bool playlistContainsEquivalentItem(const LTPlaylistPtr& playlist, const LTPlaylistItemPtr& item,
                                               const ResolvedURLBlock& resolvedURLBlock);

private:
    void startAfresh();

    QString m_folder;
    QList<LTPlaylistPtr> m_playlists;
    qint64 m_selectedPlaylistIndex = NSNotFound;
};
