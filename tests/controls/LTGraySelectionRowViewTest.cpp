#include "controls/LTGraySelectionRowView.h"

#include "PixelProbe.h"

#include <QHeaderView>
#include <QStandardItemModel>
#include <QTableView>
#include <QTest>

#include <gtest/gtest.h>

namespace {

struct GrayRowsFixture : ::testing::Test {
    QStandardItemModel model{3, 2};
    QTableView view;
    LTGraySelectionRowView delegate;

    GrayRowsFixture()
    {
        view.setModel(&model);
        view.setItemDelegate(&delegate);
        view.setShowGrid(false);
        view.setSelectionBehavior(QAbstractItemView::SelectRows);
        view.setColumnWidth(0, 120);
        view.setColumnWidth(1, 120);
        view.horizontalHeader()->setStretchLastSection(true);
        view.resize(300, 200);
        view.show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(&view));
        view.selectRow(1);
    }

    QImage viewport() { return PixelProbe::render(*view.viewport()); }
    int rowMidY(int row) { return view.visualRect(model.index(row, 0)).center().y(); }
};

TEST_F(GrayRowsFixture, SelectedRowIsOneInsetGreyBand)
{
    view.clearFocus();
    ASSERT_FALSE(view.hasFocus());
    const QImage image = viewport();
    const QColor grey = LTGraySelectionRowView::selectionColor(false);
    ASSERT_EQ(grey.red(), 209); // white 0.82
    const int y = rowMidY(1);
    const int right = image.width() - 1;
    EXPECT_TRUE(PixelProbe::near(image, 60, y, grey, 1));
    EXPECT_TRUE(PixelProbe::near(image, 120, y, grey, 1)); // across the column boundary
    EXPECT_TRUE(PixelProbe::near(image, 3, y, grey, 1));
    EXPECT_TRUE(PixelProbe::near(image, right - 3, y, grey, 1));
    // Two pixels are left bare at each end.
    const QColor base = view.palette().color(QPalette::Base);
    EXPECT_TRUE(PixelProbe::near(image, 0, y, base, 1));
    EXPECT_TRUE(PixelProbe::near(image, 1, y, base, 1));
    EXPECT_TRUE(PixelProbe::near(image, right, y, base, 1));
    // Rounded: the band's corner pixel is lighter than its middle.
    const int top = view.visualRect(model.index(1, 0)).top();
    EXPECT_GT(qRed(image.pixel(2, top)), 209 + 5);
    // Other rows are untouched.
    EXPECT_TRUE(PixelProbe::near(image, 60, rowMidY(0), base, 1));
    EXPECT_TRUE(PixelProbe::near(image, 60, rowMidY(2), base, 1));
}

TEST_F(GrayRowsFixture, FocusedTableUsesTheDarkerGrey)
{
    view.activateWindow();
    view.setFocus();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&view));
    ASSERT_TRUE(view.hasFocus());
    const QColor grey = LTGraySelectionRowView::selectionColor(true);
    ASSERT_EQ(grey.red(), 194); // white 0.76
    EXPECT_TRUE(PixelProbe::near(viewport(), 60, rowMidY(1), grey, 1));
}

TEST_F(GrayRowsFixture, TableWithoutSelectionDrawsNoBand)
{
    view.setSelectionMode(QAbstractItemView::NoSelection);
    const QColor base = view.palette().color(QPalette::Base);
    EXPECT_TRUE(PixelProbe::near(viewport(), 60, rowMidY(1), base, 1));
}

} // namespace
