#pragma once

// Small helpers for reading rendered controls back pixel by pixel.
#include <QImage>
#include <QWidget>

#include "common/Testing.h"

namespace PixelProbe {

// Renders the widget alone (no window background) at its current size onto white.
inline QImage render(QWidget& widget)
{
    QImage image(widget.size(), QImage::Format_ARGB32);
    image.fill(Qt::white);
    widget.render(&image, QPoint(), QRegion(), QWidget::DrawChildren);
    return image;
}

inline bool near(const QImage& image, double x, double y, const QColor& colour, int tolerance = 40)
{
    const QRgb pixel = image.pixel(int(x), int(y));
    return std::max({std::abs(qRed(pixel) - colour.red()), std::abs(qGreen(pixel) - colour.green()), std::abs(qBlue(pixel) - colour.blue())}) <= tolerance;
}

// Bounding box of the pixels near the colour; null when there are none.
inline QRect bounds(const QImage& image, const QColor& colour, int tolerance = 40)
{
    QRect box;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            if (near(image, x, y, colour, tolerance))
                box = box.united(QRect(x, y, 1, 1));
    return box;
}

// Whether each edge of the rectangle is within `tolerance` pixels of the expected one.
inline bool nearRect(const QRect& a, const QRect& e, int tolerance = 1)
{
    return std::max({std::abs(a.left() - e.left()), std::abs(a.top() - e.top()), std::abs(a.right() - e.right()), std::abs(a.bottom() - e.bottom())}) <= tolerance;
}

} // namespace PixelProbe
