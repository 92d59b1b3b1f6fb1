// Tracks dragged into the playlist: its own rows moved, library songs and files inserted.
#include "app/ViewController.h"

#include "app/PlaylistTableModel.h"
#include "app/TrackDrag.h"
#include "library/LTMusicLibraryPlaylistManager.h"

#include <QItemSelection>
#include <QMimeData>
#include <QTableView>

#include <algorithm>

Qt::DropAction ViewController::validatePlaylistDrop(const QMimeData* data, bool fromPlaylist)
{
    if (fromPlaylist && TrackDrag::hasPlaylistItems(data))
        return Qt::MoveAction;
    return TrackDrag::hasInsertableItems(data) ? Qt::CopyAction : Qt::IgnoreAction;
}

bool ViewController::acceptPlaylistDrop(const QMimeData* data, int row, bool fromPlaylist)
{
    const LTPlaylistPtr playlist = m_libraryPlaylistManager->selectedPlaylist();
    if (!playlist)
        return false;
    const int count = int(playlist->items().size());
    if (row < 0 || row > count)
        row = count;
    if (fromPlaylist && TrackDrag::hasPlaylistItems(data))
        return movePlaylistRows(TrackDrag::playlistItemUUIDs(data), row);
    return insertDroppedTracks(data, row);
}

bool ViewController::movePlaylistRows(const QStringList& uuids, int row)
{
    const LTPlaylistPtr playlist = m_libraryPlaylistManager->selectedPlaylist();
    QList<LTPlaylistItemPtr>& items = playlist->items();
    // The moved rows keep their order in the list, not the order they were picked in.
    QList<int> rows;
    QList<LTPlaylistItemPtr> moved;
    for (int i = 0; i < items.size(); ++i) {
        if (uuids.contains(items[i]->uuid())) {
            rows.append(i);
            moved.append(items[i]);
        }
    }
    if (moved.isEmpty())
        return false;
    const LTPlaylistItemPtr current =
        m_currentTrackIndex != NotFound && m_currentTrackIndex < items.size() ? items[m_currentTrackIndex] : nullptr;
    const int above = int(std::count_if(rows.begin(), rows.end(), [row](int r) { return r < row; }));
    const int target = std::clamp(row - above, 0, int(items.size() - moved.size()));
    for (auto it = rows.rbegin(); it != rows.rend(); ++it)
        items.removeAt(*it);
    for (int i = 0; i < moved.size(); ++i)
        items.insert(target + i, moved[i]);

    if (current) {
        m_currentTrackIndex = items.indexOf(current);
    } else if (!m_currentPlayingItemUUID.isEmpty()) {
        m_currentTrackIndex = NotFound;
        const auto found = std::find_if(items.begin(), items.end(),
                                        [this](const LTPlaylistItemPtr& item) { return item->uuid() == m_currentPlayingItemUUID; });
        if (found != items.end())
            m_currentTrackIndex = found - items.begin();
    }
    reloadPlaylistUI();
    const QItemSelection selection(m_playlistModel->index(target, 0),
                                   m_playlistModel->index(target + int(moved.size()) - 1, m_playlistModel->columnCount() - 1));
    m_playlistTracksTableView->selectionModel()->select(selection, QItemSelectionModel::ClearAndSelect);
    m_playlistTracksTableView->scrollTo(m_playlistModel->index(target, 0));
    return true;
}

bool ViewController::insertDroppedTracks(const QMimeData* data, int row)
{
    const LTPlaylistPtr playlist = m_libraryPlaylistManager->selectedPlaylist();
    const int firstRow = row;
    int inserted = 0;
    for (const TrackDrag::Item& dropped : TrackDrag::items(data)) {
        LTPlaylistItemPtr item;
        if (!dropped.libraryEntryID.isEmpty()) {
            const auto& entries = m_libraryPlaylistManager->musicFilteredEntries();
            const auto entry = std::find_if(entries.begin(), entries.end(), [&](const LTMusicLibraryEntryPtr& e) {
                return e->persistentID() == dropped.libraryEntryID;
            });
            if (entry != entries.end())
                item = LTMusicLibraryPlaylistManager::playlistItemFromMusicEntry(**entry);
        }
        if (!item) {
            const QUrl url = TrackDrag::fileURL(dropped.urlString);
            if (url.isEmpty())
                continue;
            item = LTMusicLibraryPlaylistManager::playlistItemFromFileURL(url);
        }
        // A playlist holds no duplicate by drop.
        if (!item || m_libraryPlaylistManager->playlistContainsEquivalentItem(playlist, item))
            continue;
        row = std::min(row, int(playlist->items().size()));
        playlist->items().insert(row++, item);
        ++inserted;
    }
    if (inserted == 0)
        return false;
    if (m_currentTrackIndex != NotFound && firstRow <= m_currentTrackIndex)
        m_currentTrackIndex += inserted;
    reloadPlaylistUI();
    return true;
}
