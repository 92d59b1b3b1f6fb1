#include "library/LTMusicLibraryBrowser.h"

#include <QFileInfo>

LTMusicLibraryBrowser::LTMusicLibraryBrowser(std::unique_ptr<MusicLibraryIndex> index)
    : m_musicLibrary(index ? std::move(index) : std::make_unique<MusicLibraryIndex>())
{
}

bool LTMusicLibraryBrowser::isSongLikeMediaItem(const MusicLibraryTrackPtr& item)
{
    return item && !item->isVideo;
}

bool LTMusicLibraryBrowser::isUserVisiblePlaylist(const MusicLibraryPlaylistPtr& playlist)
{
    return playlist && !QFileInfo(playlist->path).fileName().startsWith(QLatin1Char('.'));
}

MusicLibraryTrackPtr LTMusicLibraryBrowser::mediaItemForPersistentID(const QString& persistentID) const
{
    if (persistentID.isEmpty())
        return nullptr;
    if (MusicLibraryTrackPtr hit = m_musicItemByPersistentID.value(persistentID))
        return hit;
    // Also finds tracks whose file has gone, which the table doesn't list.
    return m_musicLibrary->trackForPersistentID(persistentID);
}

QUrl LTMusicLibraryBrowser::resolveFileURLForMusicMediaItem(const MusicLibraryTrackPtr& item, QString* unavailableReason)
{
    const auto give = [&](const char* reason) {
        if (unavailableReason)
            *unavailableReason = QLatin1String(reason);
        return QUrl();
    };
    if (!item)
        return give("Missing media item");
    if (item->isDRMProtected)
        return give("DRM protected");
    if (item->path.isEmpty())
        return give("File unavailable");
    if (!QFileInfo(item->path).isFile())
        return give("Missing local file");
    return item->location();
}

QString LTMusicLibraryBrowser::availabilityReasonForMediaItem(const MusicLibraryTrackPtr& item)
{
    if (!item)
        return QStringLiteral("Missing media item");
    if (item->isDRMProtected)
        return QStringLiteral("DRM protected");
    if (item->path.isEmpty())
        return QStringLiteral("File unavailable");
    return QStringLiteral("");
}

void LTMusicLibraryBrowser::reloadMusicLibrary()
{
    m_musicAllEntries.clear();
    m_musicFilteredEntriesStorage.clear();
    m_musicLibraryPlaylistsStorage.clear();
    m_musicItemByPersistentID.clear();
    m_musicSourceItems.clear();
    m_selectedMusicSourceIndex = 0;
    for (const MusicLibraryTrackPtr& item : m_musicLibrary->allMediaItems())
        m_musicItemByPersistentID.insert(item->persistentIDString(), item);
    for (const MusicLibraryPlaylistPtr& playlist : m_musicLibrary->allPlaylists())
        if (isUserVisiblePlaylist(playlist))
            m_musicLibraryPlaylistsStorage.append(playlist);
    selectMusicSourceAtIndex(0);
}

QStringList LTMusicLibraryBrowser::librarySourceTitles() const
{
    QStringList titles{QStringLiteral("Library")};
    for (const MusicLibraryPlaylistPtr& playlist : m_musicLibraryPlaylistsStorage)
        titles << (playlist->name.isEmpty() ? QStringLiteral("Playlist") : playlist->name);
    return titles;
}

void LTMusicLibraryBrowser::selectMusicSourceAtIndex(qint64 index)
{
    if (index < 0 || index > m_musicLibraryPlaylistsStorage.size())
        index = 0;
    m_selectedMusicSourceIndex = index;
    m_musicSourceItems = index > 0 ? m_musicLibraryPlaylistsStorage.at(index - 1)->items : m_musicLibrary->allMediaItems();
    m_musicAllEntries.clear();
    for (const MusicLibraryTrackPtr& item : m_musicSourceItems) {
        if (!isSongLikeMediaItem(item))
            continue;
        auto entry = std::make_shared<LTMusicLibraryEntry>();
        entry->setDisplayName(item->title.isEmpty() ? QStringLiteral("Unknown Track") : item->title);
        entry->setArtist(item->artist);
        entry->setAlbum(item->album);
        entry->setPersistentID(item->persistentIDString());
        entry->setMediaItem(item);
        entry->setDuration(double(item->totalTime) / 1000.0);
        const QString reason = availabilityReasonForMediaItem(item);
        entry->setAvailable(reason.isEmpty());
        entry->setUnavailableReason(reason);
        m_musicAllEntries.append(entry);
    }
    applyMusicFilterWithQuery(m_currentFilterQuery);
}

void LTMusicLibraryBrowser::applyMusicFilterWithQuery(const QString& query)
{
    m_currentFilterQuery = query.isNull() ? QStringLiteral("") : query;
    const QString needle = m_currentFilterQuery.toLower();
    m_musicFilteredEntriesStorage.clear();
    for (const LTMusicLibraryEntryPtr& entry : m_musicAllEntries) {
        // One text of the three fields, so a query may run from the artist into the album.
        if (needle.isEmpty()
            || QStringLiteral("%1 %2 %3").arg(entry->displayName(), entry->artist(), entry->album()).toLower().contains(needle))
            m_musicFilteredEntriesStorage.append(entry);
    }
}
