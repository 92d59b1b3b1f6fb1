#include "WindowFixture.h"

#include "app/BottomStripLayout.h"
#include "app/SplitView.h"
#include "app/WavePane.h"
#include "controls/WDButtonCell.h"

#include <QLabel>
#include <QMenu>
#include <QMenuBar>

namespace {

struct MainWindowLayoutTest : WindowFixture {
    int libraryItems(QMenu* menu)
    {
        int count = 0;
        for (QAction* item : menu->actions())
            count += item->property("tag").toInt() == ViewController::kLibrarySidebarMenuTag;
        return count;
    }

    // The handle a user double-clicks: the one on the left edge of `pane`.
    QSplitterHandle* dividerBefore(QWidget* pane)
    {
        return vc->verticalSplitView()->handle(vc->verticalSplitView()->indexOf(pane));
    }
};

} // namespace

TEST_F(MainWindowLayoutTest, TheDrawerReopensAtItsWidthOrAtLeastTheDefault)
{
    QMenu* view = menuNamed("View");
    ASSERT_NE(view, nullptr);
    EXPECT_FALSE(vc->isRightDrawerOpen()) << "the window starts with the drawer closed";
    EXPECT_EQ(vc->rightDrawerExpandedWidth(), 200.0);
    EXPECT_TRUE(itemShowing(view, "Show Tone & Pitch"));

    vc->showSidebar();
    settle();
    EXPECT_TRUE(vc->isRightDrawerOpen());
    EXPECT_EQ(vc->rightDrawer()->width(), 200);
    const QRect drawer = vc->rightDrawer()->geometry();
    EXPECT_EQ(drawer.right(), vc->verticalSplitView()->width() - 1) << "the drawer lies at the right edge";
    EXPECT_LT(vc->wavePane()->geometry().right(), drawer.left());
    EXPECT_EQ(vc->leftSidebarView()->width(), 360);
    EXPECT_TRUE(itemShowing(view, "Hide Tone & Pitch"));
    EXPECT_FALSE(itemShowing(view, "Show Tone & Pitch"));

    vc->showSidebar();
    vc->setRightDrawerExpandedWidth(150.0);
    vc->showSidebar();
    vc->showSidebar();
    vc->showSidebar();
    settle();
    EXPECT_EQ(vc->rightDrawerConstant(), 150.0) << "toggling twice keeps a width of 120 or more";
    EXPECT_EQ(vc->rightDrawer()->width(), 150);
    EXPECT_EQ(vc->rightDrawer()->geometry().right(), vc->verticalSplitView()->width() - 1);

    vc->showSidebar();
    vc->setRightDrawerExpandedWidth(120.0);
    vc->showSidebar();
    EXPECT_EQ(vc->rightDrawerConstant(), 120.0);
    vc->showSidebar();
    vc->setRightDrawerExpandedWidth(100.0);
    vc->showSidebar();
    EXPECT_EQ(vc->rightDrawerConstant(), 200.0) << "a width under 120 opens at 200";
    EXPECT_EQ(vc->leftSidebarView()->width(), 360) << "the left panel keeps its width";
}

TEST_F(MainWindowLayoutTest, TheLeftDividerSnapsOpenOrClosed)
{
    LTSplitView* split = vc->verticalSplitView();
    ASSERT_TRUE(vc->leftPanelVisible()) << "a missing key counts as visible";
    EXPECT_EQ(vc->leftSidebarView()->width(), 360);

    split->moveDivider(111, 0);
    EXPECT_EQ(vc->leftSidebarView()->width(), 360);
    EXPECT_TRUE(vc->leftPanelVisible());
    split->moveDivider(500, 0);
    EXPECT_EQ(vc->leftSidebarView()->width(), 360) << "no width in between";

    split->moveDivider(110, 0);
    EXPECT_FALSE(vc->leftPanelVisible());
    EXPECT_TRUE(vc->leftSidebarView()->isHidden());
    EXPECT_FALSE(defaults->boolForKey("LeftMusicPanelVisible"));
    EXPECT_EQ(shownText(vc->librarySidebarMenuItem()), "Show Library & Playlist");

    vc->librarySidebarMenuItem()->trigger();
    EXPECT_TRUE(vc->leftPanelVisible());
    EXPECT_EQ(vc->leftSidebarView()->width(), 360);
    EXPECT_TRUE(defaults->boolForKey("LeftMusicPanelVisible"));
    EXPECT_EQ(shownText(vc->librarySidebarMenuItem()), "Hide Library & Playlist");
    EXPECT_EQ(vc->constrainSplitPosition(40.0, 1), 40.0) << "other dividers move freely";
}

