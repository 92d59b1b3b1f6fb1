#include "controls/WDButtonCell.h"

#include "PixelProbe.h"

#include <QCoreApplication>

#include <gtest/gtest.h>

namespace {

const QColor kBack(200, 200, 200);
const QColor kKey(255, 0, 0);

QImage renderStyle(int style, QSize size = QSize(100, 100))
{
    WDButtonCell button;
    button.setBackColor(kBack);
    button.setKeyColor(kKey);
    button.setStyle(style);
    button.resize(size);
    return PixelProbe::render(button);
}

TEST(ButtonCell, StyleZeroAndUnknownStylesShowAPlainDisc)
{
    for (int style : {0, 5, -1}) {
        const QImage image = renderStyle(style);
        EXPECT_EQ(PixelProbe::count(image, kKey), 0) << style;
        EXPECT_TRUE(PixelProbe::near(image, 50, 50, kBack, 2)) << style;
        EXPECT_TRUE(PixelProbe::near(image, 3, 3, Qt::white, 2)) << style;
    }
}

TEST(ButtonCell, PlayIsATrianglePointingRight)
{
    const QImage image = renderStyle(WDButtonCell::Play);
    const QRect box = PixelProbe::bounds(image, kKey);
    EXPECT_NEAR(box.left(), 37, 1);
    EXPECT_NEAR(box.right(), 71, 1);
    EXPECT_NEAR(box.top(), 32, 1);
    EXPECT_NEAR(box.bottom(), 66, 1);
    // Tall at the left edge, a point at the right.
    EXPECT_GT(PixelProbe::columnExtent(image, 40, kKey), 28);
    EXPECT_LT(PixelProbe::columnExtent(image, 68, kKey), 8);
    EXPECT_GT(PixelProbe::columnExtent(image, 68, kKey), 0);
}

TEST(ButtonCell, PlayKeepsItsPlaceOnAWideButton)
{
    // Its x positions follow the height, so a wider button does not move the triangle.
    const QRect box = PixelProbe::bounds(renderStyle(WDButtonCell::Play, QSize(200, 100)), kKey);
    EXPECT_NEAR(box.left(), 37, 1);
    EXPECT_NEAR(box.right(), 71, 1);
}

TEST(ButtonCell, StopIsAFilledSquareSlightlyAboveCentre)
{
    const QImage image = renderStyle(WDButtonCell::Stop);
    const QRect box = PixelProbe::bounds(image, kKey);
    EXPECT_NEAR(box.width(), box.height(), 1);
    EXPECT_NEAR(box.width(), 35, 1); // side 33 plus the stroke
    EXPECT_NEAR(box.top(), 29, 1);
    EXPECT_NEAR(box.center().x(), 50, 1);
    EXPECT_GT(PixelProbe::count(image, kKey), box.width() * box.height() * 9 / 10);
}

TEST(ButtonCell, PauseIsTwoBarsWithAGap)
{
    const QImage image = renderStyle(WDButtonCell::Pause);
    EXPECT_EQ(PixelProbe::runsInRow(image, 50, kKey), 2);
    EXPECT_TRUE(PixelProbe::near(image, 49, 50, kBack, 2));
    EXPECT_GT(PixelProbe::columnExtent(image, 39, kKey), 32);
    EXPECT_GT(PixelProbe::columnExtent(image, 59, kKey), 32);
}

TEST(ButtonCell, ReturnIsABarAndALeftPointingTriangle)
{
    const QImage image = renderStyle(WDButtonCell::Return);
    EXPECT_EQ(PixelProbe::runsInRow(image, 50, kKey), 2);
    EXPECT_TRUE(PixelProbe::near(image, 43, 50, kBack, 2));
    EXPECT_GT(PixelProbe::columnExtent(image, 36, kKey), 29); // the bar
    // The triangle opens towards the right.
    EXPECT_GT(PixelProbe::columnExtent(image, 63, kKey),
              PixelProbe::columnExtent(image, 51, kKey) + 15);
}

TEST(ButtonCell, StyleChangeRepaintsLaterAndSurvivesDeletion)
{
    auto* button = new WDButtonCell;
    button->setStyle(WDButtonCell::Pause);
    EXPECT_EQ(button->style(), WDButtonCell::Pause);
    delete button;
    QCoreApplication::processEvents(); // the queued repaint finds no button and does nothing
}

} // namespace
