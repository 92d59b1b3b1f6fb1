// The selection over the wave as a user makes it: mouse and keys on the real window, and what the
// engine is then set to play.
#include "app/WindowFixture.h"

#include "loops/LoopMarker.h"
#include "loops/SelectionView.h"
#include "loops/WaveViewContainer.h"
#include "waveform/CursorView.h"
#include "waveform/WaveScrollView.h"
#include "waveform/WaveView.h"

#include <QMouseEvent>
#include <QNativeGestureEvent>

namespace {

constexpr double kSeconds = 10.0;

struct WaveSelectionTest : WindowFixture {
    void SetUp() override
    {
        WindowFixture::SetUp();
        // Saved loops are kept by file name: a track of its own for each test.
        trackPath = makeTrack(QString::fromLatin1(::testing::UnitTest::GetInstance()->current_test_info()->name()) + ".wav", kSeconds);
        ASSERT_TRUE(load(trackPath));
        settle();
    }

    QString trackPath;

    WaveViewContainer* container() const { return vc->waveViewContainer(); }
    SelectionView* selection() const { return container()->selectionView(); }
    WaveView* overview() const { return container()->overView(); }
    LoopMarker& loops() const { return LoopMarker::sharedLoops(); }
    AudioEngine* engine() const { return vc->player(); }
    double frames() const { return double(engine()->fileLength()); }

    // Where track position p stands on the selection view: in the wave, or in the band above it.
    QPointF inWave(double p) const { return {p * selection()->width(), selection()->height() * 0.75}; }
    QPointF inBand(double p) const { return {p * selection()->width(), 6.0}; }

    void send(QWidget* to, QEvent::Type type, QPointF at, Qt::MouseButtons buttons, Qt::KeyboardModifiers modifiers = {})
    {
        const Qt::MouseButton button = type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton;
        QMouseEvent event(type, at, to->mapToGlobal(at), button, buttons, modifiers);
        QCoreApplication::sendEvent(to, &event);
    }
    void hover(QWidget* to, QPointF at) { send(to, QEvent::MouseMove, at, Qt::NoButton); }
    // Press, move in a few steps, release: a user's drag.
    void drag(QWidget* to, QPointF from, QPointF till, Qt::KeyboardModifiers modifiers = {}, int steps = 4)
    {
        send(to, QEvent::MouseButtonPress, from, Qt::LeftButton, modifiers);
        for (int step = 1; step <= steps; ++step)
            send(to, QEvent::MouseMove, from + (till - from) * step / double(steps), Qt::LeftButton, modifiers);
        send(to, QEvent::MouseButtonRelease, till, Qt::NoButton, modifiers);
        settle();
    }
    void click(QWidget* to, QPointF at, Qt::KeyboardModifiers modifiers = {}) { drag(to, at, at, modifiers); }
    void select(double left, double right) { drag(selection(), inWave(left), inWave(right)); }

    // The engine's range as track positions.
    double rangeStart() const { return engine()->from() / frames(); }
    double rangeEnd() const { return (engine()->from() + engine()->len()) / frames(); }

    void key(Qt::Key key, Qt::KeyboardModifiers modifiers = {}) { QTest::keyClick(selection(), key, modifiers), settle(); }
    void playFor(double seconds) { output().pull(int64_t(seconds * 44100)); }
};

constexpr double kNear = 0.004; // a pixel or two at this width

} // namespace

TEST_F(WaveSelectionTest, ADragSelectsAndTheEngineLoopsItWhileAClickOnlyMovesThePlayhead)
{
    struct Case { const char* what; double from, till; bool selects; double left, right; };
    const Case cases[] = {
        {"drag to the right", 0.2, 0.5, true, 0.2, 0.5},
        {"drag to the left, ordered on release", 0.6, 0.3, true, 0.3, 0.6},
        {"a move below the click tolerance", 0.4, 0.403, false, 0.403, 0.403},
        {"a plain click", 0.7, 0.7, false, 0.7, 0.7},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        click(selection(), inWave(0.95)); // starts each case from no selection
        select(c.from, c.till);
        EXPECT_EQ(selection()->hasSelection(), c.selects);
        EXPECT_NEAR(selection()->loop().left, c.left, kNear);
        EXPECT_NEAR(selection()->loop().right, c.right, kNear);
        EXPECT_EQ(engine()->loop(), c.selects) << "a selection loops, as the preference is on";
        EXPECT_FALSE(engine()->isPlaying()) << "made while stopped, it waits for Play";
        EXPECT_NEAR(rangeStart(), c.left, kNear);
        EXPECT_NEAR(rangeEnd(), c.selects ? c.right : 1.0, kNear) << "no selection plays to the end";
        EXPECT_NEAR(selection()->cursorPosition(), c.left, kNear);
        EXPECT_NEAR(container()->cursorView()->cursorPosition(), c.left, kNear) << "the overview's playhead follows";
        EXPECT_NEAR(overview()->selectionRight() - overview()->selectionLeft(), c.selects ? c.right - c.left : 0.0, kNear);
    }
    defaults->setObject(0, QStringLiteral("LoopSelection")); // off: the selection bounds playback without looping
    select(0.2, 0.5);
    EXPECT_FALSE(engine()->loop());
    EXPECT_NEAR(rangeEnd(), 0.5, kNear);
}

