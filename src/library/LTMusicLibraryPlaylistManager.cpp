#include "library/LTMusicLibraryPlaylistManager.h"

#include "library/FileBookmark.h"

#include <QFileInfo>

namespace {

// A URL that can be used as it stands: a local file that is there, or something not a file.
bool usable(const QUrl& url)
{
    return url.isValid() && !url.isEmpty() && (!url.isLocalFile() || QFileInfo(url.toLocalFile()).isFile());
}

} // namespace

LTMusicLibraryPlaylistManager::LTMusicLibraryPlaylistManager(QString storeFolder, std::unique_ptr<MusicLibraryIndex> index)
    : m_playlistStore(std::move(storeFolder)), m_musicLibraryBrowser(std::move(index))
{
}

QUrl LTMusicLibraryPlaylistManager::resolveLocationForMusicEntry(const LTMusicLibraryEntryPtr& entry, bool wantBookmark)
{
    if (!entry)
        return {};
    const QUrl known = entry->location();
    if (known.isLocalFile() && QFileInfo(known.toLocalFile()).isFile())
        return known;
    MusicLibraryTrackPtr item = entry->mediaItem();
    if (!item && !entry->persistentID().isEmpty())
        item = mediaItemForPersistentID(entry->persistentID());
    QString reason = QStringLiteral("");
    const QUrl url = LTMusicLibraryBrowser::resolveFileURLForMusicMediaItem(item, &reason);
    if (url.isEmpty()) {
        entry->setAvailable(false);
        entry->setUnavailableReason(reason.isNull() ? QStringLiteral("File unavailable") : reason);
        return {};
    }
    entry->setAvailable(true);
    entry->setUnavailableReason(QStringLiteral(""));
    entry->setLocation(url);
    if (wantBookmark && entry->bookmarkData().isEmpty()) {
        const QByteArray bookmark = FileBookmark::bookmarkDataFromURL(url);
        if (!bookmark.isEmpty())
            entry->setBookmarkData(bookmark);
    }
    return url;
}

QUrl LTMusicLibraryPlaylistManager::resolvedURLForPlaylistItem(const LTPlaylistItemPtr& item, bool wantBookmark)
{
    if (!item)
        return {};
    // The bookmark first: it follows a file that was moved. A stale one stays in use when no
    // fresh one can be made; errors only send us on to the next source.
    if (!item->bookmarkData().isEmpty()) {
        bool stale = false;
        const QUrl url = FileBookmark::URLByResolvingBookmarkData(item->bookmarkData(), &stale, nullptr);
        if (usable(url)) {
            if (stale && wantBookmark) {
                const QByteArray fresh = FileBookmark::bookmarkDataFromURL(url);
                if (!fresh.isEmpty())
                    item->setBookmarkData(fresh);
            }
            return url;
        }
    }
    if (!item->fileURLString().isEmpty()) {
        const QUrl url(item->fileURLString());
        if (usable(url))
            return url;
    }
    // A plain file that has gone is the caller's to mark.
    if (item->sourceType() != 1 || item->musicPersistentID().isEmpty())
        return {};
    QString reason = QStringLiteral("");
    const QUrl url = LTMusicLibraryBrowser::resolveFileURLForMusicMediaItem(
        mediaItemForPersistentID(item->musicPersistentID()), &reason);
    if (url.isEmpty()) {
        item->setUnavailable(true);
        item->setUnavailableReason(reason.isNull() ? QStringLiteral("File unavailable") : reason);
        return {};
    }
    // The library knew where the track is now: heal what the item stores.
    item->setFileURLString(url.toString(QUrl::FullyEncoded));
    if (wantBookmark) {
        const QByteArray fresh = FileBookmark::bookmarkDataFromURL(url);
        if (!fresh.isEmpty())
            item->setBookmarkData(fresh);
    }
    item->setUnavailable(false);
    item->setUnavailableReason(QStringLiteral(""));
    return url;
}

bool LTMusicLibraryPlaylistManager::playlistContainsEquivalentItem(const LTPlaylistPtr& playlist, const LTPlaylistItemPtr& item)
{
    return LTPlaylistStore::playlistContainsEquivalentItem(
        playlist, item, [this](const LTPlaylistItemPtr& i) { return resolvedURLForPlaylistItem(i, false); });
}
