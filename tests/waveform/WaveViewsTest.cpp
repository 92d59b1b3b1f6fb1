// The wave views on their own, over a stand-in coordinator: how zoom widens the wave and keeps
// the anchor in place, what the wave and the strip draw, what a drop opens.
#include "waveform/CursorView.h"
#include "waveform/WaveScrollView.h"
#include "waveform/WaveView.h"
#include "waveform/WaveViewHost.h"
#include "waveform/WaveformData.h"

#include "common/Testing.h"

#include <QDropEvent>
#include <QMimeData>
#include <QPainter>

namespace {

// The coordinator the wave views talk to, recording what they ask of it.
struct StandInHost : WaveViewHost {
    bool loaded = true;
    int changes = 0;
    double cursor = 0.0;
    LoopPair selection{-1.0, -1.0};
    QList<QUrl> opened;
    WaveScrollView* scroll = nullptr;
    bool audioLoaded() const override { return loaded; }
    void setViewPosition(float p) override { if (scroll) scroll->scrollPoint(scroll->waveView()->waveWidth() * p); }
    void setLoop(bool) override {}
    void selectionChanged() override { ++changes; }
    void setZoom(double) override {}
    bool loadAudioFromURL(const QUrl& url) override { return opened << url, true; }
    void setSelection(const LoopPair& loop) override { selection = loop; }
    void updateCursorWithProgress(double progress) override { cursor = progress; }
    double cursorPosition() const override { return cursor; }
};

WaveformData track(const std::vector<float>& left, const std::vector<float>& right)
{
    const float* channels[] = {left.data(), right.data()};
    WaveformData data;
    data.setBinSize(1);
    data.preprocessAudioData(channels, 2, int64_t(left.size()));
    return data;
}

// Jagged music: 72,000 frames in (-0.9, 0.9).
std::vector<float> noise(uint32_t seed)
{
    std::vector<float> v(72000);
    std::generate(v.begin(), v.end(), [&] { return seed = seed * 1664525u + 1013904223u, float(double(seed >> 8) / double(1u << 24) * 1.8 - 0.9); });
    return v;
}

// One polygon a channel, all points, y up from the middle for the left and down for the right.
QImage plainDrawing(const WaveformData& data, QSize view, const QRect& shown, QColor fill, QColor background)
{
    QImage image(shown.size(), QImage::Format_ARGB32_Premultiplied);
    image.fill(background);
    QPainter painter(&image);
    painter.translate(-shown.topLeft());
    const double W = view.width(), H = WaveView::waveHeight(view.height()), middle = view.height() - H / 2.0, scale = (H / 2.0) / data.maxY();
    const int n = data.numPoints();
    const double step = W / n;
    const auto polygon = [&](const WavePoint* points, double direction) {
        QPolygonF p;
        for (int i = 0; i < n; ++i)
            p << QPointF(points[i].x * step, middle - direction * points[i].y * scale);
        p << QPointF(W, middle) << QPointF(points[0].x * step, middle);
        return p;
    };
    painter.setPen(Qt::NoPen);
    painter.setBrush(fill);
    painter.drawPolygon(polygon(data.wavePointsL(), 1.0));
    fill.setAlphaF(fill.alphaF() * 0.8f);
    painter.setBrush(fill);
    painter.drawPolygon(polygon(data.wavePointsR(), -1.0));
    return image;
}

struct WaveViewsTest : ::testing::Test {
    StandInHost host;
    QWidget window;
    WaveScrollView* scroll = new WaveScrollView(&window);
    WaveView* overview = new WaveView(&window);
    WaveformData data = track(noise(1), noise(2));

    void SetUp() override
    {
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

TEST_F(WaveViewsTest, ZoomWidensTheWaveToTheFloorOfItsFactorKeepsItsAnchorAsDoPinchWheelAndScrollAndTheWaveIsDrawnAsPlainPolygons)
{
    struct Case { int width; double asked, magnification; int waveWidth; };
    const Case cases[] = {{1000, 2.5, 2.5, 2500}, {333, 1.5, 1.5, 499}, {1000, 0.5, 1.0, 1000}, {1000, 30.0, 25.0, 25000}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.asked);
        resize(c.width);
        scroll->zoom(c.asked);
        EXPECT_EQ(scroll->magnification(), c.magnification);
        EXPECT_EQ(scroll->waveView()->width(), c.waveWidth);
        EXPECT_TRUE(data.numPoints() <= c.waveWidth && data.numPoints() > c.waveWidth / 2) << "points for the new width";
        EXPECT_NEAR(overview->overviewRight() - overview->overviewLeft(), 1.0 / c.magnification, 0.002)
            << "the strip's frame spans the visible part";
    }


    // A pinch multiplies and keeps the point under the pointer in place.
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

    // Scrolling moves only the strip's frame; the wheel scrolls sideways, with Shift or Ctrl it zooms.
    const auto wheel = [this](int notch, Qt::KeyboardModifier key) {
        QWheelEvent event(QPointF(200, 100), scroll->mapToGlobal(QPointF(200, 100)), QPoint(), QPoint(0, notch), Qt::NoButton, key, Qt::NoScrollPhase, false);
        QCoreApplication::sendEvent(scroll->waveView(), &event);
    };
    scroll->zoom(4.0);
    scroll->scrollPoint(0.0);
    wheel(-120, Qt::NoModifier);
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
        wheel(120, zoomKey);
        EXPECT_EQ(scroll->magnification(), m + 1.0) << "a notch adds one to the zoom";
    }

