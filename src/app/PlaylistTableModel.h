#pragma once

#include <QAbstractTableModel>

#include <functional>

class LTMusicLibraryPlaylistManager;

// The selected playlist's items as rows of title and artist; the manager keeps the data.
class PlaylistTableModel : public QAbstractTableModel {
    Q_OBJECT
public:
    explicit PlaylistTableModel(LTMusicLibraryPlaylistManager* manager, QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
    void reload();

    // Rows leave as playlist items and are moved; songs and files come in as copies. Whoever owns
    // the playlist's current track decides and applies a drop: a move when fromPlaylist.
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    QStringList mimeTypes() const override;
    QMimeData* mimeData(const QModelIndexList& indexes) const override;
    Qt::DropActions supportedDragActions() const override { return Qt::MoveAction; }
    Qt::DropActions supportedDropActions() const override { return Qt::CopyAction | Qt::MoveAction; }
    bool canDropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                         const QModelIndex& parent) const override;
    bool dropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                      const QModelIndex& parent) override;
    std::function<Qt::DropAction(const QMimeData* data, bool fromPlaylist)> validateDrop;
    std::function<bool(const QMimeData* data, int row, bool fromPlaylist)> acceptDrop;

private:
    LTMusicLibraryPlaylistManager* m_manager;
};
