// The selection over the wave as a user makes it: mouse and keys on the real window, and what the
// engine is then set to play.
#include "app/WindowFixture.h"

#include "waveform/CursorView.h"

#include <QMouseEvent>
#include <QNativeGestureEvent>

namespace {

constexpr double kNear = 0.004; // a pixel or two at this width

struct WaveSelectionTest : WindowFixture {
    void SetUp() override
    {
        WindowFixture::SetUp();
        // A track's selection and saved loops are kept by its sound: a pitch of its own for each test.
        // Notes struck every half second and dying away, louder on each bar's first, give the wave a shape.
        static int tests = 0;
        const double hz = 220.0 * std::pow(2.0, ++tests / 12.0);
        ASSERT_TRUE(fixtures::writeWav(trackPath, fixtures::synthesise(44100, 2, 441000, [hz](int64_t frame, int channel) {
            const double t = frame / 44100.0, struck = std::fmod(t, 0.5);
            const double level = (std::fmod(t, 2.0) < 0.5 ? 0.5 : 0.3) * std::min(1.0, struck / 0.005) * std::exp(-struck / 0.12);
            return float(level * std::sin(2.0 * M_PI * hz * (channel ? 1.5 : 1.0) * t));
        })));
        ASSERT_TRUE(load(trackPath));
        settle();
    }

    const QString trackPath = dir.filePath("track.wav"); // of ten seconds
    WaveViewContainer* container() const { return vc->waveViewContainer(); }
    SelectionView* selection() const { return container()->selectionView(); }
    WaveView* overview() const { return container()->overView(); }
    LoopMarker& loops() const { return LoopMarker::sharedLoops(); }
    AudioEngine* engine() const { return vc->player(); }

    // Where track position p stands on the selection view: in the wave, or in the band above it.
    QPointF inWave(double p) const { return {p * selection()->width(), selection()->height() * 0.75}; }
    QPointF inBand(double p) const { return {p * selection()->width(), 6.0}; }

    void send(QWidget* to, QEvent::Type type, QPointF at, Qt::MouseButtons buttons, Qt::KeyboardModifiers modifiers = {})
    {
        QMouseEvent event(type, at, to->mapToGlobal(at), type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton, buttons, modifiers);
        QCoreApplication::sendEvent(to, &event);
    }
    void hover(QPointF at) { send(selection(), QEvent::MouseMove, at, Qt::NoButton); }
    // Press, move in a few steps, release: a user's drag.
    void drag(QWidget* to, QPointF from, QPointF till, Qt::KeyboardModifiers modifiers = {}, int steps = 4)
    {
        send(to, QEvent::MouseButtonPress, from, Qt::LeftButton, modifiers);
        for (int step = 1; step <= steps; ++step)
            send(to, QEvent::MouseMove, from + (till - from) * step / double(steps), Qt::LeftButton, modifiers);
        send(to, QEvent::MouseButtonRelease, till, Qt::NoButton, modifiers);
        settle();
    }
    void click(QPointF at, QWidget* to = nullptr) { drag(to ? to : selection(), at, at); }
    void select(double left, double right) { drag(selection(), inWave(left), inWave(right)); }

    // The engine's range as track positions.
    double rangeStart() const { return engine()->from() / double(engine()->fileLength()); }
    double rangeEnd() const { return (engine()->from() + engine()->len()) / double(engine()->fileLength()); }
    // The selection, and the engine's range from its left end to `end` (its right end unless told).
    void expectSelected(double left, double right, double tolerance = kNear, double end = -1.0) const
    {
        EXPECT_NEAR(selection()->loop().left, left, tolerance);
        EXPECT_NEAR(selection()->loop().right, right, tolerance);
        EXPECT_NEAR(rangeStart(), left, std::max(tolerance, 1e-4)) << "the engine plays the selection";
        EXPECT_NEAR(rangeEnd(), end < 0.0 ? right : end, std::max(tolerance, 1e-4));
    }
    void playFor(double seconds) { output().pull(int64_t(seconds * 44100)); }
};

} // namespace

