#include "controls/LTGraySelectionRowView.h"

#include <QAbstractItemView>
#include <QPainter>
#include <QPainterPath>

QColor LTGraySelectionRowView::selectionColor(bool emphasized)
{
    const float white = emphasized ? 0.76f : 0.82f;
    return QColor::fromRgbF(white, white, white, 1.0f);
}

void LTGraySelectionRowView::paint(QPainter* painter, const QStyleOptionViewItem& option,
                                   const QModelIndex& index) const
{
    if (!(option.state & QStyle::State_Selected)) {
        QStyledItemDelegate::paint(painter, option, index);
        return;
    }
    drawSelectionInRect(painter, option);
    QStyleOptionViewItem plain(option);
    plain.state &= ~(QStyle::State_Selected | QStyle::State_HasFocus);
    QStyledItemDelegate::paint(painter, plain, index);
}

void LTGraySelectionRowView::drawSelectionInRect(QPainter* painter,
                                                 const QStyleOptionViewItem& option) const
{
    // The view may already have laid the style's highlight under the cell.
    painter->fillRect(option.rect, option.palette.brush(QPalette::Base));
    const auto* view = qobject_cast<const QAbstractItemView*>(option.widget);
    if (view && view->selectionMode() == QAbstractItemView::NoSelection)
        return;
    // Each cell paints its slice of one band that spans the row, so columns show no seams.
    const double rowWidth = view ? view->viewport()->width() : option.rect.right() + 1;
    const QRectF row(0.0, option.rect.y(), rowWidth, option.rect.height());
    QPainterPath band;
    band.addRoundedRect(row.adjusted(kInsetX, 0.0, -kInsetX, 0.0), kRadius, kRadius);

    painter->save();
    painter->setClipRect(option.rect);
    painter->setRenderHint(QPainter::Antialiasing);
    painter->fillPath(band, selectionColor(view && view->hasFocus()));
    painter->restore();
}
