// The wave views on their own, over a stand-in coordinator: how zoom widens the wave and keeps
// the anchor in place, what the strip shows, what a drop opens.
#include "StandInHost.h"
#include "waveform/CursorView.h"
#include "waveform/WaveformData.h"

#include <QDropEvent>
#include <QMimeData>
#include <QScrollBar>

namespace {

// A track whose left channel rises to full scale in its first half and is silent in the second;
// the right channel is half as loud throughout.
WaveformData shapedTrack(int64_t frames = 72000)
{
    std::vector<float> left(size_t(frames), 0.0f), right(size_t(frames), 0.5f);
    for (int64_t i = 0; i < frames / 2; ++i)
        left[size_t(i)] = float(i) / float(frames / 2);
    const float* channels[] = {left.data(), right.data()};
    WaveformData data;
    data.setBinSize(1);
    data.preprocessAudioData(channels, 2, frames);
    return data;
}

struct WaveViewsTest : ::testing::Test {
    StandInHost host;
    QWidget window;
    WaveScrollView* scroll = nullptr;
    WaveView* overview = nullptr;
    WaveformData data = shapedTrack();

    void SetUp() override
    {
        scroll = new WaveScrollView(&window);
        overview = new WaveView(&window);
        host.scroll = scroll;
        scroll->setContainer(&host);
        scroll->setOverview(overview);
        overview->setIsOverview(true);
        overview->setContainer(&host);
        overview->setScrollView(scroll);
        for (WaveView* view : {scroll->waveView(), overview}) {
            view->setWaveData(&data);
            view->setFillColor(Qt::green);
            view->setBackgroundColor(Qt::black);
        }
        resize(1000);
        window.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));
    }

    void resize(int width)
    {
        window.resize(width, 400);
        scroll->setGeometry(0, 60, width, 340);
        overview->setGeometry(0, 0, width, 50);
        QCoreApplication::processEvents();
    }

    // The track position at x pixels from the scroll view's left edge.
    double positionAt(double x) const { return (scroll->scrollOffset() + x) / scroll->waveView()->width(); }
};

} // namespace

TEST_F(WaveViewsTest, ZoomWidensTheWaveToTheFloorOfItsFactorAndClampsIt)
{
    struct Case { int width; double asked, magnification; int waveWidth; };
    const Case cases[] = {{1000, 2.5, 2.5, 2500}, {333, 1.5, 1.5, 499}, {1000, 0.5, 1.0, 1000}, {1000, 30.0, 25.0, 25000}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.asked);
        resize(c.width);
        scroll->zoom(c.asked);
        EXPECT_EQ(scroll->magnification(), c.magnification);
        EXPECT_EQ(scroll->waveView()->width(), c.waveWidth);
        EXPECT_EQ(scroll->waveView()->magnification(), c.magnification);
        EXPECT_LE(data.numPoints(), c.waveWidth) << "points for the new width";
        EXPECT_GT(data.numPoints(), c.waveWidth / 2);
        EXPECT_NEAR(overview->overviewRight() - overview->overviewLeft(), 1.0 / c.magnification, 0.002)
            << "the strip's frame spans the visible part";
    }

    host.loaded = false;
    scroll->zoom(3.0);
    EXPECT_EQ(scroll->magnification(), 25.0) << "nothing to zoom without a track";
}

TEST_F(WaveViewsTest, APinchKeepsThePointUnderThePointerAndTheSliderKeepsThePlayheadsAnchor)
{
    scroll->zoom(2.0);
    scroll->scrollPoint(300.0);
    const QPointF pointer(420.0, 100.0);
    const double before = positionAt(pointer.x());
    scroll->magnifyWithEvent(pointer, 0.5);
    EXPECT_EQ(scroll->magnification(), 3.0) << "a pinch multiplies";
    EXPECT_EQ(scroll->waveView()->width(), 3000);
    EXPECT_NEAR(positionAt(pointer.x()), before, 1.0 / scroll->waveView()->width());

    // The slider's anchor: the playhead stays where it stands on screen.
    host.cursor = positionAt(500.0);
    scroll->zoom(7.0);
    EXPECT_NEAR(positionAt(500.0), host.cursor, 1.0 / scroll->waveView()->width());
    // A playhead out of view: the middle of the view stays.
    host.cursor = 0.99;
    const double middle = positionAt(scroll->visibleWidth() / 2.0);
    scroll->zoom(5.0);
    EXPECT_NEAR(positionAt(scroll->visibleWidth() / 2.0), middle, 1.0 / scroll->waveView()->width());
}

