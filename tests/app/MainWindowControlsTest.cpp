#include "WindowFixture.h"

#include "app/ControlFormats.h"
#include "audio/Equalizer.h"

namespace {

// A loaded track with the Tone & Pitch drawer open, so every control can be reached.
struct MainWindowControlsTest : WindowFixture {
    Equalizer& eq() { return vc->player()->graph()->eqNode(); }

    void SetUp() override
    {
        WindowFixture::SetUp();
        ASSERT_TRUE(load(makeTrack("a.wav", 4.0)));
        vc->showSidebar();
        settle();
    }
};

} // namespace

TEST(ControlFormatsTest, TextsAtTheirBoundaries)
{
    EXPECT_EQ(ControlFormats::toneText(1000.0f), "1.0 kHz");
    EXPECT_EQ(ControlFormats::timeText(59.9), "00:59");
    EXPECT_EQ(ControlFormats::timeText(6000.0), "100:00") << "minutes are not cut to two digits";
}

TEST_F(MainWindowControlsTest, EachSlidersMoveReachesLabelAndEngineAltPutsOnlyItBackAndANewTrackKeepsOnlyVolumeAndSolo)
{
    const auto pitchHeard = [&] { return vc->player()->graph()->pitchNode().pitch(); };
    struct SliderCase { WDSlider* slider; QLabel* label; double value; const char* name; const char* shown; std::function<double()> heard; double expected; };
    // Set as a screen reader's user would; the two pitch sliders share one label,
    // and the engine holds the pitch within an octave.
    const SliderCase cases[] = {
        {vc->speedSlider(), vc->speedLabel(), 0.75, "Speed", "75 %", [&] { return vc->player()->speed(); }, 0.75},
        {vc->zoomSlider(), vc->zoomLabel(), 3.0, "Zoom", "3x", [&] { return vc->waveViewContainer()->waveScrollView()->magnification(); }, 3.0},
        {vc->volumeSlider(), vc->volumeLabel(), 0.5, "Volume", "-6.0 dB", [&] { return vc->player()->volume(); }, 0.5},
        {vc->toneSlider(), vc->toneLabel(), 0.25, "Tone", "780 Hz", [&] { return eq().isBypassed(0) ? 0.0 : eq().frequency(0); }, 780.0},
        {vc->pitchCoarseSlider(), vc->pitchLabel(), 0.0, "Pitch (semitones)", "-1200 Ct", pitchHeard, -1200},
        {vc->pitchFineSlider(), vc->pitchLabel(), 0.0, "Pitch (fine)", "-1300 Ct", pitchHeard, -1200},
    };
    for (const SliderCase& c : cases) {
        SCOPED_TRACE(c.name);
        QAccessible::queryAccessibleInterface(c.slider)->valueInterface()->setCurrentValue(c.value);
        EXPECT_EQ(c.label->text(), c.shown);
        EXPECT_NEAR(c.heard(), c.expected, 1e-3);
    }
    EXPECT_TRUE(vc->pitchButton()->isChecked() && vc->toneButton()->isChecked()) << "a move switches its effect on";
    vc->setZoom(3.4);
    EXPECT_NEAR(vc->zoomSlider()->doubleValue(), 3.4, 1e-6) << "the wave views' zoom comes back to the slider";

    clickAt(vc->pitchCoarseSlider(), 0.9);
    const double coarse = vc->pitchCoarseSlider()->doubleValue();
    clickAt(vc->pitchFineSlider(), 0.8, Qt::AltModifier);
    EXPECT_DOUBLE_EQ(vc->pitchFineSlider()->doubleValue(), 0.5);
    EXPECT_NEAR(vc->player()->pitch(), (coarse - 0.5) * 2400.0, 1e-3) << "the coarse part stays";
    vc->toneButton()->click();
    ASSERT_TRUE(eq().isBypassed(0));
    for (const auto& [slider, neutral] : {std::pair{vc->toneSlider(), 0.5}, {vc->volumeSlider(), 1.0}, {vc->speedSlider(), 1.0}}) {
        clickAt(slider, 0.6);
        clickAt(slider, 0.6, Qt::AltModifier);
        EXPECT_DOUBLE_EQ(slider->doubleValue(), neutral);
    }
    EXPECT_FLOAT_EQ(eq().frequency(0), 1520.0f);
    EXPECT_FALSE(eq().isBypassed(0)) << "an Alt move still switches the filter on";
    EXPECT_FLOAT_EQ(vc->player()->volume(), 1.0f);
    EXPECT_EQ(vc->speedLabel()->text(), "100 %");

    // What a new track resets is shown by the track settings tests; here, what it keeps.
    clickAt(vc->volumeSlider(), 0.4);
    QTest::mouseClick(vc->soloRightButton(), Qt::LeftButton);
    vc->setLoop(true);
    vc->play();
    ASSERT_TRUE(load(makeTrack("b.wav")));
    EXPECT_TRUE(eq().isBypassed(0)) << "the tone goes off";
    EXPECT_NEAR(vc->player()->volume(), 0.4f, 0.02f) << "volume and solo are kept";
    EXPECT_TRUE(vc->soloRightButton()->isChecked());
    EXPECT_FALSE(vc->loop());
    EXPECT_EQ(vc->playButton()->style(), WDButtonCell::Play) << "the new track is not playing";

    vc->setSpeed(1.2);
    vc->incSpeed();
    vc->incSpeed();
    EXPECT_DOUBLE_EQ(vc->speedSlider()->doubleValue(), 1.25) << "the top holds, and the slider follows";
    vc->setExtendedSpeedRange(true);
    vc->setSpeed(0.22);
    vc->decSpeed();
    EXPECT_DOUBLE_EQ(vc->getSpeed(), 0.2) << "the wider range's bottom holds";
}

