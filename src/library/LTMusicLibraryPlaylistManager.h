#pragma once

#include "library/LTMusicLibraryBrowser.h"
#include "library/LTPlaylistStore.h"

#include <QUrl>

#include <memory>

// The one way from the window to the playlists and the library. Passes most calls through, and
// alone turns an item or entry into a URL that can be opened now, healing stored URLs, bookmarks
// and availability on the way. Main thread only; it never saves: the caller's next savePlaylists
// stores what a resolve changed.
class LTMusicLibraryPlaylistManager {
public:
    // Empty storeFolder: the application's data folder. No index: one over the Music folder.
    explicit LTMusicLibraryPlaylistManager(QString storeFolder = {}, std::unique_ptr<MusicLibraryIndex> index = {});

    LTPlaylistStore& playlistStore() { return m_playlistStore; }
    LTMusicLibraryBrowser& musicLibraryBrowser() { return m_musicLibraryBrowser; }

    MusicLibraryIndex* musicLibrary() const { return m_musicLibraryBrowser.musicLibrary(); }
    const QList<LTMusicLibraryEntryPtr>& musicFilteredEntries() const { return m_musicLibraryBrowser.musicFilteredEntries(); }
    const QList<MusicLibraryPlaylistPtr>& musicLibraryPlaylists() const { return m_musicLibraryBrowser.musicLibraryPlaylists(); }
    qint64 selectedMusicSourceIndex() const { return m_musicLibraryBrowser.selectedMusicSourceIndex(); }

    QString playlistStorePath() const { return m_playlistStore.playlistStorePath(); }
    bool savePlaylists() { return m_playlistStore.savePlaylists(); }
    void loadPlaylists() { m_playlistStore.loadPlaylists(); }
    LTPlaylistPtr selectedPlaylist() { return m_playlistStore.selectedPlaylist(); }
    QList<LTPlaylistPtr> allPlaylists() { return m_playlistStore.allPlaylists(); }
    void addPlaylist(const LTPlaylistPtr& playlist) { m_playlistStore.addPlaylist(playlist); }
    void removePlaylistAtIndex(qint64 index) { m_playlistStore.removePlaylistAtIndex(index); }
    void selectPlaylistAtIndex(qint64 index) { m_playlistStore.selectPlaylistAtIndex(index); }
    qint64 currentPlaylistIndex() { return m_playlistStore.currentPlaylistIndex(); }
    static LTPlaylistItemPtr playlistItemFromMusicEntry(const LTMusicLibraryEntry& entry)
    {
        return LTPlaylistStore::playlistItemFromMusicEntry(entry);
    }
    static LTPlaylistItemPtr playlistItemFromFileURL(const QUrl& url) { return LTPlaylistStore::playlistItemFromFileURL(url); }

    MusicLibraryTrackPtr mediaItemForPersistentID(const QString& id) const
    {
        return m_musicLibraryBrowser.mediaItemForPersistentID(id);
    }
    static QUrl resolveFileURLForMusicMediaItem(const MusicLibraryTrackPtr& item, QString* reason)
    {
        return LTMusicLibraryBrowser::resolveFileURLForMusicMediaItem(item, reason);
    }
    static QString availabilityReasonForMediaItem(const MusicLibraryTrackPtr& item)
    {
        return LTMusicLibraryBrowser::availabilityReasonForMediaItem(item);
    }
    void reloadMusicLibrary() { m_musicLibraryBrowser.reloadMusicLibrary(); }
    QStringList librarySourceTitles() const { return m_musicLibraryBrowser.librarySourceTitles(); }
    void selectMusicSourceAtIndex(qint64 index) { m_musicLibraryBrowser.selectMusicSourceAtIndex(index); }
    void applyMusicFilterWithQuery(const QString& query) { m_musicLibraryBrowser.applyMusicFilterWithQuery(query); }

    // An empty URL when the entry can't be played now; its availability and reason are then set.
    QUrl resolveLocationForMusicEntry(const LTMusicLibraryEntryPtr& entry, bool updateBookmarkIfNeeded);
    // Tries the bookmark, then the stored URL, then (library items) the library by persistent ID.
    QUrl resolvedURLForPlaylistItem(const LTPlaylistItemPtr& item, bool updateBookmarkIfNeeded);
    // Compares without rewriting bookmarks.
    bool playlistContainsEquivalentItem(const LTPlaylistPtr& playlist, const LTPlaylistItemPtr& item);

private:
    LTPlaylistStore m_playlistStore;
    LTMusicLibraryBrowser m_musicLibraryBrowser;
};
