#include "WindowFixture.h"

#include "app/ControlFormats.h"
#include "app/WavePane.h"
#include "audio/Equalizer.h"
#include "controls/WDButtonCell.h"
#include "preferences/ColorTheme.h"

#include <QAbstractButton>
#include <QLabel>

namespace {

QString accessibleName(QWidget* widget)
{
    return QAccessible::queryAccessibleInterface(widget)->text(QAccessible::Name);
}

QString accessibleValue(QWidget* widget)
{
    return QAccessible::queryAccessibleInterface(widget)->text(QAccessible::Value);
}

struct MainWindowControlsTest : WindowFixture {
    Equalizer& eq() { return vc->player()->graph()->eqNode(); }
    VirtualOutput& output() { return static_cast<VirtualOutput&>(vc->player()->graph()->output()); }

    void openDrawer()
    {
        if (!vc->isRightDrawerOpen())
            vc->showSidebar();
        settle();
    }
};

} // namespace

TEST_F(MainWindowControlsTest, SliderMovesReachTheEngineInItsUnits)
{
    ASSERT_TRUE(load(makeTrack("a.wav")));
    openDrawer();

    clickAt(vc->toneSlider(), 0.25);
    const double tone = vc->toneSlider()->doubleValue();
    EXPECT_NEAR(tone, 0.25, 0.01);
    EXPECT_FLOAT_EQ(eq().frequency(0), float(tone * 2960.0 + 40.0));
    EXPECT_FALSE(eq().isBypassed(0)) << "moving the tone slider switches the filter on";
    EXPECT_TRUE(vc->toneButton()->isChecked());

    clickAt(vc->volumeSlider(), 0.5);
    EXPECT_FLOAT_EQ(vc->player()->volume(), float(vc->volumeSlider()->doubleValue()));
    EXPECT_NEAR(vc->player()->volume(), 0.5f, 0.01f);

    clickAt(vc->pitchCoarseSlider(), 0.75);
    clickAt(vc->pitchFineSlider(), 0.25);
    const double expected = (vc->pitchCoarseSlider()->doubleValue() - 0.5) * 2400.0
        + (vc->pitchFineSlider()->doubleValue() - 0.5) * 200.0;
    EXPECT_NEAR(expected, 600.0 - 50.0, 30.0);
    EXPECT_NEAR(vc->player()->pitch(), expected, 1e-3);
    EXPECT_NEAR(vc->player()->graph()->pitchNode().pitch(), expected, 1e-3) << "the pitch button went on";

    clickAt(vc->speedSlider(), 0.75);
    const double speed = vc->speedSlider()->doubleValue();
    EXPECT_NEAR(speed, 0.75, 0.01);
    EXPECT_DOUBLE_EQ(vc->getSpeed(), speed);
    EXPECT_FLOAT_EQ(vc->player()->speed(), float(speed));
}

TEST_F(MainWindowControlsTest, AltPutsOnlyTheMovedSliderBackToNeutral)
{
    ASSERT_TRUE(load(makeTrack("a.wav")));
    openDrawer();

    clickAt(vc->pitchCoarseSlider(), 0.9);
    clickAt(vc->pitchFineSlider(), 0.1);
    const double coarse = vc->pitchCoarseSlider()->doubleValue();
    clickAt(vc->pitchFineSlider(), 0.8, Qt::AltModifier);
    EXPECT_DOUBLE_EQ(vc->pitchFineSlider()->doubleValue(), 0.5);
    EXPECT_DOUBLE_EQ(vc->pitchCoarseSlider()->doubleValue(), coarse) << "the coarse part stays";
    EXPECT_NEAR(vc->player()->pitch(), (coarse - 0.5) * 2400.0, 1e-3);
    EXPECT_TRUE(vc->pitchButton()->isChecked());

    clickAt(vc->toneSlider(), 0.9, Qt::AltModifier);
    EXPECT_DOUBLE_EQ(vc->toneSlider()->doubleValue(), 0.5);
    EXPECT_FLOAT_EQ(eq().frequency(0), 1520.0f);
    EXPECT_TRUE(vc->toneButton()->isChecked()) << "an Alt move still switches the filter on";
    EXPECT_FALSE(eq().isBypassed(1));

    clickAt(vc->volumeSlider(), 0.3);
    clickAt(vc->volumeSlider(), 0.3, Qt::AltModifier);
    EXPECT_FLOAT_EQ(vc->player()->volume(), 1.0f);
    EXPECT_EQ(vc->volumeLabel()->text(), "0.0 dB");

    clickAt(vc->speedSlider(), 0.6);
    clickAt(vc->speedSlider(), 0.6, Qt::AltModifier);
    EXPECT_DOUBLE_EQ(vc->speedSlider()->doubleValue(), 1.0);
    EXPECT_DOUBLE_EQ(vc->getSpeed(), 1.0);
    EXPECT_FLOAT_EQ(vc->player()->speed(), 1.0f);
    EXPECT_EQ(vc->speedLabel()->text(), "100 %");
}

