#include "controls/WDLinearKnob.h"

#include "PixelProbe.h"

#include <QSignalSpy>
#include <QTest>

#include <gtest/gtest.h>

#include <cmath>

namespace {

const QColor kDot(255, 0, 0);
const QColor kKnob(0, 0, 255);

TEST(WDLinearKnob, TheDotRuns270DegreesFromLowerLeftOverTheTopOnAnEllipseInsetByATenth)
{
    WDLinearKnob knob;
    knob.setDotColor(kDot);
    knob.setKnobColor(kKnob);
    knob.setDotSize(8.0);
    const double d = std::sqrt(0.5);
    struct Case { QSize size; double value; QPointF dot; };
    for (const Case& c : {Case{{100, 100}, 0.0, {50 - 40 * d, 50 + 40 * d}}, Case{{100, 100}, 0.5, {50, 10}},
                          Case{{100, 100}, 1.0, {50 + 40 * d, 50 + 40 * d}},
                          Case{{200, 100}, 1.0 / 3.0, {100 - 80 * d, 50 - 40 * d}}}) { // 45 degrees left of up
        knob.resize(c.size);
        knob.setDoubleValue(c.value);
        const QImage image = PixelProbe::render(knob);
        const QPointF dot = QRectF(PixelProbe::bounds(image, kDot, 60)).center();
        EXPECT_NEAR(dot.x(), c.dot.x(), 0.5) << c.value;
        EXPECT_NEAR(dot.y(), c.dot.y(), 0.5) << c.value;
        EXPECT_NEAR(PixelProbe::count(image, kDot, image.rect(), 60), M_PI * 4 * 4, 15) << c.value;
        EXPECT_TRUE(PixelProbe::near(image, c.size.width() / 2, c.size.height() / 2, kKnob, 3));
    }
}

TEST(WDLinearKnob, APlainKnobIsAGreyDiscFillingItsFrameWithoutADot)
{
    WDLinearKnob plain;
    plain.resize(100, 100);
    const QImage image = PixelProbe::render(plain);
    const QColor grey = QColor::fromRgbF(0.6f, 0.6f, 0.6f);
    EXPECT_TRUE(PixelProbe::near(image, 2, 2, Qt::white, 3));
    // The rim, the centre, and where the dot of the value 0 would be.
    for (QPoint p : {QPoint(1, 50), QPoint(98, 50), QPoint(50, 1), QPoint(50, 50), QPoint(22, 78)})
        EXPECT_TRUE(PixelProbe::near(image, p.x(), p.y(), grey, 3)) << p.x() << "," << p.y();
}

TEST(WDKnobCell, MovesByTheVerticalDragOverFactorAndHeightButNotOnTheFirstStep)
{
    WDKnobCell cell;
    EXPECT_TRUE(cell.startTrackingAt(QPointF(50, 50)));
    EXPECT_EQ(cell.continueTracking(QPointF(50, 50), QPointF(50, 20), 0.4, 100.0), 0.4);
    // Up 30 points over a height of 100 at factor 3 adds a tenth; down takes it away; sideways nothing.
    EXPECT_NEAR(cell.continueTracking(QPointF(50, 50), QPointF(50, 20), 0.4, 100.0), 0.5, 1e-12);
    EXPECT_NEAR(cell.continueTracking(QPointF(50, 20), QPointF(50, 50), 0.5, 100.0), 0.4, 1e-12);
    EXPECT_EQ(cell.continueTracking(QPointF(0, 20), QPointF(90, 20), 0.5, 100.0), 0.5);
    EXPECT_EQ(cell.continueTracking(QPointF(0, 100), QPointF(0, 0), 0.9, 10.0), 1.0);
    EXPECT_EQ(cell.continueTracking(QPointF(0, 0), QPointF(0, 100), 0.1, 10.0), 0.0);
}

TEST(WDLinearKnob, DraggingTheWidgetReportsEachChangeAndTheAltOfThePress)
{
    WDLinearKnob knob;
    knob.resize(100, 100);
    knob.setMouseFactor(2.0);
    knob.setDoubleValue(0.5);
    QSignalSpy edited(&knob, &DoubleValueSlider::edited);

    QTest::mousePress(&knob, Qt::LeftButton, Qt::AltModifier, QPoint(50, 80));
    ASSERT_EQ(edited.count(), 1); // the press alone, so that Alt can reset
    EXPECT_TRUE(edited.last().at(1).toBool());
    QTest::mouseMove(&knob, QPoint(50, 70)); // swallowed: the first step after the press
    EXPECT_EQ(knob.doubleValue(), 0.5);
    QTest::mouseMove(&knob, QPoint(50, 30)); // up 40 / factor 2 / height 100
    EXPECT_NEAR(knob.doubleValue(), 0.7, 1e-12);
    QTest::mouseMove(&knob, QPoint(50, 50)); // down 20
    EXPECT_NEAR(knob.doubleValue(), 0.6, 1e-12);
    QTest::mouseRelease(&knob, Qt::LeftButton, Qt::NoModifier, QPoint(50, 50));
    EXPECT_FALSE(knob.isSliderDown());
    ASSERT_EQ(edited.count(), 3);
    EXPECT_NEAR(edited.last().at(0).toDouble(), 0.6, 1e-12);
}

} // namespace
