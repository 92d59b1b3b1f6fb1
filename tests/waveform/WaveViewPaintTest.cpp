// The main wave's drawing against the plainest one: each channel one polygon from the middle line
// out to its points and back. Deep in a zoom, over jagged music, the same pixels must come out.
#include "StandInHost.h"
#include "waveform/WaveformData.h"

#include <QPainter>

namespace {

std::vector<float> noise(int frames, uint32_t seed)
{
    std::vector<float> v(static_cast<size_t>(frames));
    for (float& s : v) {
        seed = seed * 1664525u + 1013904223u;
        s = float(double(seed >> 8) / double(1u << 24) * 1.8 - 0.9);
    }
    return v;
}

// One polygon a channel, all points, y up from the middle for the left and down for the right.
QImage plainDrawing(const WaveformData& data, QSize view, const QRect& shown, QColor fill, QColor background)
{
    QImage image(shown.size(), QImage::Format_ARGB32_Premultiplied);
    image.fill(background);
    QPainter painter(&image);
    painter.translate(-shown.topLeft());
    const double W = view.width();
    const double H = WaveView::waveHeight(view.height());
    const double middle = view.height() - H / 2.0;
    const double scale = (H / 2.0) / data.maxY();
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

TEST(WaveViewPaint, DeepInAZoomTheWaveCoversTheSamePixelsAsOnePolygonAChannel)
{
    const std::vector<float> left = noise(72000, 1);
    const std::vector<float> right = noise(72000, 2);
    const float* channels[] = {left.data(), right.data()};
    WaveformData data;
    data.setBinSize(1);
    data.preprocessAudioData(channels, 2, 72000);
    const QColor fill(35, 210, 90);
    const QColor background(40, 53, 64);

    StandInHost host;
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
        const QImage plain = plainDrawing(data, view.size(), shown, fill, background);
        int differing = 0;
        for (int y = 0; y < drawn.height(); ++y)
            for (int x = 0; x < drawn.width(); ++x)
                differing += drawn.pixel(x, y) != plain.pixel(x, y);
        EXPECT_EQ(differing, 0) << "at " << width << " wide, " << data.numPoints() << " points";
    }
}

} // namespace
