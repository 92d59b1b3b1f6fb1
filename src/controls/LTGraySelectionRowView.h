#pragma once

#include <QStyledItemDelegate>

// Paints a selected table row as one light grey rounded band across the whole row, in place of
// the style's highlight; the cells' contents are drawn on top as if unselected. Install it as
// the item delegate of a table that selects whole rows.
class LTGraySelectionRowView : public QStyledItemDelegate {
    Q_OBJECT
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    static constexpr double kInsetX = 2.0;
    static constexpr double kRadius = 3.0;

    // Darker while the table has the keyboard focus.
    static QColor selectionColor(bool emphasized);

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;

private:
    void drawSelectionInRect(QPainter* painter, const QStyleOptionViewItem& option) const;
};