TEST_F(MainWindowControlsTest, LabelsReadAsTheirFormatsSay)
{
    struct ToneCase {
        double value;
        const char* text;
    };
    for (const ToneCase& c : {ToneCase{0.0, "40 Hz"}, ToneCase{1.0, "3.0 kHz"}}) {
        vc->toneSlider()->setDoubleValue(c.value);
        vc->setFilter(vc->toneSlider());
        EXPECT_EQ(vc->toneLabel()->text(), c.text) << c.value;
    }
    EXPECT_EQ(ControlFormats::toneText(1000.0f), "1.0 kHz");
    EXPECT_EQ(ControlFormats::toneText(999.4f), "999 Hz");

    const auto pitchLabelFor = [&](double coarse, double fine) {
        vc->pitchCoarseSlider()->setDoubleValue(coarse);
        vc->pitchFineSlider()->setDoubleValue(fine);
        vc->pitch(vc->pitchFineSlider());
        return vc->pitchLabel()->text();
    };
    EXPECT_EQ(pitchLabelFor(1.0, 0.5), "1200 Ct");
    EXPECT_EQ(pitchLabelFor(0.5, 1.0), "100 Ct");

    vc->setSpeed(0.75);
    EXPECT_DOUBLE_EQ(vc->speedSlider()->doubleValue(), 0.75) << "setting speed moves the slider";
    vc->setSpeed(1.0);
    EXPECT_EQ(vc->speedLabel()->text(), "100 %");

    vc->setVolume(nullptr);
    EXPECT_EQ(vc->volumeLabel()->text(), "0.0 dB");

    EXPECT_EQ(ControlFormats::timeText(59.9), "00:59");
    EXPECT_EQ(ControlFormats::timeText(60.0), "01:00");
    EXPECT_EQ(ControlFormats::timeText(6000.0), "100:00");
    EXPECT_EQ(vc->timeLabel()->text(), "00:00");

    vc->setZoom(3.4);
    EXPECT_EQ(vc->zoomLabel()->text(), "3x");
    EXPECT_NEAR(vc->zoomSlider()->doubleValue(), 3.4, 1e-6);
    float zoomed = 0.0f;
    vc->setZoomTarget([&](float factor) { zoomed = factor; });
    clickAt(vc->zoomSlider(), 13.0);
    EXPECT_FLOAT_EQ(zoomed, float(vc->zoomSlider()->doubleValue()));
    EXPECT_EQ(vc->zoomLabel()->text(), QString::asprintf("%.fx", double(zoomed)));
}

TEST_F(MainWindowControlsTest, SpeedStepsStopAtTheSliderRange)
{
    vc->setSpeed(1.2);
    vc->incSpeed();
    EXPECT_DOUBLE_EQ(vc->getSpeed(), 1.25);
    vc->incSpeed();
    EXPECT_DOUBLE_EQ(vc->getSpeed(), 1.25) << "the top of the normal range holds";
    EXPECT_DOUBLE_EQ(vc->speedSlider()->doubleValue(), 1.25);
    vc->decSpeed();
    EXPECT_NEAR(vc->getSpeed(), 1.2, 1e-12);

    vc->setExtendedSpeedRange(true);
    EXPECT_DOUBLE_EQ(vc->speedSlider()->minValue(), 0.2);
    EXPECT_DOUBLE_EQ(vc->speedSlider()->maxValue(), 1.4);
    EXPECT_EQ(vc->speedSlider()->numberOfTickMarks(), 7);
    vc->setSpeed(0.22);
    vc->decSpeed();
    EXPECT_DOUBLE_EQ(vc->getSpeed(), 0.2);
    vc->decSpeed();
    EXPECT_DOUBLE_EQ(vc->getSpeed(), 0.2);

    vc->setSpeed(1.4);
    vc->setExtendedSpeedRange(false);
    EXPECT_DOUBLE_EQ(vc->getSpeed(), 1.4) << "a narrower range leaves the speed alone";
    EXPECT_EQ(vc->speedSlider()->numberOfTickMarks(), 5);
}

