#include "WindowFixture.h"

#include "app/SplitView.h"
#include "app/WavePane.h"

using MainWindowLayoutTest = WindowFixture;

TEST_F(MainWindowLayoutTest, TheDrawerOpensAtTheRightEdgeADoubleClickOnADividerCollapsesThePanelBesideItForGoodAndEveryWidthKeepsTheStripCentred)
{
    const auto panel = [&] { return vc->leftSidebarView(); };
    // The handle a user double-clicks: the one on the left edge of `pane`.
    const auto dividerBefore = [&](QWidget* pane) { return vc->verticalSplitView()->handle(vc->verticalSplitView()->indexOf(pane)); };
    EXPECT_FALSE(vc->isRightDrawerOpen()) << "the window starts with the drawer closed";
    // The divider between library and playlist comes back where it was left, between 0.2 and 0.8
    // of the panel; a stored one half is what a never-moved divider read, and counts as unset. The
    // window is tall enough for both panes' least heights to allow every ratio.
    for (const auto& [stored, restored] : {std::pair{QVariant(), 0.66}, {0.5, 0.66}, {0.9, 0.8}, {0.1, 0.2}, {0.35, 0.35}}) {
        defaults->setObject(stored, "LeftMusicPanelTopRatio");
        defaults->synchronize();
        start(1200, 1500);
        const QSplitter* split = vc->leftPanelSplitView();
        EXPECT_TRUE(waitFor([&, ratio = restored] { return std::abs(split->sizes()[0] - split->height() * ratio) <= 1.0; }))
            << stored.toDouble() << ": " << split->sizes()[0] << " of " << split->height();
        EXPECT_EQ(defaults->doubleForKey("LeftMusicPanelTopRatio"), restored) << "what the next launch reads";
    }
    start();
    // A width of 120 or more is kept; a narrower one opens at the default.
    for (const auto& [stored, opened] : {std::pair{120.0, 120}, std::pair{119.0, 200}}) {
        vc->setRightDrawerExpandedWidth(stored);
        vc->showSidebar();
        settle();
        const QRect drawer = vc->rightDrawer()->geometry();
        EXPECT_EQ(drawer.width(), opened) << stored;
        EXPECT_EQ(drawer.right(), vc->verticalSplitView()->width() - 1);
        EXPECT_LT(vc->wavePane()->geometry().right(), drawer.left());
        EXPECT_EQ(panel()->width(), 360) << "the left panel keeps its width";
        vc->showSidebar();
    }
    QTest::mouseDClick(dividerBefore(vc->wavePane()), Qt::LeftButton);
    settle();
    EXPECT_TRUE(panel()->isHidden());
    EXPECT_EQ(vc->wavePane()->x(), 0);
    EXPECT_FALSE(vc->leftSidebarButton()->isChecked());
    vc->showSidebar();
    settle();
    QTest::mouseDClick(dividerBefore(vc->rightDrawer()), Qt::LeftButton);
    settle();
    EXPECT_FALSE(vc->isRightDrawerOpen());
    EXPECT_EQ(vc->wavePane()->width(), vc->verticalSplitView()->width()) << "the wave is never collapsed";

    start();
    EXPECT_TRUE(panel()->isHidden()) << "the next start keeps the left panel closed";
    vc->librarySidebarMenuItem()->trigger();
    EXPECT_EQ(panel()->width(), 360);
    EXPECT_TRUE(defaults->boolForKey("LeftMusicPanelVisible"));
    // A dragged divider snaps: no width between closed and full.
    vc->verticalSplitView()->moveDivider(111, 0);
    EXPECT_EQ(panel()->width(), 360);
    vc->verticalSplitView()->moveDivider(110, 0);
    EXPECT_TRUE(panel()->isHidden());

    // At every width, with the drawer shut or open: the left panel closed or full, and the time
    // centred under the split view with the chord above it and the duration below it.
    for (bool open : {false, true}) {
        if (open)
            vc->showSidebar();
        for (int width : {700, 900, 1400}) {
            window->resize(width, 700);
            settle();
            SCOPED_TRACE(QString("width %1, drawer %2").arg(width).arg(open).toStdString());
            EXPECT_TRUE(panel()->isHidden() || panel()->width() == 360) << panel()->width();
            EXPECT_EQ(vc->rightDrawer()->isVisible() ? vc->rightDrawer()->width() : 0, open ? 200 : 0);
            for (QLabel* label : {vc->chordLabel(), vc->timeLabel(), vc->durationLabel()}) {
                EXPECT_NEAR(QRectF(label->geometry()).center().x(), vc->view()->width() / 2.0, 1.0) << label->objectName().toStdString();
                EXPECT_GT(label->y(), vc->verticalSplitView()->geometry().bottom());
            }
        }
    }
}
