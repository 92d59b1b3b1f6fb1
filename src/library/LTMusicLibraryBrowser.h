#pragma once

#include "library/LTMusicLibraryEntry.h"
#include "library/MusicLibraryIndex.h"

#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <memory>

// The library table's data: a list of sources (the whole library, then each playlist), the
// entries of the selected one, and those that pass the search filter. Reads only the index's
// finished snapshot, so every call returns at once; reloadMusicLibrary picks up a newer snapshot
// (connect it to MusicLibraryIndex::libraryChanged).
class LTMusicLibraryBrowser {
public:
    // Without an index, one over the user's Music folder is made; the browser owns it.
    explicit LTMusicLibraryBrowser(std::unique_ptr<MusicLibraryIndex> index = {});

    MusicLibraryIndex* musicLibrary() const { return m_musicLibrary.get(); }
    qint64 selectedMusicSourceIndex() const { return m_selectedMusicSourceIndex; }
    const QList<LTMusicLibraryEntryPtr>& musicAllEntries() const { return m_musicAllEntries; }
    const QList<LTMusicLibraryEntryPtr>& musicFilteredEntries() const { return m_musicFilteredEntriesStorage; }
    const QList<MusicLibraryPlaylistPtr>& musicLibraryPlaylists() const { return m_musicLibraryPlaylistsStorage; }
    QString currentFilterQuery() const { return m_currentFilterQuery; }

    static bool isSongLikeMediaItem(const MusicLibraryTrackPtr& item);
    static bool isUserVisiblePlaylist(const MusicLibraryPlaylistPtr& playlist);
    MusicLibraryTrackPtr mediaItemForPersistentID(const QString& persistentID) const;
    // A URL of a local file that is there, or an empty URL and *unavailableReason (may be null).
    static QUrl resolveFileURLForMusicMediaItem(const MusicLibraryTrackPtr& item, QString* unavailableReason);
    // Cheap: never touches the disk. "" when the track looks playable.
    static QString availabilityReasonForMediaItem(const MusicLibraryTrackPtr& item);

    void reloadMusicLibrary();
    QStringList librarySourceTitles() const;
    void selectMusicSourceAtIndex(qint64 index);
    void applyMusicFilterWithQuery(const QString& query);

private:
    std::unique_ptr<MusicLibraryIndex> m_musicLibrary;
    qint64 m_selectedMusicSourceIndex = 0;
    QList<LTMusicLibraryEntryPtr> m_musicAllEntries;
    QList<LTMusicLibraryEntryPtr> m_musicFilteredEntriesStorage;
    QList<MusicLibraryPlaylistPtr> m_musicLibraryPlaylistsStorage;
    QList<MusicLibraryTrackPtr> m_musicSourceItems;
    QHash<QString, MusicLibraryTrackPtr> m_musicItemByPersistentID;
    QString m_currentFilterQuery = QStringLiteral("");
};