    // Deep in a zoom, over data music, the same pixels as the plainest drawing; silence on the middle line.
    const QColor fill(35, 210, 90), background(40, 53, 64);
    WaveView view;
    view.setContainer(&host);
    view.setFillColor(fill);
    view.setBackgroundColor(background);
    for (const int width : {1280, 9000, 32000}) {
        view.resize(width, 420);
        data.makeWaveformOfWidth(float(width));
        view.setWaveData(&data);
        // A part away from the start, its left edge inside a pixel column of a point.
        const QRect shown(width / 3 + 7, 0, 1280 - 3, 420);
        QImage drawn(shown.size(), QImage::Format_ARGB32_Premultiplied);
        view.render(&drawn, QPoint(), QRegion(shown), QWidget::DrawChildren);
        EXPECT_TRUE(drawn == plainDrawing(data, view.size(), shown, fill, background)) << "at " << width << " wide, " << data.numPoints() << " points";
    }

    view.resize(1280, 420);
    WaveformData quiet = track(std::vector<float>(8000, 0.0f), std::vector<float>(8000, 0.0f));
    quiet.makeWaveformOfWidth(1280.0f);
    view.setWaveData(&quiet);
    const QImage column = view.grab().toImage().copy(640, 0, 1, 420);
    int lit = 0;
    for (int y = 0; y < 420; ++y)
        lit += qGreen(column.pixel(0, y)) > 100;
    EXPECT_TRUE((lit == 1 || lit == 2) && qGreen(column.pixel(0, int(420 - WaveView::waveHeight(420) / 2.0))) > 100) << lit;

    host.loaded = false;
    scroll->zoom(3.0);
    EXPECT_EQ(scroll->magnification(), 6.0) << "nothing to zoom without a track";
}

TEST_F(WaveViewsTest, AClickOnTheStripCentresTheWaveAndPutsThePlayheadThereWhichTheStripShowsWithItsSavedLoopsAndADropOpensAFile)
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
    const int x = int(0.3 * image.width()), h = image.height();
    const auto gray = [&](double p, int y) { return qGray(image.pixel(int(p * image.width()), y)); };
    EXPECT_LT(gray(0.4, h / 2 + 2), gray(0.6, h / 2 + 2)) << "the right channel is shaded out of view, from 0.475 to 0.725 in view";
    const QRgb mark = image.pixel(int(0.15 * image.width()), 2);
    EXPECT_TRUE(qRed(mark) > 200 && qBlue(mark) < 60) << "the saved loop's orange line along the top";
    const auto light = [&](int px, int y) { return qGray(image.pixel(px, y)) > 180; };
    EXPECT_EQ(std::tuple(light(x, 3), light(x, h - 4), light(x, h - 1), light(x + 3, 3)), std::tuple(true, true, false, false))
        << "the playhead's line, two points short of the bottom";

    // A drop opens the first file when its type is allowed, in any letter case.
    const std::pair<QList<QUrl>, bool> drops[] = {{{QUrl::fromLocalFile("/music/Take 1.WAV"), QUrl::fromLocalFile("/music/b.mp3")}, true},
                                                  {{QUrl::fromLocalFile("/music/notes.txt"), QUrl::fromLocalFile("/music/b.mp3")}, false},
                                                  {{QUrl::fromLocalFile("/music/folder")}, false},
                                                  {{QUrl::fromLocalFile("/music/song.M4a")}, true}};
    for (const auto& [urls, opens] : drops) {
        SCOPED_TRACE(urls.first().toString().toStdString());
        host.opened.clear();
        QMimeData mime;
        mime.setUrls(urls);
        QDragEnterEvent enter(QPoint(10, 10), Qt::CopyAction | Qt::LinkAction, &mime, Qt::LeftButton, Qt::NoModifier);
        QCoreApplication::sendEvent(overview, &enter);
        EXPECT_TRUE(enter.isAccepted()) << "files are welcome; the drop decides";
        QDropEvent drop(QPointF(10, 10), Qt::CopyAction | Qt::LinkAction, &mime, Qt::LeftButton, Qt::NoModifier);
        QCoreApplication::sendEvent(overview, &drop);
        EXPECT_EQ(drop.isAccepted(), opens);
        EXPECT_EQ(host.opened, opens ? QList<QUrl>{urls.first()} : QList<QUrl>{});
    }
}
