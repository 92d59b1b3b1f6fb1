#pragma once

#include <QTableView>

// The playlist's table: its own rows are moved within it, and anything dragged in from elsewhere
// is copied, so a file manager never deletes a file dropped here.
class PlaylistTableView : public QTableView {
    Q_OBJECT
public:
    explicit PlaylistTableView(QWidget* parent = nullptr);

protected:
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    Qt::DropAction actionFor(const QDropEvent* event) const;
};
