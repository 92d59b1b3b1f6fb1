#include "controls/WDSlider.h"

#include "PixelProbe.h"

#include <QAccessible>
#include <QApplication>
#include <QSignalSpy>
#include <QTest>
#include <QWheelEvent>

#include <gtest/gtest.h>

namespace {

const QColor kBack(0, 0, 255);
const QColor kBar(0, 200, 0);
const QColor kIcon(255, 0, 0);

struct WDSliderTest : ::testing::Test {
    WDSlider slider;

    void style(int icon, double thickness, QSize size)
    {
        slider.setBackColor(kBack);
        slider.setBarColor(kBar);
        slider.setIconColor(kIcon);
        slider.setIcon(icon);
        slider.setThickness(thickness);
        slider.resize(size);
    }
    QRect iconBounds() { return PixelProbe::bounds(PixelProbe::render(slider), kIcon, 60); }
};

TEST_F(WDSliderTest, TheKnobSpansTheWidthLessOneKnobCentredVertically)
{
    style(WDSlider::Gauge, 24.0, QSize(300, 25));
    slider.setDoubleRange(0.5, 1.25);
    // The gauge: a dial of radius 7 around (knob centre - 1, pill middle) over the top, and its needle.
    for (auto [value, x] : {std::pair{0.5, 0}, {1.25, 275}}) {
        slider.setDoubleValue(value);
        EXPECT_EQ(slider.knobRectFlipped(), QRectF(x, 0, 25, 25));
        EXPECT_TRUE(PixelProbe::nearRect(iconBounds(), QRect(QPoint(x + 4, 4), QPoint(x + 19, 14)))) << value;
    }
    slider.setDoubleValue(0.875);
    EXPECT_EQ(slider.knobRectFlipped().x(), 138.0); // 137.5 rounds away from zero
    slider.resize(300, 30);
    EXPECT_EQ(slider.knobRectFlipped().y(), 3.0); // (30 - 25) / 2 = 2.5 rounds up
}

TEST_F(WDSliderTest, TheMagnifierHasItsLensUpLeftAndItsHandleDownRight)
{
    style(WDSlider::Magnifier, 24.0, QSize(300, 25));
    slider.setDoubleValue(0.0);
    // Lens of radius 5 around (knob centre - 2, pill middle - 3); handle to (+6.5, +8) of that centre.
    EXPECT_TRUE(PixelProbe::nearRect(iconBounds(), QRect(QPoint(4, 3), QPoint(19, 18))));
    for (int icon : {2, 3, -1}) {
        slider.setIcon(icon);
        EXPECT_TRUE(iconBounds().isNull()) << icon;
    }
}

TEST_F(WDSliderTest, ThickSlidersFillABarThinOnesShowADotOnAPillWithRoundEndsAlongTheTop)
{
    for (auto [t, bar] : {std::pair{24.0, true}, {19.0, true}, {18.0, false}, {15.0, false}}) {
        style(3, t, QSize(300, int(t)));
        slider.setDoubleValue(0.5);
        const QImage image = PixelProbe::render(slider);
        const double p = (300 - t) * 0.5, midY = t / 2.0;
        // Halfway between the left end and the value: bar colour only if a bar is drawn.
        EXPECT_EQ(PixelProbe::near(image, t / 2.0 + p / 2.0, midY, kBar, 10), bar) << t;
        EXPECT_EQ(PixelProbe::near(image, t / 2.0 + p / 2.0, midY, kBack, 10), !bar) << t;
        // At the value itself there is always bar colour; past it, the pill.
        EXPECT_TRUE(PixelProbe::near(image, p + t / 2.0, midY, kBar, 10)) << t;
        EXPECT_TRUE(PixelProbe::near(image, p + t + 6.0, midY, kBack, 10)) << t;
    }
    style(3, 16.0, QSize(300, 30));
    const QImage image = PixelProbe::render(slider);
    EXPECT_TRUE(PixelProbe::near(image, 299, 0, Qt::white, 10)); // the corner cut by the round end
    EXPECT_TRUE(PixelProbe::near(image, 292, 8, kBack, 10));
    EXPECT_TRUE(PixelProbe::near(image, 150, 20, Qt::white, 10)); // below the pill
}

TEST_F(WDSliderTest, TheDoubleValueIsExactAndMirroredOnTheIntRange)
{
    QSignalSpy edited(&slider, &DoubleValueSlider::edited);
    QSignalSpy changed(&slider, &DoubleValueSlider::doubleValueChanged);
    slider.setDoubleRange(0.5, 1.25);
    slider.setDoubleValue(1.0);
    EXPECT_EQ(slider.doubleValue(), 1.0);
    EXPECT_EQ(slider.value(), 6667);
    slider.setDoubleValue(3.0);
    EXPECT_EQ(slider.doubleValue(), 1.25);
    slider.setValue(0);
    EXPECT_EQ(slider.doubleValue(), 0.5);
    EXPECT_EQ(changed.count(), 4); // 0 -> 0.5 -> 1.0 -> 1.25 -> 0.5
    EXPECT_EQ(edited.count(), 0) << "programmatic changes are no edits";
    // A wider range keeps the value; a narrower one clamps it; an end past the other moves both.
    slider.setDoubleValue(1.2);
    slider.setDoubleRange(0.2, 1.4);
    EXPECT_EQ(slider.doubleValue(), 1.2);
    slider.setDoubleRange(0.5, 1.0);
    EXPECT_EQ(slider.doubleValue(), 1.0);
    slider.setMinValue(2.0);
    EXPECT_EQ(slider.doubleValue(), 2.0);
    slider.setMaxValue(0.1);
    EXPECT_EQ(slider.doubleValue(), 0.1);
}

TEST_F(WDSliderTest, DraggingPutsTheKnobCentreUnderThePointerUntilTheLeftButtonIsReleased)
{
    style(WDSlider::Gauge, 24.0, QSize(300, 25)); // a travel of 275
    slider.setDoubleRange(0.5, 1.25);
    slider.setDoubleValue(0.5);
    QSignalSpy changed(&slider, &DoubleValueSlider::doubleValueChanged);
    QSignalSpy edited(&slider, &DoubleValueSlider::edited);
    bool altSeen = false; // Alt is known already when the change arrives
    QObject::connect(&slider, &DoubleValueSlider::doubleValueChanged, [&] { altSeen = slider.altWasHeld(); });

    QTest::mousePress(&slider, Qt::LeftButton, Qt::AltModifier, QPoint(12, 12)); // left of the centre: the minimum
    ASSERT_EQ(edited.count(), 1); // a press reports even an unchanged value, so that Alt-click can reset
    EXPECT_TRUE(edited.last().at(1).toBool());
    QTest::mouseRelease(&slider, Qt::LeftButton, Qt::AltModifier, QPoint(12, 12));
    QTest::mousePress(&slider, Qt::LeftButton, Qt::AltModifier, QPoint(62, 12));
    EXPECT_NEAR(slider.doubleValue(), 0.5 + 0.75 * (62.0 - 12.5) / 275.0, 1e-9);
    EXPECT_TRUE(altSeen);
    for (int x = 80; x <= 320; x += 20) // 300 and 320 both give the maximum
        QTest::mouseMove(&slider, QPoint(x, 12));
    QTest::mouseRelease(&slider, Qt::LeftButton, Qt::NoModifier, QPoint(320, 12));
    EXPECT_FALSE(slider.isSliderDown());
    EXPECT_FALSE(slider.altWasHeld());

    ASSERT_GE(changed.count(), 10);
    for (qsizetype i = 1; i < changed.count(); ++i)
        EXPECT_GT(changed[i].at(0).toDouble(), changed[i - 1].at(0).toDouble());
    EXPECT_EQ(changed.last().at(0).toDouble(), 1.25);
    EXPECT_EQ(edited.count(), changed.count() + 1);
}

TEST_F(WDSliderTest, KeysStepByAHundredthOrATenthAndTheWheelScrolls)
{
    slider.setDoubleValue(0.5);
    QSignalSpy edited(&slider, &DoubleValueSlider::edited);
    QTest::keyClick(&slider, Qt::Key_Right, Qt::AltModifier);
    EXPECT_DOUBLE_EQ(slider.doubleValue(), 0.51);
    EXPECT_TRUE(slider.altWasHeld());
    QTest::keyClick(&slider, Qt::Key_PageUp);
    EXPECT_DOUBLE_EQ(slider.doubleValue(), 0.61);
    EXPECT_FALSE(slider.altWasHeld());
    QWheelEvent wheel(QPointF(5, 5), QPointF(5, 5), QPoint(), QPoint(0, 120), Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(&slider, &wheel);
    EXPECT_GT(slider.doubleValue(), 0.61);
    EXPECT_EQ(edited.count(), 3);
    slider.setDoubleValue(1.0);
    QTest::keyClick(&slider, Qt::Key_Right); // nothing left to change, nothing reported
    EXPECT_EQ(edited.count(), 3);
}

TEST_F(WDSliderTest, AssistiveTechnologyReadsTheValueTextAndSetsTheDoubleValue)
{
    slider.setDoubleRange(0.5, 1.5);
    slider.setDoubleValue(1.25);
    slider.setAccessibleName(QStringLiteral("Speed"));
    QAccessibleInterface* accessible = QAccessible::queryAccessibleInterface(&slider);
    ASSERT_NE(accessible, nullptr);
    EXPECT_EQ(accessible->text(QAccessible::Name), "Speed");
    EXPECT_EQ(accessible->text(QAccessible::Value), "1.25");
    slider.setValueText(QStringLiteral("125 %"));
    EXPECT_EQ(accessible->text(QAccessible::Value), "125 %");
    EXPECT_EQ(slider.toolTip(), "Speed: 125 %");

    QAccessibleValueInterface* value = accessible->valueInterface();
    ASSERT_NE(value, nullptr);
    EXPECT_EQ(value->currentValue(), QVariant(1.25));
    EXPECT_EQ(value->minimumValue(), QVariant(0.5));
    EXPECT_EQ(value->maximumValue(), QVariant(1.5));
    EXPECT_DOUBLE_EQ(value->minimumStepSize().toDouble(), 0.01);
    QSignalSpy edited(&slider, &DoubleValueSlider::edited);
    value->setCurrentValue(0.75);
    value->setCurrentValue(0.75);
    EXPECT_EQ(slider.doubleValue(), 0.75);
    EXPECT_EQ(edited.count(), 1);
}

} // namespace
