#pragma once

// Small helpers for reading rendered controls back pixel by pixel.
#include <QColor>
#include <QImage>
#include <QPointF>
#include <QRect>
#include <QWidget>

#include <gtest/gtest.h>

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
    return std::abs(qRed(pixel) - colour.red()) <= tolerance && std::abs(qGreen(pixel) - colour.green()) <= tolerance
        && std::abs(qBlue(pixel) - colour.blue()) <= tolerance;
}

inline bool near(const QImage& image, double x, double y, const QColor& colour, int tolerance = 40)
{
    return near(image.pixel(int(x), int(y)), colour, tolerance);
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

// Whether each edge of the rectangle is within `tolerance` pixels of the expected one.
inline ::testing::AssertionResult nearRect(const QRect& actual, const QRect& expected, int tolerance = 1)
{
    if (std::abs(actual.left() - expected.left()) <= tolerance && std::abs(actual.top() - expected.top()) <= tolerance
        && std::abs(actual.right() - expected.right()) <= tolerance && std::abs(actual.bottom() - expected.bottom()) <= tolerance)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "left " << actual.left() << " top " << actual.top() << " right " << actual.right()
                                         << " bottom " << actual.bottom();
}

} // namespace PixelProbe