TEST_F(WaveSelectionTest, HandlesAndShiftMoveTheNearerEndAndAHandleDraggedPastTheMiddleTurnsIntoTheOther)
{
    struct Case { const char* what; bool handle; double press, till; Qt::KeyboardModifiers modifiers; double left, right; };
    // From a selection of 0.3 to 0.6, with one jump of the mouse: the ends are weighed against the
    // middle at each move, so a slow drag lets the grabbed end follow until it nears the other.
    const Case cases[] = {
        {"right handle outwards", true, 0.6, 0.75, {}, 0.3, 0.75},
        {"right handle past the middle: the left end follows, the right stays", true, 0.6, 0.35, {}, 0.35, 0.6},
        {"right handle past the left end", true, 0.6, 0.1, {}, 0.1, 0.6},
        {"shift-press beyond the right end", false, 0.8, 0.8, Qt::ShiftModifier, 0.3, 0.8},
        {"shift-press below the middle", false, 0.35, 0.35, Qt::ShiftModifier, 0.35, 0.6},
        {"shift-press before the left end", false, 0.1, 0.1, Qt::ShiftModifier, 0.1, 0.6},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        click(selection(), inWave(0.95));
        select(0.3, 0.6);
        const double W = selection()->width();
        QPointF press = inWave(c.press);
        if (c.handle) {
            press.rx() = 0.6 * W + 2.0;
            hover(selection(), press);
            ASSERT_TRUE(selection()->rightHandle());
        }
        drag(selection(), press, QPointF(c.till * W + (c.handle ? 2.0 : 0.0), press.y()), c.modifiers, 1);
        EXPECT_NEAR(selection()->loop().left, c.left, kNear);
        EXPECT_NEAR(selection()->loop().right, c.right, kNear);
        EXPECT_NEAR(rangeStart(), c.left, kNear) << "the engine plays the edited selection";
        EXPECT_NEAR(rangeEnd(), c.right, kNear);
        hover(selection(), inWave(0.9)); // away from the handles
    }
}

TEST_F(WaveSelectionTest, TheBandButtonSavesSelectsAndRemovesALoopAndAHandleEditsTheSavedLoopInPlace)
{
    select(0.3, 0.5);
    hover(selection(), inBand(0.4));
    EXPECT_EQ(selection()->button(), SelectionView::AddButton);
    click(selection(), inBand(0.4));
    ASSERT_EQ(loops().loopCount(), 1u);
    EXPECT_EQ(loops().loop(0), selection()->loop()) << "the selection itself is saved";

    // A saved loop's handle drags that loop along.
    const double W = selection()->width();
    const QPointF handle(0.5 * W + 2.0, inWave(0.5).y());
    hover(selection(), handle);
    ASSERT_TRUE(selection()->rightHandle());
    drag(selection(), handle, QPointF(0.7 * W + 2.0, handle.y()));
    ASSERT_EQ(loops().loopCount(), 1u);
    EXPECT_NEAR(loops().loop(0).right, 0.7, kNear);
    EXPECT_EQ(loops().loop(0), selection()->loop());

    // With nothing selected, the band over a saved loop selects it.
    hover(selection(), inWave(0.9)); // away from the handle
    click(selection(), inWave(0.1));
    ASSERT_FALSE(selection()->hasSelection());
    hover(selection(), inBand(0.5));
    EXPECT_EQ(selection()->button(), SelectionView::SavedLoopButton);
    click(selection(), inBand(0.5));
    EXPECT_EQ(selection()->loop(), loops().loop(0));
    EXPECT_TRUE(engine()->loop());
    EXPECT_NEAR(rangeStart(), 0.3, kNear);

    hover(selection(), inBand(0.5));
    EXPECT_EQ(selection()->button(), SelectionView::RemoveButton);
    click(selection(), inBand(0.5));
    EXPECT_EQ(loops().loopCount(), 0u);
    EXPECT_FALSE(selection()->hasSelection()) << "the selection collapses at the play position";
}