TEST_F(MainWindowControlsTest, PlayStopAndReturnMoveThePlayheadSoloButtonsExcludeEachOtherTwoStrokesOfLLoopAndTheTrainerSetsTheSpeedShown)
{
    QTest::mouseClick(vc->playButton(), Qt::LeftButton);
    EXPECT_EQ(accessible(vc->playButton()), "Pause");
    output().pull(44100 + 2048); // past the limiter's look-ahead
    ASSERT_TRUE(waitFor([&] { return vc->timeLabel()->text() == "00:01"; }, 2000)) << "the cursor timer runs";
    const double heard = vc->player()->currentTime();
    press(Qt::Key_Period, Qt::ControlModifier);
    EXPECT_NEAR(vc->player()->currentTime(), heard, 0.05);
    EXPECT_EQ(accessible(vc->playButton()), "Play") << "nothing plays after a stop";
    press(Qt::Key_Period, Qt::ControlModifier);
    EXPECT_NEAR(vc->player()->currentTime(), 0.0, 1e-9) << "a second stop goes to the start";

    QTest::mouseClick(vc->playButton(), Qt::LeftButton);
    output().pull(2 * 44100);
    QTest::mouseClick(vc->returnButton(), Qt::LeftButton);
    output().pull(4410);
    EXPECT_TRUE(vc->player()->isPlaying() && vc->player()->currentTime() < 0.5) << "return while playing plays on from the start";
    vc->play();
    vc->returnPlayPos();
    EXPECT_FALSE(vc->player()->isPlaying()) << "return while paused stays paused";
    EXPECT_NEAR(vc->player()->currentTime(), 0.0, 1e-9);
    vc->play();
    output().pull(5 * 44100);
    EXPECT_TRUE(waitFor([&] { return vc->playButton()->style() == WDButtonCell::Play; }, 2000)) << "at the end";

    // The solo buttons, pressed in turn, switch each other off and say whether they are on.
    for (QAbstractButton* button : {vc->soloLeftButton(), vc->soloRightButton(), vc->cancelCentreButton(), vc->centreOnlyButton()})
        QTest::mouseClick(button, Qt::LeftButton);
    EXPECT_FALSE(vc->soloLeftButton()->isChecked() || vc->soloRightButton()->isChecked() || vc->cancelCentreButton()->isChecked());
    EXPECT_EQ(vc->player()->solo(), AudioEngine::kCentreOnly);
    QTest::mouseClick(vc->soloLeftButton(), Qt::LeftButton);
    EXPECT_EQ(accessible(vc->centreOnlyButton(), QAccessible::Description), "Off");
    EXPECT_EQ(vc->player()->solo(), 1);
    EXPECT_TRUE(itemShowing(menuNamed("Playback"), "Solo Left Channel")->isChecked()) << "the menu follows";
    QTest::mouseClick(vc->soloLeftButton(), Qt::LeftButton);
    EXPECT_EQ(vc->player()->solo(), 0) << "all may be off";

    // Two strokes of L while playing loop what was played between them; Shift moves an edge ten times as far.
    vc->returnPlayPos();
    QAction* later = itemShowing(menuNamed("Loops"), "Move Start Later");
    EXPECT_FALSE(later->isEnabled()) << "nothing to move without a selection";
    press(Qt::Key_Space, {});
    output().pull(44100);
    press(Qt::Key_L, {});
    press(Qt::Key_L, {});
    EXPECT_FALSE(vc->player()->loop()) << "two strokes at one place make no loop";
    press(Qt::Key_L, {});
    output().pull(44100);
    press(Qt::Key_L, {});
    ASSERT_TRUE(vc->player()->loop()) << "the second stroke loops the stretch at once";
    EXPECT_TRUE(vc->player()->isPlaying());
    EXPECT_NEAR(double(vc->player()->from()) / 44100.0, 1.0, 0.06);
    EXPECT_NEAR(double(vc->player()->len()) / 44100.0, 1.0, 0.06);

    EXPECT_TRUE(later->isEnabled());
    const float left = vc->waveViewContainer()->selectionView()->loop().left;
    press(Qt::Key_W, {});
    EXPECT_NEAR(vc->waveViewContainer()->selectionView()->loop().left, left + 0.01 / 4.0, 1e-6) << "10 ms of the 4-s track";
    press(Qt::Key_W, Qt::ShiftModifier);
    EXPECT_NEAR(vc->waveViewContainer()->selectionView()->loop().left, left + 0.11 / 4.0, 1e-6) << "then 100 ms";

    // The speed trainer on a looped second: the speed control follows each pass's step as it is
    // heard, Slower takes it one step down, and a stop ends the run with the speed where it stood.
    // Then four taps of T half a second apart set the count-in's tempo to 120.
    press(Qt::Key_Period, Qt::ControlModifier);
    PracticePanel* practice = vc->practicePanel();
    practice->startPercent()->setValue(50);
    practice->stepPercent()->setValue(25);
    practice->everyPasses()->setValue(1);
    practice->limitPercent()->setValue(100);
    vc->waveViewContainer()->selectRange({0.25, 0.5});
    QTest::mouseClick(practice->trainerToggle(), Qt::LeftButton);
    ASSERT_TRUE(practice->trainerRuns());
    press(Qt::Key_Space, {});
    // Passes of 1 s of the track: 2 s at 50 %, 1.33 s at 75 %, then 100 %.
    const auto speedAfter = [&](double seconds) {
        output().pull(int64_t(seconds * 44100));
        waitFor([] { return false; }, 150); // the playhead's ticks
        return vc->speedLabel()->text();
    };
    EXPECT_EQ(speedAfter(1.0), "50 %");
    EXPECT_EQ(speedAfter(1.5), "75 %");
    EXPECT_EQ(speedAfter(1.5), "100 %");
    EXPECT_EQ(speedAfter(1.1), "100 %") << "the limit holds";
    QTest::mouseClick(practice->slowerButton(), Qt::LeftButton);
    EXPECT_EQ(practice->startPercent()->value(), 75) << "a step below what plays";
    EXPECT_EQ(speedAfter(1.2), "75 %") << "from the next pass";
    press(Qt::Key_Space, {});
    EXPECT_FALSE(practice->trainerRuns()) << "a stop ends the run";
    EXPECT_FLOAT_EQ(vc->player()->speed(), 0.75f) << "at the speed shown";

    practice->leadChoice()->setCurrentIndex(PracticePanel::CountIn);
    for (int i = 0; i < 4; ++i) {
        if (i > 0)
            QTest::qWait(500);
        press(Qt::Key_T, {});
    }
    EXPECT_NEAR(practice->bpm()->value(), 120, 8);
    EXPECT_DOUBLE_EQ(vc->player()->passPlan().bpm, double(practice->bpm()->value())) << "the engine counts in at it";
    EXPECT_TRUE(window->grab().save(LENTO_ARTIFACTS_DIR "/drawer-count-in.png"));
}