TEST_F(MainWindowControlsTest, StopKeepsThePositionShowsPlayAndASecondStopGoesToTheStart)
{
    ASSERT_TRUE(load(makeTrack("a.wav", 4.0)));
    QTest::mouseClick(vc->playButton(), Qt::LeftButton);
    EXPECT_EQ(vc->playButton()->style(), WDButtonCell::Pause);
    EXPECT_EQ(accessibleName(vc->playButton()), "Pause");
    EXPECT_TRUE(vc->isCursorRunning());
    output().pull(44100);
    const double heard = vc->player()->currentTime();
    EXPECT_GT(heard, 0.5);

    // Playback ▸ Stop, by its shortcut.
    press(Qt::Key_Period, Qt::ControlModifier);
    EXPECT_FALSE(vc->player()->isPlaying());
    EXPECT_NEAR(vc->player()->currentTime(), heard, 0.05);
    EXPECT_EQ(vc->playButton()->style(), WDButtonCell::Play) << "nothing plays after a stop";
    EXPECT_EQ(accessibleName(vc->playButton()), "Play");
    EXPECT_EQ(vc->playButton()->toolTip(), "Play");

    press(Qt::Key_Period, Qt::ControlModifier);
    EXPECT_NEAR(vc->player()->currentTime(), 0.0, 1e-9);
    EXPECT_EQ(vc->timeLabel()->text(), "00:00");
    QTest::mouseClick(vc->playButton(), Qt::LeftButton);
    EXPECT_TRUE(vc->player()->isPlaying()) << "one press plays again";
}

TEST_F(MainWindowControlsTest, ReturnRestartsFromTheStartOnlyWhenPlaying)
{
    ASSERT_TRUE(load(makeTrack("a.wav", 4.0)));
    vc->play();
    output().pull(2 * 44100);
    ASSERT_GT(vc->player()->currentTime(), 1.5);
    vc->returnPlayPos(vc->returnButton());
    EXPECT_TRUE(vc->player()->isPlaying());
    EXPECT_EQ(vc->playButton()->style(), WDButtonCell::Pause);
    output().pull(4410);
    EXPECT_LT(vc->player()->currentTime(), 0.5);

    vc->play();
    EXPECT_EQ(vc->playButton()->style(), WDButtonCell::Play);
    vc->returnPlayPos();
    EXPECT_FALSE(vc->player()->isPlaying());
    EXPECT_NEAR(vc->player()->currentTime(), 0.0, 1e-9);
}

TEST_F(MainWindowControlsTest, SoloButtonsExcludeEachOtherAndMayBothBeOff)
{
    ASSERT_TRUE(load(makeTrack("a.wav")));
    openDrawer();
    QTest::mouseClick(vc->soloRightButton(), Qt::LeftButton);
    EXPECT_EQ(vc->player()->solo(), 2);
    QTest::mouseClick(vc->soloLeftButton(), Qt::LeftButton);
    EXPECT_TRUE(vc->soloLeftButton()->isChecked());
    EXPECT_FALSE(vc->soloRightButton()->isChecked());
    EXPECT_EQ(vc->player()->solo(), 1);
    QTest::mouseClick(vc->soloLeftButton(), Qt::LeftButton);
    EXPECT_FALSE(vc->soloLeftButton()->isChecked());
    EXPECT_FALSE(vc->soloRightButton()->isChecked());
    EXPECT_EQ(vc->player()->solo(), 0);
}

TEST_F(MainWindowControlsTest, ANewTrackResetsSpeedPitchAndToneButKeepsVolumeAndSolo)
{
    ASSERT_TRUE(load(makeTrack("a.wav")));
    openDrawer();
    clickAt(vc->speedSlider(), 0.7);
    clickAt(vc->pitchCoarseSlider(), 0.8);
    clickAt(vc->toneSlider(), 0.2);
    clickAt(vc->volumeSlider(), 0.4);
    QTest::mouseClick(vc->soloRightButton(), Qt::LeftButton);
    const double volume = vc->volumeSlider()->doubleValue();
    vc->play();
    ASSERT_EQ(vc->playButton()->style(), WDButtonCell::Pause);

    ASSERT_TRUE(load(makeTrack("b.wav")));
    EXPECT_DOUBLE_EQ(vc->getSpeed(), 1.0);
    EXPECT_DOUBLE_EQ(vc->speedSlider()->doubleValue(), 1.0);
    EXPECT_FLOAT_EQ(vc->player()->speed(), 1.0f);
    EXPECT_DOUBLE_EQ(vc->pitchCoarseSlider()->doubleValue(), 0.5);
    EXPECT_FALSE(vc->pitchButton()->isChecked());
    EXPECT_DOUBLE_EQ(vc->toneSlider()->doubleValue(), 0.5);
    EXPECT_FALSE(vc->toneButton()->isChecked());
    EXPECT_TRUE(eq().isBypassed(0));
    EXPECT_DOUBLE_EQ(vc->volumeSlider()->doubleValue(), volume);
    EXPECT_TRUE(vc->soloRightButton()->isChecked());
    EXPECT_EQ(vc->playButton()->style(), WDButtonCell::Play) << "the new track is not playing";
    EXPECT_EQ(window->windowTitle(), "b.wav");
}

