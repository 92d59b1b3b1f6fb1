#include "controls/WDSlider.h"

#include "PixelProbe.h"

#include <QSignalSpy>
#include <QTest>

#include <gtest/gtest.h>

namespace {

const QColor kBack(0, 0, 255);
const QColor kBar(0, 200, 0);
const QColor kIcon(255, 0, 0);

struct SliderFixture : ::testing::Test {
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
};

// The knob's icon is found by its colour; the gauge is drawn symmetric about mx - 1.
double gaugeCentreX(const QImage& image)
{
    const QRect box = PixelProbe::bounds(image, kIcon, 60);
    return (box.left() + box.right() + 1) / 2.0;
}

TEST_F(SliderFixture, KnobSpansTheWidthLessOneKnob)
{
    style(WDSlider::Gauge, 24.0, QSize(300, 25));
    slider.setDoubleRange(0.5, 1.25);

    slider.setDoubleValue(0.5);
    EXPECT_EQ(slider.knobRectFlipped(), QRectF(0, 0, 25, 25));
    EXPECT_NEAR(gaugeCentreX(PixelProbe::render(slider)), 0 + 11.5, 1.0);

    slider.setDoubleValue(1.25);
    EXPECT_EQ(slider.knobRectFlipped(), QRectF(275, 0, 25, 25));
    EXPECT_NEAR(gaugeCentreX(PixelProbe::render(slider)), 275 + 11.5, 1.0);

    // Halfway is 137.5, rounded away from zero.
    slider.setDoubleValue(0.875);
    EXPECT_EQ(slider.knobRectFlipped().x(), 138.0);
}

TEST_F(SliderFixture, GaugeDialArchesOverTheCentreLine)
{
    style(WDSlider::Gauge, 24.0, QSize(300, 25));
    slider.setDoubleValue(0.5);
    const QImage image = PixelProbe::render(slider);
    // The dial and needle lie above the pill's middle line (y 12); only the hub reaches below.
    EXPECT_GT(PixelProbe::count(image, kIcon, QRect(0, 0, 300, 9), 60), 10);
    EXPECT_EQ(PixelProbe::count(image, kIcon, QRect(0, 16, 300, 9), 60), 0);
}

TEST_F(SliderFixture, KnobIsCentredVerticallyAndRounded)
{
    style(WDSlider::Gauge, 24.0, QSize(300, 30));
    EXPECT_EQ(slider.knobRectFlipped().y(), 3.0); // (30 - 25) / 2 = 2.5 rounds up
}

TEST_F(SliderFixture, MagnifierKnobStaysInsideTheKnobSquare)
{
    style(WDSlider::Magnifier, 24.0, QSize(300, 25));
    for (double value : {0.0, 1.0}) {
        slider.setDoubleValue(value);
        const QRect knob = slider.knobRectFlipped().toRect();
        const QRect icon = PixelProbe::bounds(PixelProbe::render(slider), kIcon, 60);
        ASSERT_FALSE(icon.isNull());
        EXPECT_TRUE(knob.contains(icon)) << value;
        // The lens sits up and left, the handle runs down to the right.
        EXPECT_GT(PixelProbe::count(PixelProbe::render(slider), kIcon,
                                    QRect(knob.center().x() + 3, knob.center().y() + 1, 9, 9), 60),
                  0);
    }
}

TEST_F(SliderFixture, OnlyIconsZeroAndOneDrawAKnob)
{
    for (int icon : {2, 3, -1}) {
        style(icon, 24.0, QSize(300, 25));
        slider.setDoubleValue(0.5);
        EXPECT_EQ(PixelProbe::count(PixelProbe::render(slider), kIcon, 60), 0) << icon;
    }
}

TEST_F(SliderFixture, ThickSlidersFillABarThinOnesShowADot)
{
    struct Case {
        double thickness;
        bool bar;
    };
    for (const Case c : {Case{24.0, true}, Case{19.0, true}, Case{18.0, false}, Case{15.0, false}}) {
        const double t = c.thickness;
        style(3, t, QSize(300, int(t)));
        slider.setDoubleValue(0.5);
        const QImage image = PixelProbe::render(slider);
        const double p = (300 - t) * 0.5;
        const double midY = t / 2.0;
        // Halfway between the left end and the value: bar colour only if a bar is drawn.
        EXPECT_EQ(PixelProbe::near(image, t / 2.0 + p / 2.0, midY, kBar, 10), c.bar) << t;
        EXPECT_EQ(PixelProbe::near(image, t / 2.0 + p / 2.0, midY, kBack, 10), !c.bar) << t;
        // At the value itself there is always bar colour; past it, the pill.
        EXPECT_TRUE(PixelProbe::near(image, p + t / 2.0, midY, kBar, 10)) << t;
        EXPECT_TRUE(PixelProbe::near(image, p + t + 6.0, midY, kBack, 10)) << t;
    }
}

TEST_F(SliderFixture, PillHasRoundEndsAlongTheTopEdge)
{
    style(3, 16.0, QSize(300, 30));
    slider.setDoubleValue(0.0);
    const QImage image = PixelProbe::render(slider);
    EXPECT_TRUE(PixelProbe::near(image, 299, 0, Qt::white, 10)); // corner cut by the round end
    EXPECT_TRUE(PixelProbe::near(image, 292, 8, kBack, 10));
    EXPECT_TRUE(PixelProbe::near(image, 150, 20, Qt::white, 10)); // below the pill
}

TEST_F(SliderFixture, DoubleValueIsExactAndMirroredOnTheIntRange)
{
    slider.setDoubleRange(0.5, 1.25);
    slider.setDoubleValue(1.0);
    EXPECT_EQ(slider.doubleValue(), 1.0);
    EXPECT_EQ(slider.value(), 6667);

    slider.setDoubleValue(3.0);
    EXPECT_EQ(slider.doubleValue(), 1.25);

    slider.setValue(0);
    EXPECT_EQ(slider.doubleValue(), 0.5);

    // A wider range keeps the value; a narrower one clamps it.
    slider.setDoubleValue(1.2);
    slider.setDoubleRange(0.2, 1.4);
    EXPECT_EQ(slider.doubleValue(), 1.2);
    slider.setDoubleRange(0.5, 1.0);
    EXPECT_EQ(slider.doubleValue(), 1.0);
}

TEST_F(SliderFixture, DraggingFromMinToMaxRaisesTheValueStepByStep)
{
    style(WDSlider::Gauge, 24.0, QSize(300, 25));
    slider.setDoubleRange(0.5, 1.25);
    slider.setDoubleValue(0.5);
    QSignalSpy changed(&slider, &DoubleValueSlider::doubleValueChanged);
    QSignalSpy edited(&slider, &DoubleValueSlider::edited);

    QTest::mousePress(&slider, Qt::LeftButton, Qt::NoModifier, QPoint(12, 12));
    for (int x = 20; x <= 300; x += 20)
        QTest::mouseMove(&slider, QPoint(x, 12));
    QTest::mouseRelease(&slider, Qt::LeftButton, Qt::NoModifier, QPoint(300, 12));

    ASSERT_GE(changed.count(), 10);
    double last = 0.5;
    for (const auto& args : changed) {
        const double value = args.at(0).toDouble();
        EXPECT_GT(value, last);
        last = value;
    }
    EXPECT_EQ(last, 1.25);
    EXPECT_EQ(edited.count(), changed.count() + 1); // the press reports too
    EXPECT_FALSE(edited.last().at(1).toBool());
    EXPECT_FALSE(slider.altWasHeld());
}

TEST_F(SliderFixture, PressMapsTheKnobCentreToTheValue)
{
    style(WDSlider::Gauge, 24.0, QSize(225, 25)); // travel of 200
    slider.setDoubleRange(1.0, 25.0);
    QTest::mouseClick(&slider, Qt::LeftButton, Qt::NoModifier, QPoint(62, 12));
    // The press lands at x 62 + 0.5 in Qt's integer positions: (62 - 12.5) / 200 of the range.
    EXPECT_NEAR(slider.doubleValue(), 1.0 + 24.0 * (62.0 - 12.5) / 200.0, 1e-9);
}

TEST_F(SliderFixture, AltIsReportedWithTheChange)
{
    style(3, 15.0, QSize(200, 15));
    slider.setDoubleValue(0.3);
    QSignalSpy edited(&slider, &DoubleValueSlider::edited);

    QTest::mousePress(&slider, Qt::LeftButton, Qt::AltModifier, QPoint(100, 7));
    ASSERT_EQ(edited.count(), 1);
    EXPECT_TRUE(edited.last().at(1).toBool());
    EXPECT_TRUE(slider.altWasHeld());
    QTest::mouseRelease(&slider, Qt::LeftButton, Qt::AltModifier, QPoint(100, 7));

    QTest::mousePress(&slider, Qt::LeftButton, Qt::NoModifier, QPoint(100, 7));
    EXPECT_FALSE(edited.last().at(1).toBool());
    EXPECT_FALSE(slider.altWasHeld());
    QTest::mouseRelease(&slider, Qt::LeftButton, Qt::NoModifier, QPoint(100, 7));

    QTest::keyClick(&slider, Qt::Key_Right, Qt::AltModifier);
    EXPECT_TRUE(slider.altWasHeld());
    EXPECT_TRUE(edited.last().at(1).toBool());
}

TEST_F(SliderFixture, AltIsKnownAlreadyWhenTheValueChangeArrives)
{
    style(3, 15.0, QSize(200, 15));
    slider.setDoubleValue(0.0);
    bool seenAlt = false;
    QObject::connect(&slider, &DoubleValueSlider::doubleValueChanged,
                     [&] { seenAlt = slider.altWasHeld(); });
    QTest::mousePress(&slider, Qt::LeftButton, Qt::AltModifier, QPoint(150, 7));
    EXPECT_TRUE(seenAlt);
    QTest::mouseRelease(&slider, Qt::LeftButton, Qt::AltModifier, QPoint(150, 7));
}

TEST_F(SliderFixture, ProgrammaticChangesAreNotReportedAsEdits)
{
    QSignalSpy edited(&slider, &DoubleValueSlider::edited);
    QSignalSpy changed(&slider, &DoubleValueSlider::doubleValueChanged);
    slider.setDoubleValue(0.7);
    slider.setValue(100);
    EXPECT_EQ(edited.count(), 0);
    EXPECT_EQ(changed.count(), 2);
}

} // namespace
