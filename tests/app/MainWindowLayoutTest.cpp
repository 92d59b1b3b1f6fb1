#include "WindowFixture.h"

#include "app/BottomStripLayout.h"
#include "app/SplitView.h"
#include "app/WavePane.h"
#include "controls/WDButtonCell.h"

#include <QLabel>

namespace {

struct MainWindowLayoutTest : WindowFixture {
    QWidget* panel() const { return vc->leftSidebarView(); }
    int splitWidth() const { return vc->verticalSplitView()->width(); }

    // The handle a user double-clicks: the one on the left edge of `pane`.
    QSplitterHandle* dividerBefore(QWidget* pane) const
    {
        return vc->verticalSplitView()->handle(vc->verticalSplitView()->indexOf(pane));
    }

    QStringList viewMenu() const
    {
        QStringList shown;
        for (QAction* item : menuNamed("View")->actions())
            shown << shownText(item);
        return shown;
    }
};

} // namespace

TEST_F(MainWindowLayoutTest, MenusShowTheirTitlesAsWrittenWithExportThird)
{
    const QList<QAction*> menus = window->menuBar()->actions();
    ASSERT_GE(menus.size(), 3);
    EXPECT_EQ(shownText(menus[2]), "Export");
    EXPECT_TRUE(itemShowing(menuNamed("File"), "Open…"));
    EXPECT_TRUE(itemShowing(menuNamed("Export"), "Export Range as WAV…"));
    EXPECT_EQ(viewMenu(), QStringList({"Show Tone & Pitch", "Hide Library & Playlist"}));
    vc->setupLibrarySidebarMenu();
    settle();
    vc->showSidebar();
    EXPECT_EQ(viewMenu(), QStringList({"Hide Tone & Pitch", "Hide Library & Playlist"})) << "no second panel item";
}

TEST_F(MainWindowLayoutTest, TheDrawerOpensAtTheRightEdgeAtItsWidthOrTheDefault)
{
    EXPECT_FALSE(vc->isRightDrawerOpen()) << "the window starts with the drawer closed";
    // A width of 120 or more is kept; a narrower one opens at the default.
    for (const auto& [stored, opened] : {std::pair{120.0, 120}, std::pair{119.0, 200}}) {
        vc->setRightDrawerExpandedWidth(stored);
        vc->showSidebar();
        settle();
        const QRect drawer = vc->rightDrawer()->geometry();
        EXPECT_EQ(drawer.width(), opened) << stored;
        EXPECT_EQ(drawer.right(), splitWidth() - 1);
        EXPECT_LT(vc->wavePane()->geometry().right(), drawer.left());
        EXPECT_EQ(panel()->width(), 360) << "the left panel keeps its width";
        EXPECT_TRUE(vc->sidebarButton()->isChecked());
        vc->showSidebar();
        EXPECT_FALSE(vc->isRightDrawerOpen());
    }
}

TEST_F(MainWindowLayoutTest, TheLeftDividerSnapsOpenOrClosedAndTheChoiceLastsToTheNextStart)
{
    ASSERT_TRUE(vc->leftPanelVisible()) << "a missing key counts as visible";
    for (int position : {111, 500}) {
        vc->verticalSplitView()->moveDivider(position, 0);
        EXPECT_EQ(panel()->width(), 360) << "no width in between: " << position;
    }
    vc->verticalSplitView()->moveDivider(110, 0);
    EXPECT_TRUE(panel()->isHidden());
    EXPECT_FALSE(defaults->boolForKey("LeftMusicPanelVisible"));
    EXPECT_EQ(vc->constrainSplitPosition(40.0, 1), 40.0) << "other dividers move freely";

    start();
    EXPECT_TRUE(panel()->isHidden());
    EXPECT_EQ(shownText(vc->librarySidebarMenuItem()), "Show Library & Playlist");
    vc->librarySidebarMenuItem()->trigger();
    EXPECT_EQ(panel()->width(), 360);
    EXPECT_TRUE(defaults->boolForKey("LeftMusicPanelVisible"));
    EXPECT_EQ(shownText(vc->librarySidebarMenuItem()), "Hide Library & Playlist");
    QTest::mouseClick(vc->leftSidebarButton(), Qt::LeftButton);
    EXPECT_TRUE(panel()->isHidden());
}