TEST_F(WaveSelectionTest, ADragSelectsAClickMovesThePlayheadHandlesShiftKeysAndTwoStrokesOfLMoveOrMakeTheSelection)
{
    // The click tolerance is half a percent of the visible width: at 4x a shorter drag selects.
    struct Drag { double from, till; bool selects; double left, right, zoom = 1.0; };
    for (const Drag& c : {Drag{0.2, 0.5, true, 0.2, 0.5}, Drag{0.6, 0.3, true, 0.3, 0.6}, Drag{0.4, 0.403, false, 0.403, 0.403},
                          Drag{0.4, 0.406, true, 0.4, 0.406}, Drag{0.4, 0.403, true, 0.4, 0.403, 4.0}, Drag{0.7, 0.7, false, 0.7, 0.7}}) {
        SCOPED_TRACE(testing::Message() << c.from << " to " << c.till << " at " << c.zoom << "x");
        container()->waveScrollView()->zoom(c.zoom);
        click(inWave(0.95)); // starts each case from no selection
        select(c.from, c.till);
        EXPECT_EQ(std::tuple(selection()->hasSelection(), engine()->loop(), engine()->isPlaying()), std::tuple(c.selects, c.selects, false))
            << "a selection loops, as the preference is on, and waits for Play";
        expectSelected(c.left, c.right, kNear, c.selects ? c.right : 1.0); // no selection plays to the end
        EXPECT_NEAR(selection()->cursorPosition(), c.left, kNear);
        EXPECT_NEAR(container()->cursorView()->cursorPosition(), c.left, kNear) << "the overview's playhead follows";
        EXPECT_NEAR(overview()->selectionRight() - overview()->selectionLeft(), c.right - c.left, kNear);
    }

    // From a selection of 0.3 to 0.6, with one jump of the mouse: the ends are weighed against the
    // middle at each move, so a slow drag lets the grabbed end follow until it nears the other.
    struct Edit { bool handle; double press, till; double left, right; };
    for (const Edit& c : {Edit{true, 0.6, 0.75, 0.3, 0.75}, Edit{true, 0.6, 0.35, 0.35, 0.6}, Edit{true, 0.6, 0.1, 0.1, 0.6},
                          Edit{false, 0.8, 0.8, 0.3, 0.8}, Edit{false, 0.35, 0.35, 0.35, 0.6}, Edit{false, 0.1, 0.1, 0.1, 0.6}}) {
        SCOPED_TRACE(testing::Message() << (c.handle ? "right handle from " : "shift-press at ") << c.press << " to " << c.till);
        click(inWave(0.95));
        select(0.3, 0.6);
        const double W = selection()->width(), offset = c.handle ? 2.0 : 0.0;
        const QPointF press(c.press * W + offset, inWave(0).y());
        if (c.handle)
            hover(press);
        ASSERT_EQ(selection()->rightHandle(), c.handle);
        drag(selection(), press, QPointF(c.till * W + offset, press.y()), c.handle ? Qt::NoModifier : Qt::ShiftModifier, 1);
        expectSelected(c.left, c.right);
        hover(inWave(0.9)); // away from the handles
    }


    // Keys move the playhead or the selection, a playing loop takes a change at the seam, a zoomed
    // view follows, and two strokes of L capture a loop.
    struct Case { Qt::Key key; double left, right, newLeft, newRight; };
    for (const Case& c : {Case{Qt::Key_Left, 0.5, 0.8, 0.2, 0.5}, Case{Qt::Key_Left, 0.2, 0.5, 0.2, 0.5},
                          Case{Qt::Key_Right, 0.2, 0.5, 0.5, 0.8}, Case{Qt::Key_Right, 0.5, 0.8, 0.5, 0.8}}) {
        SCOPED_TRACE(testing::Message() << "Alt+" << (c.key == Qt::Key_Left ? "Left" : "Right") << " from " << c.left);
        selection()->setLoopWith({c.left, c.right});
        container()->selectionChanged();
        QTest::keyClick(selection(), c.key, Qt::AltModifier); // by the selection's length, where there is room
        expectSelected(c.newLeft, c.newRight, 1e-6);
    }
    // Without a selection an arrow moves the playhead a hundredth, never below the start.
    click(inWave(0.005));
    for (Qt::Key k : {Qt::Key_Left, Qt::Key_Right, Qt::Key_Right})
        QTest::keyClick(selection(), k), settle();
    EXPECT_NEAR(selection()->cursorPosition(), 0.02, 1e-9);
    EXPECT_NEAR(rangeStart(), 0.02, kNear);
    EXPECT_FALSE(selection()->hasSelection());

    // 2 s to 4 s of the 10-s track, playing: the edge keys move an end by 10 ms, or 100 ms with Shift.
    select(0.2, 0.4);
    press(Qt::Key_Space, {});
    ASSERT_TRUE(engine()->isPlaying());
    playFor(0.5);
    struct Step { Qt::Key key; Qt::KeyboardModifiers modifiers; double left, right; };
    for (const Step& s : {Step{Qt::Key_W, {}, 0.201, 0.4}, Step{Qt::Key_Q, Qt::ShiftModifier, 0.191, 0.4},
                          Step{Qt::Key_P, {}, 0.191, 0.401}, Step{Qt::Key_O, Qt::ShiftModifier, 0.191, 0.391}}) {
        SCOPED_TRACE(QKeySequence(int(s.key) | int(s.modifiers)).toString().toStdString());
        press(s.key, s.modifiers), settle();
        expectSelected(s.left, s.right, 1e-6);
    }
    EXPECT_NEAR(engine()->currentTime(), 2.5, 0.05) << "the pass under way goes on, with no stop";
    // The first pass ends at 4 s; half a second into the next one the playhead is half a second past the new start.
    playFor(2.0);
    EXPECT_NEAR(engine()->currentTime(), 1.91 + 0.5, 0.05);
    press(Qt::Key_Space, {});
    press(Qt::Key_W, {});
    EXPECT_NEAR(rangeStart(), 0.192, 1e-4) << "stopped, a key moves the selection and the range at once";
    press(Qt::Key_Space, {});
    select(0.6, 0.8);
    EXPECT_TRUE(engine()->isPlaying());
    EXPECT_NEAR(engine()->currentTime(), 6.0, 0.05) << "a new selection while playing is heard at once, from its start";
    playFor(0.5);
    press(Qt::Key_Return, {});
    EXPECT_TRUE(engine()->isPlaying());
    EXPECT_NEAR(engine()->currentTime(), 6.0, 0.05) << "Return goes back to the selection's start and plays on";

    const auto L = [&](Qt::KeyboardModifiers modifiers = {}, char letter = 'l') {
        QKeyEvent event(QEvent::KeyPress, Qt::Key_L, modifiers, QString(QChar(letter)));
        QCoreApplication::sendEvent(selection(), &event);
        settle();
        return vc->isLoopCapturePending();
    };
    click(inWave(0.0));
    ASSERT_TRUE(engine()->isPlaying() && !engine()->loop());
    // Zoomed, the view jumps a page once the playhead leaves it, unless the user has moved it.
    WaveScrollView* scroll = container()->waveScrollView();
    scroll->zoom(25.0);
    const auto playheadX = [&] { return engine()->progress() * container()->waveView()->width() - scroll->scrollOffset(); };
    const auto playAndDraw = [&](double seconds) { playFor(seconds), container()->updateCursor(); };
    playAndDraw(0.3); // three quarters into the first of 25 pages
    ASSERT_GT(playheadX(), scroll->visibleWidth() * 0.6);
    EXPECT_EQ(scroll->scrollOffset(), 0.0) << "no jump while the playhead is in view";
    playAndDraw(0.2);
    EXPECT_NEAR(playheadX(), scroll->visibleWidth() / 2.0, scroll->visibleWidth() * 0.02) << "the playhead in the middle";
    EXPECT_NEAR(selection()->cursorPosition(), engine()->progress(), 0.002);
    EXPECT_NEAR(container()->cursorView()->cursorPosition(), engine()->progress(), 0.002);
    container()->setViewPosition(0.0f);
    playAndDraw(0.5);
    EXPECT_EQ(scroll->scrollOffset(), 0.0) << "the user has taken the view";

    ASSERT_TRUE(L()); // a second into the track
    playFor(1.0);
    container()->updateCursor();
    const QImage drawn = selection()->grab().toImage(); // the stretch since the first stroke, and nothing beyond
    EXPECT_NE(drawn.pixel(inWave(0.15).toPoint()), drawn.pixel(inWave(0.6).toPoint())) << "the pending capture shows as a selection";
    press(Qt::Key_Space, {}); // pause: the capture waits
    EXPECT_TRUE(!engine()->isPlaying() && vc->isLoopCapturePending());
    press(Qt::Key_Space, {});
    playFor(1.0);
    EXPECT_FALSE(L(Qt::ShiftModifier, 'L')) << "Shift is allowed";
    ASSERT_TRUE(selection()->hasSelection());
    expectSelected(0.1, 0.3, 0.02);
    EXPECT_TRUE(engine()->loop() && engine()->isPlaying()) << "the captured loop runs at once";
    EXPECT_FALSE(L()) << "while a loop runs, L does nothing";

    click(inWave(0.9));
    ASSERT_FALSE(engine()->loop());
    press(Qt::Key_Return, {});
    EXPECT_TRUE(engine()->isPlaying());
    EXPECT_NEAR(engine()->currentTime(), 0.0, 0.05) << "with no selection, to the track's start";
    EXPECT_FALSE(L({}, 'L')) << "Caps Lock: an upper-case L without Shift";
    EXPECT_FALSE(L(Qt::ControlModifier)) << "Ctrl";
    ASSERT_TRUE(L());
    press(Qt::Key_Space, {});
    EXPECT_FALSE(L()) << "a press while paused clears the first";
    press(Qt::Key_Space, {});
    ASSERT_TRUE(L());
    press(Qt::Key_Return, {});
    EXPECT_FALSE(vc->isLoopCapturePending()) << "Return cancels a pending capture";

    container()->waveScrollView()->zoom(1.0);
    defaults->setObject(0, QStringLiteral("LoopSelection")); // off: the selection bounds playback without looping
    click(inWave(0.95));
    select(0.2, 0.5);
    EXPECT_FALSE(engine()->loop());
    EXPECT_NEAR(rangeEnd(), 0.5, kNear);
}

