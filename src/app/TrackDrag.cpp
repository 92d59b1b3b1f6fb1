#include "app/TrackDrag.h"

#include <QMimeData>

namespace TrackDrag {
namespace {

QStringList lines(const QMimeData* data, const QString& type)
{
    QStringList result;
    if (!data || !data->hasFormat(type))
        return result;
    const QString text = QString::fromUtf8(data->data(type));
    for (const QString& line : text.split(QLatin1Char('\n'))) {
        // A URI list's "#" comment lines make no file URL, so they drop out later.
        const QString trimmed = line.trimmed();
        if (!trimmed.isEmpty())
            result.append(trimmed);
    }
    return result;
}

QByteArray joined(const QStringList& values)
{
    return values.join(QLatin1Char('\n')).toUtf8();
}

} // namespace

QMimeData* playlistRows(const QStringList& uuids, QObject* origin)
{
    auto* data = new QMimeData;
    data->setData(kPlaylistItemType, joined(uuids));
    data->setProperty(kDragOrigin, QVariant::fromValue(origin));
    return data;
}

QMimeData* librarySong(const QString& persistentID, const QString& urlString)
{
    if (persistentID.isEmpty() && urlString.isEmpty())
        return nullptr;
    auto* data = new QMimeData;
    if (!persistentID.isEmpty())
        data->setData(kLibraryEntryType, joined({persistentID}));
    if (!urlString.isEmpty()) {
        data->setData(kUriListType, urlString.toUtf8() + "\r\n");
        data->setData(kPlainTextType, urlString.toUtf8());
    }
    return data;
}

QStringList playlistItemUUIDs(const QMimeData* data)
{
    QStringList unique;
    for (const QString& uuid : lines(data, kPlaylistItemType))
        if (!unique.contains(uuid))
            unique.append(uuid);
    return unique;
}

bool hasPlaylistItems(const QMimeData* data)
{
    return data && data->hasFormat(kPlaylistItemType);
}

bool hasInsertableItems(const QMimeData* data)
{
    return data && (data->hasFormat(kLibraryEntryType) || data->hasFormat(kUriListType));
}

QList<Item> items(const QMimeData* data)
{
    const QStringList ids = lines(data, kLibraryEntryType);
    QStringList urls = lines(data, kUriListType);
    if (urls.isEmpty())
        urls = lines(data, kPlainTextType);
    QList<Item> result;
    for (qsizetype i = 0; i < std::max(ids.size(), urls.size()); ++i)
        result.append({ids.value(i), urls.value(i)});
    return result;
}

QUrl fileURL(const QString& urlString)
{
    QUrl url(urlString);
    // Qt keeps a URI list as URLs, so a plain path comes back percent-encoded.
    if (!url.isLocalFile() && urlString.startsWith(QLatin1Char('/')))
        url = QUrl::fromLocalFile(url.path(QUrl::FullyDecoded));
    return url.isLocalFile() ? url : QUrl();
}

} // namespace TrackDrag