TEST_F(MainWindowLayoutTest, ADoubleClickOnADividerCollapsesTheSidePanelBesideIt)
{
    ASSERT_TRUE(vc->isLeftPanelShown());
    QTest::mouseDClick(dividerBefore(vc->wavePane()), Qt::LeftButton);
    settle();
    EXPECT_TRUE(panel()->isHidden());
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
    EXPECT_EQ(vc->wavePane()->width(), splitWidth()) << "the wave is never collapsed";
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
            EXPECT_TRUE(panel()->isHidden() || panel()->width() == 360) << panel()->width();
            EXPECT_EQ(panel()->isHidden(), !vc->leftPanelVisible());
            EXPECT_EQ(vc->rightDrawer()->isVisible() ? vc->rightDrawer()->width() : 0, drawer ? 200 : 0);
            EXPECT_EQ(splitWidth(), vc->view()->width());
        }
    }
}

TEST_F(MainWindowLayoutTest, TheStripLiesUnderTheSplitViewAtEveryWidthWithAnEighteenPixelTime)
{
    for (int width : {900, 1400}) {
        window->resize(width, 700);
        settle();
        const QRect root = vc->view()->rect();
        const int strip = root.height() - 110;
        EXPECT_EQ(vc->verticalSplitView()->geometry().bottom() + 1, strip) << width;
        EXPECT_NEAR(vc->timeLabel()->geometry().center().x() + 0.5, root.width() / 2.0, 1.0) << width;
        const QList<QWidget*> controls{vc->leftSidebarButton(), vc->zoomSlider(), vc->returnButton(),
                                       vc->timeLabel(),         vc->playButton(), vc->speedSlider(),
                                       vc->sidebarButton(),     vc->durationLabel(), vc->speedLabel(),
                                       vc->zoomLabel()};
        for (QWidget* control : controls)
            EXPECT_TRUE(control->y() >= strip && root.contains(control->geometry())) << width;
    }
    EXPECT_EQ(QFontInfo(vc->timeLabel()->font()).pixelSize(), 18);
}

TEST(BottomStripLayoutTest, ControlsShareOneLineAroundTheCentredTimeAndTheSlidersTakeTheRest)
{
    BottomStripLayout::Sizes sizes; // 32 px buttons, 25 px sliders
    sizes.timeLabel = {70, 24};
    sizes.durationLabel = {46, 16};
    sizes.speedLabel = {40, 16};
    sizes.zoomLabel = {30, 16};
    const auto f = BottomStripLayout::place(QRectF(0, 0, 1000, 700), sizes);

    EXPECT_EQ(f.verticalSplitView, QRectF(0, -4, 1000, 594)) << "the strip is 110 high";
    EXPECT_DOUBLE_EQ(f.playButton.top(), 590 + 26);
    const double line = f.playButton.center().y();
    for (const QRectF& r : {f.timeLabel, f.returnButton, f.zoomSlider, f.speedSlider})
        EXPECT_DOUBLE_EQ(r.center().y(), line);
    for (const QRectF& r : {f.leftSidebarButton, f.sidebarButton})
        EXPECT_DOUBLE_EQ(r.center().y(), line + 4);
    EXPECT_DOUBLE_EQ(f.timeLabel.center().x(), 500);
    EXPECT_DOUBLE_EQ(f.durationLabel.center().x(), 500);
    EXPECT_DOUBLE_EQ(f.durationLabel.top(), 650);

    // Left to right, the gaps mirrored about the time.
    EXPECT_DOUBLE_EQ(f.leftSidebarButton.left(), 20);
    EXPECT_DOUBLE_EQ(f.zoomSlider.left() - f.leftSidebarButton.right(), 20);
    EXPECT_DOUBLE_EQ(f.returnButton.left() - f.zoomSlider.right(), 22);
    EXPECT_DOUBLE_EQ(f.timeLabel.left() - f.returnButton.right(), 6);
    EXPECT_DOUBLE_EQ(f.playButton.left() - f.timeLabel.right(), 6);
    EXPECT_DOUBLE_EQ(f.speedSlider.left() - f.playButton.right(), 22);
    EXPECT_DOUBLE_EQ(f.sidebarButton.left() - f.speedSlider.right(), 20);
    EXPECT_DOUBLE_EQ(1000 - f.sidebarButton.right(), 20);

    // Each slider's value under it.
    EXPECT_DOUBLE_EQ(f.speedLabel.top(), f.speedSlider.bottom() + 13);
    EXPECT_DOUBLE_EQ(f.speedLabel.center().x(), f.speedSlider.center().x() + 2);
    EXPECT_DOUBLE_EQ(f.zoomLabel.top(), f.zoomSlider.bottom() + 13);
    EXPECT_DOUBLE_EQ(f.zoomLabel.center().x(), f.zoomSlider.center().x());
}
