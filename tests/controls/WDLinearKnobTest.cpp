#include "controls/WDLinearKnob.h"

#include "PixelProbe.h"

namespace {

const QColor kDot(255, 0, 0);
const QColor kKnob(0, 0, 255);

TEST(WDLinearKnob, TheDotRuns270DegreesFromLowerLeftOverTheTopAndADragMovesItByTheFactorAndHeight)
{
    WDLinearKnob knob;
    knob.setDotColor(kDot);
    knob.setKnobColor(kKnob);
    knob.setDotSize(8.0);
    const double d = std::sqrt(0.5);
    struct Case { QSize size; double value; QPointF dot; };
    // Halfway is straight up; a third is 45 degrees left of up, on an ellipse in a wide frame.
    for (const Case& c : {Case{{100, 100}, 0.5, {50, 10}}, Case{{200, 100}, 1.0 / 3.0, {100 - 80 * d, 50 - 40 * d}}}) {
        knob.resize(c.size);
        knob.setDoubleValue(c.value);
        const QImage image = PixelProbe::render(knob);
        const QRectF dot = PixelProbe::bounds(image, kDot, 60);
        EXPECT_LT(QLineF(dot.center(), c.dot).length(), 0.7) << c.value;
        EXPECT_NEAR(dot.width(), 8.0, 1.0) << c.value;
        EXPECT_TRUE(PixelProbe::near(image, c.size.width() / 2, c.size.height() / 2, kKnob, 3));
    }

    // Dragged up and down it moves by the factor and the height, reporting each change and the Alt of the press.
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
    QTest::mouseMove(&knob, QPoint(90, 50)); // down 20; sideways counts for nothing
    EXPECT_NEAR(knob.doubleValue(), 0.6, 1e-12);
    QTest::mouseMove(&knob, QPoint(90, -200)); // far up: the top of the range
    EXPECT_EQ(knob.doubleValue(), 1.0);
    QTest::mouseRelease(&knob, Qt::LeftButton, Qt::NoModifier, QPoint(90, -200));
    EXPECT_FALSE(knob.isSliderDown());
    QTest::mouseMove(&knob, QPoint(90, 90)); // no button down: no change
    EXPECT_EQ(knob.doubleValue(), 1.0);
    EXPECT_EQ(edited.count(), 4);
}

} // namespace