TEST_F(WaveSelectionTest, ArrowKeysMoveThePlayheadAndAltArrowsMoveTheSelectionByItsLength)
{
    struct Case { const char* what; double left, right; Qt::Key key; Qt::KeyboardModifiers modifiers; double newLeft, newRight; };
    const Case cases[] = {
        {"Alt+Left with room", 0.5, 0.8, Qt::Key_Left, Qt::AltModifier, 0.2, 0.5},
        {"Alt+Left without room", 0.2, 0.5, Qt::Key_Left, Qt::AltModifier, 0.2, 0.5},
        {"Alt+Right with room", 0.2, 0.5, Qt::Key_Right, Qt::AltModifier, 0.5, 0.8},
        {"Alt+Right without room", 0.5, 0.8, Qt::Key_Right, Qt::AltModifier, 0.5, 0.8},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        selection()->setLoopWith({c.left, c.right});
        container()->selectionChanged();
        key(c.key, c.modifiers);
        EXPECT_NEAR(selection()->loop().left, c.newLeft, 1e-6);
        EXPECT_NEAR(selection()->loop().right, c.newRight, 1e-6);
        EXPECT_NEAR(rangeStart(), c.newLeft, kNear);
    }

    // Without a selection an arrow moves the playhead a hundredth, never below the start.
    click(selection(), inWave(0.005));
    key(Qt::Key_Left);
    EXPECT_EQ(selection()->cursorPosition(), 0.0);
    key(Qt::Key_Right);
    key(Qt::Key_Right);
    EXPECT_NEAR(selection()->cursorPosition(), 0.02, 1e-9);
    EXPECT_NEAR(rangeStart(), 0.02, kNear);
    EXPECT_FALSE(selection()->hasSelection());
}

TEST_F(WaveSelectionTest, TwoStrokesOfLCaptureALoopWhilePlayingAndSpaceKeepsAPendingCapture)
{
    const auto L = [&](Qt::KeyboardModifiers modifiers = {}, char letter = 'l') {
        QKeyEvent event(QEvent::KeyPress, Qt::Key_L, modifiers, QString(QChar(letter)));
        QCoreApplication::sendEvent(selection(), &event);
        settle();
    };
    press(Qt::Key_Space, {});
    ASSERT_TRUE(engine()->isPlaying());
    playFor(1.0);
    L();
    ASSERT_TRUE(vc->isLoopCapturePending());
    playFor(1.0);
    container()->updateCursor();
    // What the view itself draws, over black: the stretch since the first stroke, and nothing beyond.
    const auto drawnAt = [&](double p) {
        QImage image(selection()->size(), QImage::Format_ARGB32);
        image.fill(Qt::black);
        selection()->render(&image, QPoint(), QRegion(), QWidget::DrawChildren);
        return image.pixel(inWave(p).toPoint());
    };
    EXPECT_NE(drawnAt(0.15), drawnAt(0.6)) << "the pending capture shows as a selection";
    press(Qt::Key_Space, {}); // pause: the capture waits
    EXPECT_FALSE(engine()->isPlaying());
    EXPECT_TRUE(vc->isLoopCapturePending());
    press(Qt::Key_Space, {});
    playFor(1.0);
    L(Qt::ShiftModifier, 'L'); // Shift is allowed
    EXPECT_FALSE(vc->isLoopCapturePending());
    ASSERT_TRUE(selection()->hasSelection());
    EXPECT_NEAR(selection()->loop().left, vc->player()->duration() > 0 ? 1.0 / kSeconds : 0.0, 0.02);
    EXPECT_NEAR(selection()->loop().right, 3.0 / kSeconds, 0.02);
    EXPECT_TRUE(engine()->loop()) << "the captured loop runs at once";
    EXPECT_TRUE(engine()->isPlaying());

    // While a loop runs, L does nothing.
    L();
    EXPECT_FALSE(vc->isLoopCapturePending());

    // Caps Lock (an upper-case L without Shift), Ctrl and a press while paused are no capture.
    click(selection(), inWave(0.9));
    ASSERT_FALSE(engine()->loop());
    L({}, 'L');
    EXPECT_FALSE(vc->isLoopCapturePending()) << "Caps Lock";
    L(Qt::ControlModifier);
    EXPECT_FALSE(vc->isLoopCapturePending()) << "Ctrl";
    L();
    ASSERT_TRUE(vc->isLoopCapturePending());
    press(Qt::Key_Space, {});
    L();
    EXPECT_FALSE(vc->isLoopCapturePending()) << "a press while paused clears the first";

    // Return cancels a pending capture.
    press(Qt::Key_Space, {});
    L();
    ASSERT_TRUE(vc->isLoopCapturePending());
    press(Qt::Key_Return, {});
    EXPECT_FALSE(vc->isLoopCapturePending());
}