TEST_F(MainWindowControlsTest, TheCursorTimerRunsFromStartUntilReset)
{
    ASSERT_TRUE(load(makeTrack("a.wav")));
    EXPECT_FALSE(vc->isCursorRunning());
    vc->play();
    EXPECT_TRUE(vc->isCursorRunning());
    output().pull(44100 + 2048); // past the limiter's look-ahead
    ASSERT_TRUE(waitFor([&] { return vc->timeLabel()->text() == "00:01"; }, 2000));
    vc->audioPlayerWillReset();
    EXPECT_FALSE(vc->isCursorRunning());
    vc->audioPlayerDidFinishPlaying(vc->player(), true);
    EXPECT_EQ(vc->playButton()->style(), WDButtonCell::Play);
}

TEST_F(MainWindowControlsTest, AssistiveTechnologyFindsEachSliderByNameAndReadsItsLabelsValue)
{
    ASSERT_TRUE(load(makeTrack("a.wav")));
    openDrawer();
    struct SliderCase {
        WDSlider* slider;
        QLabel* label;
        double value;
        const char* name;
        const char* shown;
    };
    // Set through the tree as a screen reader's user would; the two pitch sliders share one label.
    const SliderCase cases[] = {
        {vc->speedSlider(), vc->speedLabel(), 0.75, "Speed", "75 %"},
        {vc->zoomSlider(), vc->zoomLabel(), 3.0, "Zoom", "3x"},
        {vc->volumeSlider(), vc->volumeLabel(), 0.5, "Volume", "-6.0 dB"},
        {vc->toneSlider(), vc->toneLabel(), 0.5, "Tone", "1.5 kHz"},
        {vc->pitchCoarseSlider(), vc->pitchLabel(), 0.0, "Pitch (semitones)", "-1200 Ct"},
        {vc->pitchFineSlider(), vc->pitchLabel(), 0.0, "Pitch (fine)", "-1300 Ct"},
    };
    for (const SliderCase& c : cases) {
        SCOPED_TRACE(c.name);
        QAccessibleInterface* iface = QAccessible::queryAccessibleInterface(c.slider);
        ASSERT_NE(iface, nullptr);
        ASSERT_NE(iface->valueInterface(), nullptr);
        EXPECT_EQ(iface->role(), QAccessible::Slider);
        EXPECT_EQ(iface->text(QAccessible::Name), c.name);
        iface->valueInterface()->setCurrentValue(c.value);
        EXPECT_EQ(c.label->text(), c.shown) << "the move reached the controller";
        EXPECT_EQ(iface->text(QAccessible::Value), c.shown);
        EXPECT_EQ(c.slider->toolTip(), QString("%1: %2").arg(c.name, c.shown));
        EXPECT_DOUBLE_EQ(iface->valueInterface()->currentValue().toDouble(), c.value);
    }
    EXPECT_EQ(accessibleValue(vc->pitchCoarseSlider()), "-1300 Ct") << "both pitch sliders read the pitch";
    EXPECT_FLOAT_EQ(vc->player()->speed(), 0.75f);
    EXPECT_TRUE(vc->pitchButton()->isChecked());

    // A mouse move is read the same way.
    clickAt(vc->speedSlider(), 1.1);
    EXPECT_EQ(accessibleValue(vc->speedSlider()), vc->speedLabel()->text());
}