TEST_F(WaveSelectionTest, SavedLoopsAreMadeEditedPickedFromTheBandKeysOrOverviewRemovedAndComeBackAfterARestart)
{
    select(0.3, 0.5);
    hover(inBand(0.4));
    click(inBand(0.4));
    ASSERT_EQ(loops().loopCount(), 1u);
    EXPECT_EQ(loops().loop(0), selection()->loop()) << "the selection itself is saved";

    // A saved loop's handle drags that loop along.
    const QPointF handle(0.5 * selection()->width() + 2.0, inWave(0.5).y());
    hover(handle);
    ASSERT_TRUE(selection()->rightHandle());
    drag(selection(), handle, QPointF(0.7 * selection()->width() + 2.0, handle.y()));
    EXPECT_NEAR(loops().loop(0).right, 0.7, kNear);
    EXPECT_EQ(loops().loop(0), selection()->loop());

    // With nothing selected, the band over the one saved loop selects it; over a selected one it removes it.
    hover(inWave(0.9)); // away from the handle
    click(inWave(0.1));
    ASSERT_FALSE(selection()->hasSelection());
    hover(inBand(0.5));
    click(inBand(0.5));
    EXPECT_EQ(selection()->loop(), loops().loop(0));
    EXPECT_TRUE(engine()->loop());
    EXPECT_NEAR(rangeStart(), 0.3, kNear);
    hover(inBand(0.5));
    click(inBand(0.5));
    EXPECT_EQ(loops().loopCount(), 0u);
    EXPECT_FALSE(selection()->hasSelection()) << "the selection collapses at the play position";

    const auto withKeys = [&](QKeyCombination keys) {
        QTest::keySequence(window, QKeySequence(keys));
        settle();
        return selection()->loop().left;
    };
    for (const auto& [left, right] : {std::pair{0.7, 0.8}, {0.1, 0.2}, {0.4, 0.5}}) {
        select(left, right);
        withKeys(Qt::CTRL | Qt::Key_L);
    }
    ASSERT_EQ(loops().loopCount(), 3u);
    click(inWave(0.95));
    // From no saved loop the first, then each in turn, wrapping round both ways.
    const QKeyCombination next(Qt::CTRL | Qt::Key_BracketRight), previous(Qt::CTRL | Qt::Key_BracketLeft);
    for (const auto& [keys, left] : {std::pair{next, 0.1}, {next, 0.4}, {next, 0.7}, {next, 0.1}, {previous, 0.7}})
        EXPECT_NEAR(withKeys(keys), left, kNear);
    EXPECT_NEAR(rangeStart(), 0.7, kNear);
    EXPECT_TRUE(engine()->loop());
    EXPECT_EQ(accessible(selection(), QAccessible::Description), "Selection from 00:07.0 to 00:08.0")
        << "a screen reader tells the selection";

    // A pinch zooms; a click on the overview centres the zoomed wave there and moves the playhead.
    QNativeGestureEvent pinch(Qt::ZoomNativeGesture, QPointingDevice::primaryPointingDevice(), 2, QPointF(100, 100),
                              QPointF(100, 100), selection()->mapToGlobal(QPointF(100, 100)), 1.0, QPointF());
    QCoreApplication::sendEvent(selection(), &pinch);
    EXPECT_EQ(container()->waveScrollView()->magnification(), 2.0);
    container()->waveScrollView()->zoom(4.0);
    const auto clickOverview = [&](double p) { click(QPointF(p * overview()->width(), overview()->height() / 2.0), overview()); };
    clickOverview(0.6);
    EXPECT_NEAR((overview()->overviewLeft() + overview()->overviewRight()) / 2.0, 0.6, 0.01);
    EXPECT_NEAR(overview()->overviewRight() - overview()->overviewLeft(), 0.25, 0.01);
    EXPECT_NEAR(selection()->cursorPosition(), 0.6, kNear);
    EXPECT_NEAR(rangeStart(), 0.6, kNear);
    EXPECT_FALSE(selection()->hasSelection());
    EXPECT_TRUE(container()->waveView()->overrideAutoPos()) << "the playhead leaves the view where the user put it";
    clickOverview(0.15);
    EXPECT_EQ(selection()->loop(), loops().loop(0)) << "a click inside a saved loop on the strip selects it";
    EXPECT_TRUE(engine()->loop());
    withKeys(Qt::CTRL | Qt::SHIFT | Qt::Key_L); // Loops ▸ Remove Loop
    ASSERT_EQ(loops().loopCount(), 2u);
    EXPECT_FALSE(selection()->hasSelection());
    const std::vector<LoopPair> saved = loops().loopData();

    // Zoomed 4x about 0.52: the saved loop from 0.4 to 0.5 and a selection beside it in the main wave.
    clickOverview(0.52);
    const QImage before = window->grab().toImage();
    select(0.55, 0.62);
    const QImage shot = window->grab().toImage();
    EXPECT_TRUE(shot.save(LENTO_ARTIFACTS_DIR "/wave-loops-zoom4.png"));
    const auto pixel = [&](const QImage& image, QWidget* view, QPointF at) { return image.pixel(view->mapTo(window, at).toPoint()); };
    const auto markedOnStrip = [&](double p) {
        const QRgb c = pixel(shot, overview(), {p * overview()->width(), 2.0});
        return qRed(c) > 230 && std::abs(qGreen(c) - 128) < 20 && qBlue(c) < 30;
    };
    EXPECT_TRUE(markedOnStrip(0.45) && markedOnStrip(0.75)) << "the strip marks both saved loops in orange";
    EXPECT_FALSE(markedOnStrip(0.15) || markedOnStrip(0.58)) << "and not the removed one or the selection";
    for (double p : {0.53, 0.57, 0.61, 0.63})
        EXPECT_EQ(pixel(shot, selection(), inWave(p)) != pixel(before, selection(), inWave(p)), p > 0.55 && p < 0.62)
            << "the selection shades the wave, and only there, at " << p;

    start();
    EXPECT_EQ(loops().loopCount(), 0u) << "nothing before the track opens";
    ASSERT_TRUE(load(trackPath));
    EXPECT_EQ(loops().loopData(), saved) << "the same pairs, bit for bit";
    select(0.2, 0.4);
    const QString another = makeTrack("another take.wav");
    ASSERT_TRUE(load(another));
    EXPECT_EQ(loops().loopCount(), 0u) << "another track has loops of its own";
    EXPECT_EQ(overview()->selectionRight() - overview()->selectionLeft(), 0.0) << "and no selection from the last one";
    ASSERT_TRUE(load(trackPath));
    ASSERT_EQ(loops().loopCount(), 2u);
    itemShowing(menuNamed("Loops"), "Remove All Loops")->trigger();
    ASSERT_TRUE(load(another) && load(trackPath));
    EXPECT_EQ(loops().loopCount(), 0u) << "Remove All Loops takes them away for good";
}