TEST_F(MainWindowLayoutTest, TheHiddenPanelStaysHiddenOnTheNextStart)
{
    QTest::mouseClick(vc->leftSidebarButton(), Qt::LeftButton);
    EXPECT_FALSE(vc->leftPanelVisible());
    start();
    EXPECT_FALSE(vc->leftPanelVisible());
    EXPECT_TRUE(vc->leftSidebarView()->isHidden());
    EXPECT_EQ(shownText(vc->librarySidebarMenuItem()), "Show Library & Playlist");
}

TEST_F(MainWindowLayoutTest, TheLibraryItemIsAddedOnceAheadOfATrailingSeparator)
{
    QMenu* view = menuNamed("View");
    ASSERT_NE(view, nullptr);
    EXPECT_EQ(libraryItems(view), 1);
    vc->setupLibrarySidebarMenu();
    vc->setupLibrarySidebarMenu();
    settle();
    EXPECT_EQ(libraryItems(view), 1);

    view->removeAction(vc->librarySidebarMenuItem());
    QAction* separator = view->addSeparator();
    vc->setupLibrarySidebarMenu();
    settle();
    const QList<QAction*> items = view->actions();
    ASSERT_GE(items.size(), 3);
    EXPECT_EQ(items.last(), separator);
    EXPECT_EQ(items[items.size() - 2]->property("tag").toInt(), ViewController::kLibrarySidebarMenuTag);

    // Without a drawer item nowhere is the panel's item added, and nothing else breaks.
    QMenuBar bare;
    bare.addMenu("Other")->addAction("Something");
    vc->setMainMenu(&bare);
    vc->setupLibrarySidebarMenu();
    settle();
    EXPECT_EQ(libraryItems(bare.actions().first()->menu()), 0);
    vc->showSidebar();
    EXPECT_TRUE(vc->isRightDrawerOpen());
}

TEST_F(MainWindowLayoutTest, MenusShowTheirTitlesAsWrittenWithExportThird)
{
    const QList<QAction*> menus = window->menuBar()->actions();
    ASSERT_GE(menus.size(), 3);
    EXPECT_EQ(shownText(menus[2]), "Export");
    QMenu* view = menuNamed("View");
    ASSERT_NE(view, nullptr);
    QStringList shown;
    for (QAction* item : view->actions())
        shown << shownText(item);
    EXPECT_EQ(shown, QStringList({"Show Tone & Pitch", "Hide Library & Playlist"}));
    EXPECT_TRUE(itemShowing(menuNamed("File"), "Open…"));
    EXPECT_TRUE(itemShowing(menuNamed("Export"), "Export Range as WAV…"));
}

TEST_F(MainWindowLayoutTest, ADoubleClickOnADividerCollapsesTheSidePanelBesideIt)
{
    ASSERT_TRUE(vc->isLeftPanelShown());
    QTest::mouseDClick(dividerBefore(vc->wavePane()), Qt::LeftButton);
    settle();
    EXPECT_TRUE(vc->leftSidebarView()->isHidden());
    EXPECT_EQ(vc->wavePane()->x(), 0);
    EXPECT_FALSE(defaults->boolForKey("LeftMusicPanelVisible"));
    EXPECT_EQ(shownText(vc->librarySidebarMenuItem()), "Show Library & Playlist");
    EXPECT_FALSE(vc->leftSidebarButton()->isChecked());

    vc->showSidebar();
    settle();
    QTest::mouseDClick(dividerBefore(vc->rightDrawer()), Qt::LeftButton);
    settle();
    EXPECT_FALSE(vc->isRightDrawerOpen());
    EXPECT_TRUE(itemShowing(menuNamed("View"), "Show Tone & Pitch"));
    EXPECT_EQ(vc->wavePane()->width(), vc->verticalSplitView()->width()) << "the wave is never collapsed";
}

TEST_F(MainWindowLayoutTest, AtEveryWindowWidthTheLeftPanelIsClosedOrFull)
{
    for (bool drawer : {false, true}) {
        if (drawer)
            vc->showSidebar();
        for (int width : {700, 760, 900, 1200}) {
            window->resize(width, 600);
            settle();
            SCOPED_TRACE(QString("width %1, drawer %2").arg(width).arg(drawer).toStdString());
            const QWidget* panel = vc->leftSidebarView();
            EXPECT_TRUE(panel->isHidden() || panel->width() == 360) << panel->width() << " in " << window->width();
            EXPECT_EQ(panel->isHidden(), !vc->leftPanelVisible());
            if (drawer)
                EXPECT_EQ(vc->rightDrawer()->width(), 200);
            EXPECT_EQ(vc->verticalSplitView()->width(), vc->view()->width());
        }
    }
}