TEST_F(MainWindowControlsTest, ButtonsSayWhatTheyDoAndWhetherTheyAreOn)
{
    ASSERT_TRUE(load(makeTrack("a.wav")));
    EXPECT_EQ(accessibleName(vc->playButton()), "Play");
    EXPECT_EQ(accessibleName(vc->returnButton()), "Return to Start");
    QTest::mouseClick(vc->playButton(), Qt::LeftButton);
    EXPECT_EQ(accessibleName(vc->playButton()), "Pause");
    EXPECT_EQ(vc->playButton()->toolTip(), "Pause");

    openDrawer();
    struct ToggleCase {
        QAbstractButton* button;
        const char* name;
        const char* off;
        const char* on;
    };
    const ToggleCase cases[] = {
        {vc->toneButton(), "Tone", "Off", "On"},
        {vc->pitchButton(), "Pitch", "Off", "On"},
        {vc->soloLeftButton(), "Solo Left", "Off", "On"},
        {vc->soloRightButton(), "Solo Right", "Off", "On"},
        {vc->leftSidebarButton(), "Library & Playlist", "Hidden", "Shown"},
        {vc->sidebarButton(), "Tone & Pitch", "Hidden", "Shown"},
    };
    for (const ToggleCase& c : cases) {
        SCOPED_TRACE(c.name);
        QAccessibleInterface* iface = QAccessible::queryAccessibleInterface(c.button);
        const bool wasOn = c.button->isChecked();
        EXPECT_EQ(iface->text(QAccessible::Name), c.name);
        EXPECT_EQ(iface->text(QAccessible::Description), wasOn ? c.on : c.off);
        EXPECT_EQ(bool(iface->state().checked), wasOn);
        QTest::mouseClick(c.button, Qt::LeftButton);
        settle();
        EXPECT_EQ(bool(iface->state().checked), !wasOn);
        EXPECT_EQ(iface->text(QAccessible::Description), !wasOn ? c.on : c.off);
        EXPECT_EQ(c.button->toolTip(), QString("%1: %2").arg(c.name, !wasOn ? c.on : c.off));
    }
}

TEST(ColorThemeTest, OnlyTheWaveColourFollowsTheTheme)
{
    const auto rgb = [](const QColor& c) { return std::array<float, 3>{c.redF(), c.greenF(), c.blueF()}; };
    const auto near = [&](const QColor& c, float r, float g, float b) {
        const auto v = rgb(c);
        return std::abs(v[0] - r) < 1e-3f && std::abs(v[1] - g) < 1e-3f && std::abs(v[2] - b) < 1e-3f;
    };
    EXPECT_TRUE(near(ColorTheme::forTheme(1).wave, 0.141f, 0.824f, 0.353f));
    EXPECT_TRUE(near(ColorTheme::forTheme(7).wave, 1.0f, 0.69f, 0.42f));
    EXPECT_TRUE(near(ColorTheme::forTheme(-1).wave, 1.0f, 0.69f, 0.42f));
    EXPECT_TRUE(near(ColorTheme::forTheme(2).background, 0.157f, 0.208f, 0.251f));
    EXPECT_NEAR(ColorTheme::forTheme(0).selection.alphaF(), 0.15, 1e-3);
    const auto dictionary = ColorTheme::forTheme(3).dictionary();
    EXPECT_EQ(dictionary.size(), 5);
    EXPECT_TRUE(near(dictionary.value("wave"), 0.133f, 0.733f, 0.839f));
    EXPECT_TRUE(near(dictionary.value("icon"), 0.114f, 0.114f, 0.114f));
}

TEST_F(MainWindowControlsTest, TheThemeReachesTheControlsAndFollowsTheSetting)
{
    EXPECT_EQ(vc->toneSlider()->barColor(), ColorTheme::forTheme(1).wave) << "a first run has theme 1";
    EXPECT_EQ(vc->playButton()->backColor(), ColorTheme::forTheme(1).key);
    EXPECT_EQ(vc->speedSlider()->barColor(), ColorTheme::forTheme(1).key);
    const QImage shot = window->grab().toImage();
    const QPoint inWave = vc->wavePane()->mapTo(window, vc->wavePane()->rect().center());
    EXPECT_EQ(shot.pixelColor(inWave).rgb(), ColorTheme::forTheme(1).background.rgb());

    defaults->setObject(2, "Theme");
    vc->setColorTheme();
    EXPECT_EQ(vc->volumeSlider()->barColor(), ColorTheme::forTheme(2).wave);
    EXPECT_EQ(vc->pitchFineSlider()->backColor(), ColorTheme::forTheme(2).background);
}

namespace {
struct ExtendedRangeAtStartTest : WindowFixture {
    void prepareDefaults() override { defaults->setObject(true, "ExtendedSpeedRange"); }
};
} // namespace

TEST_F(ExtendedRangeAtStartTest, TheStoredRangeHoldsFromTheStart)
{
    EXPECT_DOUBLE_EQ(vc->speedSlider()->minValue(), 0.2);
    EXPECT_DOUBLE_EQ(vc->speedSlider()->maxValue(), 1.4);
    EXPECT_EQ(vc->speedSlider()->numberOfTickMarks(), 7);
    EXPECT_DOUBLE_EQ(vc->speedSlider()->doubleValue(), 1.0);
}
