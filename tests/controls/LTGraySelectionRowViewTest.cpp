#include "controls/LTGraySelectionRowView.h"

#include "PixelProbe.h"

#include <QHeaderView>
#include <QStandardItemModel>
#include <QTableView>

namespace {

TEST(LTGraySelectionRowView, TheSelectedRowIsOneInsetGreyBandAndNoneWithoutSelection)
{
    QStandardItemModel model(3, 2);
    QTableView view;
    LTGraySelectionRowView delegate;
    view.setModel(&model);
    view.setItemDelegate(&delegate);
    view.setShowGrid(false);
    view.setSelectionBehavior(QAbstractItemView::SelectRows);
    view.setColumnWidth(0, 120);
    view.horizontalHeader()->setStretchLastSection(true);
    view.resize(300, 200);
    view.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&view));
    view.selectRow(1);
    view.clearFocus(); // the lighter grey of an unfocused view
    const QColor base = view.palette().color(QPalette::Base);
    const int right = view.viewport()->width() - 1;
    // Whether the middle of `row` at x shows the colour.
    auto shows = [&](int row, int x, const QColor& colour) {
        return PixelProbe::near(PixelProbe::render(*view.viewport()), x, view.visualRect(model.index(row, 0)).center().y(), colour, 1);
    };

    for (int x : {3, 60, 120, right - 3}) // across the column boundary, without seams
        EXPECT_TRUE(shows(1, x, LTGraySelectionRowView::selectionColor(false))) << x;
    for (int x : {0, 1, right}) // two pixels bare at each end
        EXPECT_TRUE(shows(1, x, base)) << x;
    EXPECT_TRUE(shows(0, 60, base));

    view.setSelectionMode(QAbstractItemView::NoSelection);
    EXPECT_TRUE(shows(1, 60, base));
}

} // namespace
