#include "app/PlaylistTableView.h"

#include "app/TrackDrag.h"

#include <QDropEvent>
#include <QMimeData>

PlaylistTableView::PlaylistTableView(QWidget* parent)
    : QTableView(parent)
{
    setSelectionMode(QAbstractItemView::ExtendedSelection);
    setDragDropMode(QAbstractItemView::DragDrop);
    setDragDropOverwriteMode(false);
    setDefaultDropAction(Qt::MoveAction);
}

Qt::DropAction PlaylistTableView::actionFor(const QDropEvent* event) const
{
    // An in-process drop receives the very data object the drag made, marked by its model.
    const QObject* origin = event->mimeData() ? event->mimeData()->property(TrackDrag::kDragOrigin).value<QObject*>() : nullptr;
    return event->source() == this || origin == model() ? Qt::MoveAction : Qt::CopyAction;
}

void PlaylistTableView::dragEnterEvent(QDragEnterEvent* event)
{
    event->setDropAction(actionFor(event));
    QTableView::dragEnterEvent(event);
    if (event->isAccepted())
        event->setDropAction(actionFor(event));
}

void PlaylistTableView::dragMoveEvent(QDragMoveEvent* event)
{
    event->setDropAction(actionFor(event));
    QTableView::dragMoveEvent(event);
    if (event->isAccepted())
        event->setDropAction(actionFor(event));
}

void PlaylistTableView::dropEvent(QDropEvent* event)
{
    const Qt::DropAction action = actionFor(event);
    event->setDropAction(action);
    QTableView::dropEvent(event);
    if (event->isAccepted())
        event->setDropAction(action);
}
