#pragma once

#include <QAbstractTableModel>

class LTMusicLibraryPlaylistManager;

// The library's filtered songs as rows of title and artist; the manager keeps the data.
class LibraryTableModel : public QAbstractTableModel {
    Q_OBJECT
public:
    explicit LibraryTableModel(LTMusicLibraryPlaylistManager* manager, QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    void reload();

    // A song leaves as its library ID and, when it has one, its file, so that the playlist, the
    // wave and other applications can each take it.
    QStringList mimeTypes() const override;
    QMimeData* mimeData(const QModelIndexList& indexes) const override;
    Qt::DropActions supportedDragActions() const override { return Qt::CopyAction; }

private:
    LTMusicLibraryPlaylistManager* m_manager;
};