TEST_F(WaveSelectionTest, APinchZoomsAndAClickOnTheOverviewCentresTheZoomedWaveAndMovesThePlayhead)
{
    QNativeGestureEvent pinch(Qt::ZoomNativeGesture, QPointingDevice::primaryPointingDevice(), 2, QPointF(100, 100),
                              QPointF(100, 100), selection()->mapToGlobal(QPointF(100, 100)), 1.0, QPointF());
    QCoreApplication::sendEvent(selection(), &pinch);
    EXPECT_EQ(container()->waveScrollView()->magnification(), 2.0);
    container()->waveScrollView()->zoom(4.0);
    ASSERT_EQ(container()->waveScrollView()->magnification(), 4.0);
    click(overview(), QPointF(0.6 * overview()->width(), overview()->height() / 2.0));
    EXPECT_NEAR((overview()->overviewLeft() + overview()->overviewRight()) / 2.0, 0.6, 0.01);
    EXPECT_NEAR(overview()->overviewRight() - overview()->overviewLeft(), 0.25, 0.01);
    EXPECT_NEAR(selection()->cursorPosition(), 0.6, kNear);
    EXPECT_NEAR(rangeStart(), 0.6, kNear);
    EXPECT_FALSE(selection()->hasSelection());
    EXPECT_TRUE(container()->waveView()->overrideAutoPos()) << "the playhead leaves the view where the user put it";

    // A click inside a saved loop on the strip selects that loop.
    select(0.1, 0.2);
    container()->addLoop();
    click(overview(), QPointF(0.15 * overview()->width(), overview()->height() / 2.0));
    EXPECT_EQ(selection()->loop(), loops().loop(0));
    EXPECT_TRUE(engine()->loop());
}

TEST_F(WaveSelectionTest, NextAndPreviousLoopWrapAroundTheSavedLoops)
{
    for (const auto& [left, right] : {std::pair{0.7, 0.8}, {0.1, 0.2}, {0.4, 0.5}}) {
        select(left, right);
        container()->addLoop();
    }
    ASSERT_EQ(loops().loopCount(), 3u);
    click(selection(), inWave(0.95));
    const auto leftAfter = [&](const QKeySequence& keys) {
        QTest::keySequence(window, keys);
        settle();
        return selection()->loop().left;
    };
    const QKeySequence next(Qt::CTRL | Qt::Key_BracketRight), previous(Qt::CTRL | Qt::Key_BracketLeft);
    EXPECT_NEAR(leftAfter(next), 0.1, kNear) << "from no saved loop: the first";
    EXPECT_NEAR(leftAfter(next), 0.4, kNear);
    EXPECT_NEAR(leftAfter(next), 0.7, kNear);
    EXPECT_NEAR(leftAfter(next), 0.1, kNear) << "wraps to the first";
    EXPECT_NEAR(leftAfter(previous), 0.7, kNear) << "wraps to the last";
    EXPECT_NEAR(rangeStart(), 0.7, kNear);
    EXPECT_TRUE(engine()->loop());
    EXPECT_EQ(accessible(selection(), QAccessible::Description), "Selection from 00:07.0 to 00:08.0")
        << "a screen reader tells the selection";
}