TEST_F(WaveViewsTest, ScrollingMovesOnlyTheStripsFrameAndTheWheelScrollsSideways)
{
    scroll->zoom(4.0);
    scroll->scrollPoint(0.0);
    QWheelEvent wheel(QPointF(200, 100), scroll->mapToGlobal(QPointF(200, 100)), QPoint(), QPoint(0, -120), Qt::NoButton,
                      Qt::NoModifier, Qt::NoScrollPhase, false);
    QCoreApplication::sendEvent(scroll->waveView(), &wheel);
    EXPECT_NEAR(scroll->scrollOffset(), scroll->visibleWidth() / 10.0, 1.0) << "one notch, a tenth of the view";
    EXPECT_EQ(scroll->magnification(), 4.0);
    EXPECT_NEAR(overview->overviewLeft(), scroll->scrollOffset() / scroll->waveView()->width(), 1e-6);
    EXPECT_TRUE(scroll->waveView()->overrideAutoPos());

    scroll->scrollPoint(1e9);
    EXPECT_NEAR(overview->overviewRight(), 1.0, 1e-6) << "kept inside the wave";
    scroll->scrollPoint(-50.0);
    EXPECT_EQ(overview->overviewLeft(), 0.0);

    for (Qt::KeyboardModifier zoomKey : {Qt::ShiftModifier, Qt::ControlModifier}) {
        const double m = scroll->magnification();
        QWheelEvent zoomWheel(QPointF(200, 100), scroll->mapToGlobal(QPointF(200, 100)), QPoint(), QPoint(0, 120),
                              Qt::NoButton, zoomKey, Qt::NoScrollPhase, false);
        QCoreApplication::sendEvent(scroll->waveView(), &zoomWheel);
        EXPECT_EQ(scroll->magnification(), m + 1.0) << "a notch with Shift or Ctrl adds one to the zoom";
    }
}

TEST_F(WaveViewsTest, TheWaveDrawsLeftAboveAndRightBelowTheMiddleScaledToTheLoudestLeftBinAndSilenceAsAFlatLine)
{
    scroll->waveView()->viewDidEndLiveResize();
    QImage image = scroll->waveView()->grab().toImage();
    const int H = image.height();
    const double wave = WaveView::waveHeight(H);
    const double middle = H - wave / 2.0;
    const auto green = [&](double x, double y) { return qGreen(image.pixel(int(x), int(y))) > 100; };
    const double loudX = image.width() * 0.495; // at 0.98 of the left channel's peak
    EXPECT_TRUE(green(loudX, H - wave + wave * 0.04)) << "the loudest left bin reaches the top of the wave";
    EXPECT_FALSE(green(loudX, H - wave - 3)) << "the band above stays free";
    // Squared maxima: the right channel at half scale reaches a quarter of the half height.
    EXPECT_TRUE(green(image.width() * 0.75, middle + wave / 2.0 * 0.2));
    EXPECT_FALSE(green(image.width() * 0.75, middle + wave / 2.0 * 0.3));
    EXPECT_FALSE(green(image.width() * 0.75, middle - 3)) << "the silent left half stays empty";

    std::vector<float> silence(8000, 0.0f);
    const float* channels[] = {silence.data(), silence.data()};
    WaveformData quiet;
    quiet.setBinSize(1);
    quiet.preprocessAudioData(channels, 2, 8000);
    scroll->waveView()->setWaveData(&quiet);
    scroll->waveView()->viewDidEndLiveResize();
    image = scroll->waveView()->grab().toImage();
    int lit = 0;
    for (int y = 0; y < H; ++y)
        lit += green(image.width() / 2, y);
    EXPECT_TRUE(lit == 1 || lit == 2) << lit;
    EXPECT_TRUE(green(image.width() / 2, middle));
}

