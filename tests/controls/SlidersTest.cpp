#include "controls/WDLinearKnob.h"
#include "controls/WDSlider.h"

#include "PixelProbe.h"

#include <QAccessible>
#include <QApplication>
#include <QWheelEvent>

namespace {

const QColor kBack(0, 0, 255);
const QColor kBar(0, 200, 0);
const QColor kIcon(255, 0, 0);

// A gauge on a pill of the default thickness (24): a travel of 275 for the knob.
struct WDSliderTest : ::testing::Test {
    WDSlider slider;

    WDSliderTest()
    {
        slider.setBackColor(kBack);
        slider.setBarColor(kBar);
        slider.setIconColor(kIcon);
        slider.resize(300, 25);
        slider.setDoubleRange(0.5, 1.25);
    }
    QRect iconBounds() { return PixelProbe::bounds(PixelProbe::render(slider), kIcon, 60); }
};

TEST_F(WDSliderTest, TheBarFillsThePillUpToTheKnobAndOnlyTheGaugeAndTheMagnifierDrawOne)
{
    // The gauge: a dial of radius 7 around (knob centre - 1, pill middle) over the top, and its needle.
    for (auto [value, x] : {std::pair{0.5, 0}, {1.25, 275}, {0.875, 138}}) {
        slider.setDoubleValue(value);
        EXPECT_EQ(slider.knobRectFlipped(), QRectF(x, 0, 25, 25));
        EXPECT_TRUE(PixelProbe::nearRect(iconBounds(), QRect(QPoint(x + 4, 4), QPoint(x + 19, 14)))) << value;
    }
    const QImage half = PixelProbe::render(slider); // filled left of the knob, bare right of it
    EXPECT_TRUE(PixelProbe::near(half, 81, 12, kBar, 10) && PixelProbe::near(half, 170, 12, kBack, 10));
    // The magnifier: a lens of radius 5 around (knob centre - 2, pill middle - 3), its handle down right.
    slider.setIcon(WDSlider::Magnifier);
    slider.setDoubleValue(0.5);
    EXPECT_TRUE(PixelProbe::nearRect(iconBounds(), QRect(QPoint(4, 3), QPoint(19, 18))));
    for (int icon : {2, -1}) {
        slider.setIcon(icon);
        EXPECT_TRUE(iconBounds().isNull()) << icon;
    }
}

// Set in code, by the wheel, by assistive technology (which reads the value text) or by a drag.
TEST_F(WDSliderTest, TheDoubleValueIsExactAndClampedAndTheWheelAssistiveTechnologyAndADragEditIt)
{
    QSignalSpy edited(&slider, &DoubleValueSlider::edited);
    QSignalSpy changed(&slider, &DoubleValueSlider::doubleValueChanged);
    slider.setDoubleRange(0.2, 1.4);
    slider.setDoubleValue(1.0);
    EXPECT_EQ(slider.doubleValue(), 1.0);
    EXPECT_EQ(slider.value(), 6667);
    slider.setDoubleValue(3.0);
    EXPECT_EQ(slider.doubleValue(), 1.4);
    slider.setDoubleRange(0.5, 1.25); // a narrower range clamps the value
    EXPECT_EQ(slider.doubleValue(), 1.25);
    EXPECT_EQ(changed.count(), 3); // 0.5 -> 1.0 -> 1.4 -> 1.25
    EXPECT_EQ(edited.count(), 0) << "programmatic changes are no edits";
    // The wheel goes through the int mirror and is an edit.
    QWheelEvent wheel(QPointF(5, 5), QPointF(5, 5), QPoint(), QPoint(0, -120), Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(&slider, &wheel);
    EXPECT_LT(slider.doubleValue(), 1.25);
    ASSERT_EQ(edited.count(), 1);
    EXPECT_EQ(edited.last().at(0).toDouble(), slider.doubleValue());

    slider.setDoubleValue(1.2);
    slider.setAccessibleName(QStringLiteral("Speed"));
    QAccessibleInterface* accessible = QAccessible::queryAccessibleInterface(&slider);
    EXPECT_EQ(accessible->text(QAccessible::Value), "1.2");
    slider.setValueText(QStringLiteral("120 %"));
    EXPECT_EQ(accessible->text(QAccessible::Value), "120 %");
    EXPECT_EQ(slider.toolTip(), "Speed: 120 %");
    QAccessibleValueInterface* value = accessible->valueInterface();
    EXPECT_EQ((QVariantList{value->currentValue(), value->minimumValue(), value->maximumValue()}), (QVariantList{1.2, 0.5, 1.25}));
    value->setCurrentValue(0.75);
    EXPECT_EQ(slider.doubleValue(), 0.75);
    EXPECT_EQ(edited.count(), 2);

    // Dragged, the knob's centre follows the pointer until the left button is released.
    slider.setDoubleValue(0.5);
    changed.clear();
    edited.clear();
    QTest::mousePress(&slider, Qt::LeftButton, Qt::AltModifier, QPoint(12, 12)); // left of the centre: the minimum
    ASSERT_EQ(edited.count(), 1); // a press reports even an unchanged value, so that Alt-click can reset
    EXPECT_TRUE(edited.last().at(1).toBool());
    QTest::mouseRelease(&slider, Qt::LeftButton, Qt::AltModifier, QPoint(12, 12));
    QTest::mousePress(&slider, Qt::LeftButton, Qt::NoModifier, QPoint(62, 12));
    EXPECT_NEAR(slider.doubleValue(), 0.5 + 0.75 * (62.0 - 12.5) / 275.0, 1e-9);
    EXPECT_FALSE(edited.last().at(1).toBool());
    for (int x : {150, 300, 320}) // 300 and 320 both give the maximum
        QTest::mouseMove(&slider, QPoint(x, 12));
    QTest::mouseRelease(&slider, Qt::LeftButton, Qt::NoModifier, QPoint(320, 12));
    EXPECT_FALSE(slider.isSliderDown());
    QTest::mouseMove(&slider, QPoint(100, 12)); // no button down: no change
    EXPECT_EQ(changed.count(), 3);
    EXPECT_EQ(changed.last().at(0).toDouble(), 1.25);
    EXPECT_EQ(edited.count(), 4);
}

TEST(WDLinearKnob, TheDotRuns270DegreesFromLowerLeftOverTheTopAndADragMovesItByTheFactorAndHeight)
{
    WDLinearKnob knob;
    knob.setDotColor(kIcon);
    knob.setKnobColor(kBack);
    knob.setDotSize(8.0);
    const double d = std::sqrt(0.5);
    struct Case { QSize size; double value; QPointF dot; };
    // Halfway is straight up; a third is 45 degrees left of up, on an ellipse in a wide frame.
    for (const Case& c : {Case{{100, 100}, 0.5, {50, 10}}, Case{{200, 100}, 1.0 / 3.0, {100 - 80 * d, 50 - 40 * d}}}) {
        knob.resize(c.size);
        knob.setDoubleValue(c.value);
        const QImage image = PixelProbe::render(knob);
        const QRectF dot = PixelProbe::bounds(image, kIcon, 60);
        EXPECT_LT(QLineF(dot.center(), c.dot).length(), 0.7) << c.value;
        EXPECT_NEAR(dot.width(), 8.0, 1.0) << c.value;
        EXPECT_TRUE(PixelProbe::near(image, c.size.width() / 2, c.size.height() / 2, kBack, 3));
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
