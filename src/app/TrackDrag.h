#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <QUrl>

class QMimeData;

// What the track tables put on a drag and read back from a drop. A drag holds a list of items,
// each a library song, a playlist row, or a file, as the types below.
namespace TrackDrag {

inline const QString kLibraryEntryType = QStringLiteral("com.mossgarden.lento.library-entry");
inline const QString kPlaylistItemType = QStringLiteral("com.mossgarden.lento.playlist-item");
inline const QString kUriListType = QStringLiteral("text/uri-list");
inline const QString kPlainTextType = QStringLiteral("text/plain");
// The property naming the model a drag's data came from.
inline constexpr char kDragOrigin[] = "lentoDragOrigin";

struct Item {
    QString libraryEntryID;
    QString urlString;
};

QMimeData* playlistRows(const QStringList& uuids, QObject* origin);
// Null when the song has neither an ID nor a file.
QMimeData* librarySong(const QString& persistentID, const QString& urlString);

QStringList playlistItemUUIDs(const QMimeData* data);
bool hasPlaylistItems(const QMimeData* data);
bool hasInsertableItems(const QMimeData* data);
// The drag's items in order; a library drag pairs each ID with its file.
QList<Item> items(const QMimeData* data);
// A file URL from a URL string, or a path given as text; empty for anything else.
QUrl fileURL(const QString& urlString);

} // namespace TrackDrag
