#pragma once

#include <QAbstractTableModel>

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

private:
    LTMusicLibraryPlaylistManager* m_manager;
};