TEST_F(WaveSelectionTest, SavedLoopsComeBackWhenTheTrackIsOpenedAgainAfterARestart)
{
    select(0.25, 0.5);
    QTest::keySequence(window, QKeySequence(Qt::CTRL | Qt::Key_L));
    select(0.6, 0.9);
    QTest::keySequence(window, QKeySequence(Qt::CTRL | Qt::Key_L));
    ASSERT_EQ(loops().loopCount(), 2u);
    const std::vector<LoopPair> saved = loops().loopData();

    start();
    EXPECT_EQ(loops().loopCount(), 0u) << "nothing before the track opens";
    ASSERT_TRUE(load(trackPath));
    EXPECT_EQ(loops().loopData(), saved) << "the same pairs, bit for bit";
    select(0.2, 0.4);
    ASSERT_TRUE(load(makeTrack("another take.wav")));
    EXPECT_EQ(loops().loopCount(), 0u) << "another track has loops of its own";
    EXPECT_EQ(overview()->selectionRight() - overview()->selectionLeft(), 0.0) << "and no selection from the last one";
}

TEST_F(WaveSelectionTest, WhilePlayingZoomedTheViewJumpsAPageOnceThePlayheadLeavesItUnlessTheUserMovedIt)
{
    WaveScrollView* scroll = container()->waveScrollView();
    scroll->zoom(25.0);
    scroll->scrollPoint(0.0);
    press(Qt::Key_Space, {});
    ASSERT_TRUE(engine()->isPlaying());
    const auto playheadX = [&] { return engine()->progress() * container()->waveView()->width() - scroll->scrollOffset(); };
    playFor(0.3); // three quarters into the first of 25 pages
    container()->updateCursor();
    ASSERT_GT(playheadX(), scroll->visibleWidth() * 0.6);
    EXPECT_EQ(scroll->scrollOffset(), 0.0) << "no jump while the playhead is in view";
    playFor(0.2);
    container()->updateCursor();
    EXPECT_NEAR(playheadX(), scroll->visibleWidth() / 2.0, scroll->visibleWidth() * 0.02) << "the playhead in the middle";
    EXPECT_NEAR(selection()->cursorPosition(), engine()->progress(), 0.002);
    EXPECT_NEAR(container()->cursorView()->cursorPosition(), engine()->progress(), 0.002);

    container()->setViewPosition(0.0f);
    playFor(0.5);
    container()->updateCursor();
    EXPECT_EQ(scroll->scrollOffset(), 0.0) << "the user has taken the view";
}

TEST_F(WaveSelectionTest, EdgeKeysMoveTheSelectionAndAPlayingLoopTakesItAtTheSeamWithoutStopping)
{
    // 2 s to 4 s of the 10-s track.
    select(0.2, 0.4);
    press(Qt::Key_Space, {});
    ASSERT_TRUE(engine()->isPlaying());
    playFor(0.5);
    struct Step { Qt::Key key; Qt::KeyboardModifiers modifiers; double left, right; };
    const Step steps[] = {
        {Qt::Key_W, {}, 0.201, 0.4},                 // start 10 ms later
        {Qt::Key_Q, Qt::ShiftModifier, 0.191, 0.4},  // start 100 ms earlier
        {Qt::Key_P, {}, 0.191, 0.401},               // end 10 ms later
        {Qt::Key_O, Qt::ShiftModifier, 0.191, 0.391} // end 100 ms earlier
    };
    for (const Step& s : steps) {
        SCOPED_TRACE(QKeySequence(int(s.key) | int(s.modifiers)).toString().toStdString());
        press(s.key, s.modifiers);
        settle();
        EXPECT_NEAR(selection()->loop().left, s.left, 1e-6);
        EXPECT_NEAR(selection()->loop().right, s.right, 1e-6);
        EXPECT_NEAR(rangeStart(), s.left, 1e-4);
        EXPECT_NEAR(rangeEnd(), s.right, 1e-4);
        EXPECT_TRUE(engine()->isPlaying()) << "no stop";
    }
    EXPECT_NEAR(engine()->currentTime(), 2.5, 0.05) << "the pass under way goes on";
    // The first pass ends at 4 s, two seconds after it began; half a second into the next one
    // the playhead is half a second past the new start.
    playFor(2.0);
    EXPECT_NEAR(engine()->currentTime(), 1.91 + 0.5, 0.05);

    // Stopped, a key moves the selection and the range at once.
    press(Qt::Key_Space, {});
    ASSERT_FALSE(engine()->isPlaying());
    press(Qt::Key_W, {});
    EXPECT_NEAR(rangeStart(), 0.192, 1e-4);

    // A new selection while playing is heard at once, from its start.
    press(Qt::Key_Space, {});
    select(0.6, 0.8);
    EXPECT_TRUE(engine()->isPlaying());
    EXPECT_NEAR(engine()->currentTime(), 6.0, 0.05);
}
