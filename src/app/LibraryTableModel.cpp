#include "app/LibraryTableModel.h"

#include "app/TrackDrag.h"
#include "library/LTMusicLibraryPlaylistManager.h"

#include <QApplication>
#include <QPalette>

LibraryTableModel::LibraryTableModel(LTMusicLibraryPlaylistManager* manager, QObject* parent)
    : QAbstractTableModel(parent), m_manager(manager)
{
}

int LibraryTableModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : int(m_manager->musicFilteredEntries().size());
}

int LibraryTableModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : 2;
}

QVariant LibraryTableModel::data(const QModelIndex& index, int role) const
{
    const auto& entries = m_manager->musicFilteredEntries();
    if (!index.isValid() || index.row() >= entries.size())
        return {};
    const LTMusicLibraryEntryPtr& entry = entries[index.row()];
    const bool available = entry->isAvailable();
    const QString reason = entry->unavailableReason().isEmpty() ? tr("Unavailable") : entry->unavailableReason();
    switch (role) {
    case Qt::DisplayRole: {
        if (index.column() == 1)
            return entry->artist();
        QString text = entry->displayName().isEmpty() ? QStringLiteral("Song") : entry->displayName();
        if (!available)
            text += QStringLiteral(" (%1)").arg(reason);
        return text;
    }
    case Qt::ToolTipRole:
        return available ? QVariant() : QVariant(reason);
    case Qt::ForegroundRole:
        if (!available)
            return QApplication::palette().color(QPalette::Disabled, QPalette::Text);
        return {};
    default:
        return {};
    }
}

QVariant LibraryTableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return QAbstractTableModel::headerData(section, orientation, role);
    return section == 0 ? QStringLiteral("Title") : QStringLiteral("Artist");
}

Qt::ItemFlags LibraryTableModel::flags(const QModelIndex& index) const
{
    const auto& entries = m_manager->musicFilteredEntries();
    if (!index.isValid() || index.row() >= entries.size())
        return Qt::NoItemFlags;
    // A song that can't be played can't be picked either; its reason stays readable.
    if (!entries[index.row()]->isAvailable())
        return Qt::ItemIsEnabled;
    return Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsDragEnabled;
}

void LibraryTableModel::reload()
{
    beginResetModel();
    endResetModel();
}

QStringList LibraryTableModel::mimeTypes() const
{
    return {TrackDrag::kLibraryEntryType, TrackDrag::kUriListType, TrackDrag::kPlainTextType};
}

QMimeData* LibraryTableModel::mimeData(const QModelIndexList& indexes) const
{
    const auto& entries = m_manager->musicFilteredEntries();
    if (indexes.isEmpty() || !indexes.first().isValid() || indexes.first().row() >= entries.size())
        return nullptr;
    const LTMusicLibraryEntryPtr entry = entries[indexes.first().row()];
    const QUrl url = m_manager->resolveLocationForMusicEntry(entry, false);
    return TrackDrag::librarySong(entry->persistentID(), url.isEmpty() ? QString() : url.toString());
}