TEST_F(MainWindowLayoutTest, TheStripIsPlacedByItsRoutineAtEveryWidth)
{
    for (int width : {900, 1400}) {
        window->resize(width, 700);
        settle();
        QWidget* root = vc->view();
        const QRect timeRect = vc->timeLabel()->geometry();
        EXPECT_NEAR(timeRect.center().x() + 0.5, root->width() / 2.0, 1.0) << width;
        EXPECT_EQ(vc->verticalSplitView()->geometry().bottom() + 1, root->height() - 110);
        EXPECT_EQ(vc->leftSidebarButton()->geometry(), QRect(20, vc->leftSidebarButton()->y(), 32, 32));
        EXPECT_EQ(vc->sidebarButton()->geometry().right() + 1, root->width() - 20);
        EXPECT_LT(vc->zoomSlider()->geometry().right(), vc->returnButton()->x());
        EXPECT_GT(vc->speedSlider()->x(), vc->playButton()->geometry().right());
    }
    EXPECT_EQ(QFontInfo(vc->timeLabel()->font()).pixelSize(), 18);
}

TEST(BottomStripLayoutTest, PlacesTheStripFromTheRootAndTheControlsSizes)
{
    BottomStripLayout::Sizes sizes;
    sizes.playButton = {32, 32};
    sizes.returnButton = {32, 32};
    sizes.sliderHeight = 25;
    sizes.timeLabel = {70, 24};
    sizes.durationLabel = {46, 16};
    sizes.speedLabel = {40, 16};
    sizes.zoomLabel = {30, 16};

    for (double width : {900.0, 1400.0}) {
        const QRectF root(0, 0, width, 700);
        const auto f = BottomStripLayout::place(root, sizes);
        SCOPED_TRACE(width);
        EXPECT_EQ(f.verticalSplitView, QRectF(0, -4, width, 594)) << "the strip is 110 high";
        EXPECT_DOUBLE_EQ(f.timeLabel.center().x(), width / 2.0);
        EXPECT_DOUBLE_EQ(f.playButton.top(), 590 + 26);
        const double line = 590 + 26 + 16;
        for (const QRectF& r : {f.timeLabel, f.returnButton, f.zoomSlider, f.speedSlider})
            EXPECT_DOUBLE_EQ(r.center().y(), line);
        EXPECT_EQ(f.leftSidebarButton, QRectF(20, line + 4 - 16, 32, 32));
        EXPECT_EQ(f.sidebarButton, QRectF(width - 52, line + 4 - 16, 32, 32));
        EXPECT_DOUBLE_EQ(f.returnButton.right(), f.timeLabel.left() - 6);
        EXPECT_DOUBLE_EQ(f.playButton.left(), f.timeLabel.right() + 6);
        EXPECT_DOUBLE_EQ(f.zoomSlider.left(), 72);
        EXPECT_DOUBLE_EQ(f.zoomSlider.right(), f.returnButton.left() - 22);
        EXPECT_DOUBLE_EQ(f.speedSlider.left(), f.playButton.right() + 22);
        EXPECT_DOUBLE_EQ(f.speedSlider.right(), width - 72);
        // Both sliders take what the window grows by, half each.
        EXPECT_DOUBLE_EQ(f.zoomSlider.width(), width / 2.0 - 35 - 6 - 32 - 22 - 72);
        EXPECT_DOUBLE_EQ(f.speedSlider.width(), f.zoomSlider.width());
        EXPECT_DOUBLE_EQ(f.durationLabel.top(), 650);
        EXPECT_DOUBLE_EQ(f.durationLabel.center().x(), width / 2.0);
        EXPECT_DOUBLE_EQ(f.speedLabel.top(), f.speedSlider.bottom() + 13);
        EXPECT_DOUBLE_EQ(f.speedLabel.center().x(), f.speedSlider.center().x() + 2);
        EXPECT_DOUBLE_EQ(f.zoomLabel.top(), f.zoomSlider.bottom() + 13);
        EXPECT_DOUBLE_EQ(f.zoomLabel.center().x(), f.zoomSlider.center().x());
        EXPECT_LE(f.zoomLabel.bottom(), 700) << "everything fits in the strip";
    }
}
