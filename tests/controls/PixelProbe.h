#pragma once

// Small helpers for reading rendered controls back pixel by pixel.
#include <QColor>
#include <QImage>
#include <QPointF>
#include <QRect>
#include <QWidget>

namespace PixelProbe {

// Renders the widget alone (no window background) at its current size onto white.
inline QImage render(QWidget& widget)
{
    QImage image(widget.size(), QImage::Format_ARGB32);
    image.fill(Qt::white);
    widget.render(&image, QPoint(), QRegion(), QWidget::DrawChildren);
    return image;
}

inline bool near(QRgb pixel, const QColor& colour, int tolerance = 40)
{
    return std::abs(qRed(pixel) - colour.red()) <= tolerance
        && std::abs(qGreen(pixel) - colour.green()) <= tolerance
        && std::abs(qBlue(pixel) - colour.blue()) <= tolerance;
}

inline bool near(const QImage& image, double x, double y, const QColor& colour,
                 int tolerance = 40)
{
    return near(image.pixel(int(x), int(y)), colour, tolerance);
}

inline int count(const QImage& image, const QColor& colour, const QRect& area,
                 int tolerance = 40)
{
    int n = 0;
    const QRect clipped = area.intersected(image.rect());
    for (int y = clipped.top(); y <= clipped.bottom(); ++y)
        for (int x = clipped.left(); x <= clipped.right(); ++x)
            n += near(image.pixel(x, y), colour, tolerance) ? 1 : 0;
    return n;
}

inline int count(const QImage& image, const QColor& colour, int tolerance = 40)
{
    return count(image, colour, image.rect(), tolerance);
}

// Bounding box of the pixels near the colour; null when there are none.
inline QRect bounds(const QImage& image, const QColor& colour, int tolerance = 40)
{
    QRect box;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            if (near(image.pixel(x, y), colour, tolerance))
                box = box.united(QRect(x, y, 1, 1));
    return box;
}

// Centre of mass of the pixels near the colour, in pixel-centre coordinates.
inline QPointF centroid(const QImage& image, const QColor& colour, int tolerance = 40)
{
    double sx = 0.0, sy = 0.0;
    int n = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            if (near(image.pixel(x, y), colour, tolerance)) {
                sx += x + 0.5;
                sy += y + 0.5;
                ++n;
            }
    return n ? QPointF(sx / n, sy / n) : QPointF(-1.0, -1.0);
}

// Number of separate horizontal runs of the colour along row y.
inline int runsInRow(const QImage& image, int y, const QColor& colour, int tolerance = 40)
{
    int runs = 0;
    bool inside = false;
    for (int x = 0; x < image.width(); ++x) {
        const bool hit = near(image.pixel(x, y), colour, tolerance);
        runs += (hit && !inside) ? 1 : 0;
        inside = hit;
    }
    return runs;
}

// Height of the colour's extent in column x.
inline int columnExtent(const QImage& image, int x, const QColor& colour, int tolerance = 40)
{
    int top = -1, bottom = -1;
    for (int y = 0; y < image.height(); ++y)
        if (near(image.pixel(x, y), colour, tolerance)) {
            if (top < 0)
                top = y;
            bottom = y;
        }
    return top < 0 ? 0 : bottom - top + 1;
}

} // namespace PixelProbe
