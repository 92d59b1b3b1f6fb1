#include "app/PlaylistTableModel.h"

#include "app/TrackDrag.h"
#include "library/LTMusicLibraryPlaylistManager.h"

#include <QApplication>
#include <QMimeData>
#include <QPalette>

#include <set>

PlaylistTableModel::PlaylistTableModel(LTMusicLibraryPlaylistManager* manager, QObject* parent)
    : QAbstractTableModel(parent), m_manager(manager)
{
}

int PlaylistTableModel::rowCount(const QModelIndex& parent) const
{
    const LTPlaylistPtr playlist = m_manager->selectedPlaylist();
    return parent.isValid() || !playlist ? 0 : int(playlist->items().size());
}

int PlaylistTableModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : 2;
}

QVariant PlaylistTableModel::data(const QModelIndex& index, int role) const
{
    const LTPlaylistPtr playlist = m_manager->selectedPlaylist();
    if (!playlist || !index.isValid() || index.row() >= playlist->items().size())
        return {};
    const LTPlaylistItemPtr& item = playlist->items()[index.row()];
    const bool unavailable = item->isUnavailable();
    const QString reason = item->unavailableReason().isEmpty() ? tr("Unavailable") : item->unavailableReason();
    switch (role) {
    case Qt::DisplayRole: {
        if (index.column() == 1)
            return item->artist();
        QString text = item->displayName().isEmpty() ? QStringLiteral("Track") : item->displayName();
        if (unavailable)
            text += QStringLiteral(" (%1)").arg(reason);
        return text;
    }
    case Qt::ToolTipRole:
        return unavailable ? QVariant(reason) : QVariant();
    case Qt::ForegroundRole:
        if (unavailable)
            return QApplication::palette().color(QPalette::Disabled, QPalette::Text);
        return {};
    default:
        return {};
    }
}

QVariant PlaylistTableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return QAbstractTableModel::headerData(section, orientation, role);
    return section == 0 ? QStringLiteral("Title") : QStringLiteral("Artist");
}

void PlaylistTableModel::reload()
{
    beginResetModel();
    endResetModel();
}

Qt::ItemFlags PlaylistTableModel::flags(const QModelIndex& index) const
{
    // Only the table itself takes drops, so a row is never dropped on, only between.
    if (!index.isValid())
        return Qt::ItemIsDropEnabled;
    return QAbstractTableModel::flags(index) | Qt::ItemIsDragEnabled;
}

QStringList PlaylistTableModel::mimeTypes() const
{
    return {TrackDrag::kPlaylistItemType, TrackDrag::kLibraryEntryType, TrackDrag::kUriListType};
}

QMimeData* PlaylistTableModel::mimeData(const QModelIndexList& indexes) const
{
    const LTPlaylistPtr playlist = m_manager->selectedPlaylist();
    if (!playlist)
        return nullptr;
    std::set<int> rows;
    for (const QModelIndex& index : indexes)
        if (index.isValid() && index.row() < playlist->items().size())
            rows.insert(index.row());
    QStringList uuids;
    for (const int row : rows)
        if (!playlist->items()[row]->uuid().isEmpty())
            uuids.append(playlist->items()[row]->uuid());
    return uuids.isEmpty() ? nullptr : TrackDrag::playlistRows(uuids, const_cast<PlaylistTableModel*>(this));
}

bool PlaylistTableModel::canDropMimeData(const QMimeData* data, Qt::DropAction action, int, int,
                                         const QModelIndex& parent) const
{
    return !parent.isValid() && validateDrop && validateDrop(data, action == Qt::MoveAction) != Qt::IgnoreAction;
}

bool PlaylistTableModel::dropMimeData(const QMimeData* data, Qt::DropAction action, int row, int,
                                      const QModelIndex& parent)
{
    return !parent.isValid() && acceptDrop && acceptDrop(data, row, action == Qt::MoveAction);
}