TEST_F(WaveViewsTest, ADropOpensTheFirstFileWhenItsTypeIsAllowedInAnyCase)
{
    struct Case { QList<QUrl> urls; bool opens; };
    const Case cases[] = {
        {{QUrl::fromLocalFile("/music/Take 1.WAV"), QUrl::fromLocalFile("/music/b.mp3")}, true},
        {{QUrl::fromLocalFile("/music/notes.txt"), QUrl::fromLocalFile("/music/b.mp3")}, false},
        {{QUrl::fromLocalFile("/music/folder")}, false},
        {{QUrl::fromLocalFile("/music/song.M4a")}, true},
    };
    for (WaveView* view : {scroll->waveView(), overview}) {
        for (const Case& c : cases) {
            SCOPED_TRACE(c.urls.first().toString().toStdString());
            host.opened.clear();
            QMimeData mime;
            mime.setUrls(c.urls);
            QDragEnterEvent enter(QPoint(10, 10), Qt::CopyAction | Qt::LinkAction, &mime, Qt::LeftButton, Qt::NoModifier);
            QCoreApplication::sendEvent(view, &enter);
            EXPECT_TRUE(enter.isAccepted()) << "files are welcome; the drop decides";
            QDropEvent drop(QPointF(10, 10), Qt::CopyAction | Qt::LinkAction, &mime, Qt::LeftButton, Qt::NoModifier);
            QCoreApplication::sendEvent(view, &drop);
            EXPECT_EQ(drop.isAccepted(), c.opens);
            EXPECT_EQ(host.opened, c.opens ? QList<QUrl>{c.urls.first()} : QList<QUrl>{});
        }
    }
}

TEST_F(WaveViewsTest, AClickOnTheStripCentresTheWaveAndPutsThePlayheadThereWhichTheStripShowsWithItsSavedLoops)
{
    overview->viewDidEndLiveResize();
    scroll->zoom(4.0);
    const QPoint at(int(0.6 * overview->width()), overview->height() / 2);
    QTest::mouseClick(overview, Qt::RightButton, {}, at);
    EXPECT_EQ(host.changes, 0) << "only the left button";
    QTest::mouseClick(overview, Qt::LeftButton, {}, at);
    EXPECT_EQ(host.changes, 1);
    EXPECT_NEAR(host.selection.left, 0.6, 0.002);
    EXPECT_EQ(host.selection.left, host.selection.right) << "no selection, a play position";
    EXPECT_NEAR(host.cursor, 0.6, 0.002);
    EXPECT_NEAR((overview->overviewLeft() + overview->overviewRight()) / 2.0, 0.6, 0.002);

    LoopMarker::sharedLoops().clearLoops();
    LoopMarker::sharedLoops().addLoop({0.1, 0.2});
    auto* cursor = new CursorView;
    overview->addOverlay(cursor);
    cursor->updateCursorWithProgress(0.3);
    const QImage image = overview->grab().toImage();
    LoopMarker::sharedLoops().clearLoops();
    const auto brightness = [&](double p, int y) { return qGray(image.pixel(int(p * image.width()), y)); };
    EXPECT_LT(brightness(0.4, image.height() / 2 + 2), brightness(0.6, image.height() / 2 + 2))
        << "the right channel is shaded out of view, from 0.475 to 0.725 in view";
    const QRgb mark = image.pixel(int(0.15 * image.width()), 2);
    EXPECT_GT(qRed(mark), 200);
    EXPECT_LT(qBlue(mark), 60) << "the saved loop's orange line along the top";
    const int x = int(0.3 * image.width());
    const auto light = [&](int px, int y) { return qGray(image.pixel(px, y)) > 180; };
    EXPECT_TRUE(light(x, 3));
    EXPECT_TRUE(light(x, image.height() - 4));
    EXPECT_FALSE(light(x, image.height() - 1)) << "two points short of the bottom";
    EXPECT_FALSE(light(x + 3, 3));
}
