#include "controls/WDLinearKnob.h"

#include "PixelProbe.h"

#include <QSignalSpy>
#include <QTest>

#include <gtest/gtest.h>

#include <cmath>

namespace {

const QColor kDot(255, 0, 0);

struct KnobFixture : ::testing::Test {
    WDLinearKnob knob;

    KnobFixture()
    {
        knob.setDotColor(kDot);
        knob.setDotSize(8.0);
        knob.resize(100, 100);
    }

    QPointF dotAt(double value)
    {
        knob.setDoubleValue(value);
        return PixelProbe::centroid(PixelProbe::render(knob), kDot, 60);
    }
};

TEST_F(KnobFixture, StartsAsTheDefaultCell)
{
    const WDKnobCell& cell = knob.linearCell();
    EXPECT_EQ(cell.dotSize(), 8.0); // set by the fixture; the cell's own default is below
    EXPECT_EQ(WDKnobCell().dotSize(), 5.0);
    EXPECT_EQ(cell.mouseFactor(), 3.0);
    EXPECT_EQ(knob.minValue(), 0.0);
    EXPECT_EQ(knob.maxValue(), 1.0);
    EXPECT_FALSE(WDKnobCell().dotColor().isValid());
}

TEST_F(KnobFixture, HalfwayPutsTheDotStraightUp)
{
    // Inset by a tenth: the dot runs on a circle of radius 40 around the centre.
    const QPointF dot = dotAt(0.5);
    EXPECT_NEAR(dot.x(), 50.0, 0.5);
    EXPECT_NEAR(dot.y(), 10.0, 0.5);
}

TEST_F(KnobFixture, EndsSit135DegreesEitherSideOfUp)
{
    const double d = 40.0 * std::sqrt(0.5);
    const QPointF low = dotAt(0.0);
    EXPECT_NEAR(low.x(), 50.0 - d, 0.5);
    EXPECT_NEAR(low.y(), 50.0 + d, 0.5);
    const QPointF high = dotAt(1.0);
    EXPECT_NEAR(high.x(), 50.0 + d, 0.5);
    EXPECT_NEAR(high.y(), 50.0 + d, 0.5);
}

TEST_F(KnobFixture, WideKnobRunsTheDotOnAnEllipse)
{
    knob.resize(200, 100);
    // A third of the 270-degree travel is 45 degrees left of up; radii 80 across and 40 up.
    const QPointF dot = dotAt(1.0 / 3.0);
    EXPECT_NEAR(dot.x(), 100.0 - 80.0 * std::sqrt(0.5), 0.5);
    EXPECT_NEAR(dot.y(), 50.0 - 40.0 * std::sqrt(0.5), 0.5);
}

TEST_F(KnobFixture, DiscFillsTheFrameAndAnUnsetDotIsNotDrawn)
{
    WDLinearKnob plain;
    plain.resize(100, 100);
    const QImage image = PixelProbe::render(plain);
    const QColor grey = QColor::fromRgbF(0.6f, 0.6f, 0.6f);
    EXPECT_TRUE(PixelProbe::near(image, 2, 2, Qt::white, 3));
    // Everywhere inside the rim, including where a dot would be, is knob grey.
    int off = 0;
    for (int y = 0; y < 100; ++y)
        for (int x = 0; x < 100; ++x)
            if (std::hypot(x + 0.5 - 50.0, y + 0.5 - 50.0) < 48.0)
                off += PixelProbe::near(image.pixel(x, y), grey, 3) ? 0 : 1;
    EXPECT_EQ(off, 0);
}

TEST(KnobCell, FirstStepAfterPressNeverMoves)
{
    WDKnobCell cell;
    cell.startTrackingAt(QPointF(50, 50));
    EXPECT_EQ(cell.continueTracking(QPointF(50, 50), QPointF(50, 20), 0.4, 100.0), 0.4);
    // Up 30 points over a height of 100 at factor 3 adds a tenth; down takes it away.
    EXPECT_NEAR(cell.continueTracking(QPointF(50, 50), QPointF(50, 20), 0.4, 100.0), 0.5, 1e-12);
    EXPECT_NEAR(cell.continueTracking(QPointF(50, 20), QPointF(50, 50), 0.5, 100.0), 0.4, 1e-12);
    // Sideways movement counts for nothing.
    EXPECT_EQ(cell.continueTracking(QPointF(0, 20), QPointF(90, 20), 0.5, 100.0), 0.5);
}

TEST(KnobCell, TrackingClampsToTheUnitRange)
{
    WDKnobCell cell;
    cell.startTrackingAt(QPointF());
    cell.continueTracking(QPointF(), QPointF(), 0.0, 10.0);
    EXPECT_EQ(cell.continueTracking(QPointF(0, 100), QPointF(0, 0), 0.9, 10.0), 1.0);
    EXPECT_EQ(cell.continueTracking(QPointF(0, 0), QPointF(0, 100), 0.1, 10.0), 0.0);
}

TEST_F(KnobFixture, VerticalDragMovesByDistanceOverFactorAndHeight)
{
    knob.setMouseFactor(2.0);
    knob.setDoubleValue(0.5);
    QSignalSpy edited(&knob, &DoubleValueSlider::edited);

    QTest::mousePress(&knob, Qt::LeftButton, Qt::NoModifier, QPoint(50, 80));
    QTest::mouseMove(&knob, QPoint(50, 70)); // swallowed: first step after the press
    EXPECT_EQ(knob.doubleValue(), 0.5);
    QTest::mouseMove(&knob, QPoint(50, 30)); // up 40 / factor 2 / height 100
    EXPECT_NEAR(knob.doubleValue(), 0.7, 1e-12);
    QTest::mouseMove(&knob, QPoint(50, 50), 0); // down 20
    EXPECT_NEAR(knob.doubleValue(), 0.6, 1e-12);
    QTest::mouseRelease(&knob, Qt::LeftButton, Qt::NoModifier, QPoint(50, 50));

    ASSERT_EQ(edited.count(), 3); // the press and two moves that changed the value
    EXPECT_NEAR(edited.last().at(0).toDouble(), 0.6, 1e-12);
}

TEST_F(KnobFixture, AltPressIsReported)
{
    QSignalSpy edited(&knob, &DoubleValueSlider::edited);
    QTest::mousePress(&knob, Qt::LeftButton, Qt::AltModifier, QPoint(50, 50));
    ASSERT_EQ(edited.count(), 1);
    EXPECT_TRUE(edited.last().at(1).toBool());
    EXPECT_TRUE(knob.altWasHeld());
    QTest::mouseRelease(&knob, Qt::LeftButton, Qt::AltModifier, QPoint(50, 50));
}

} // namespace
