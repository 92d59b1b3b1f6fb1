#include "controls/ArcPath.h"

#include <QtMath>

namespace ArcPath {

void addArc(QPainterPath& path, double cx, double cy, double radius, double startAngle,
            double endAngle, bool clockwise)
{
    double sweep = qRadiansToDegrees(endAngle - startAngle);
    if (clockwise) {
        while (sweep > 0.0)
            sweep -= 360.0;
    } else {
        while (sweep < 0.0)
            sweep += 360.0;
    }
    // Qt counts angles against a y axis pointing up, so both start and sweep change sign.
    const QRectF box(cx - radius, cy - radius, 2.0 * radius, 2.0 * radius);
    const double start = -qRadiansToDegrees(startAngle);
    if (path.elementCount() == 0)
        path.arcMoveTo(box, start);
    path.arcTo(box, start, -sweep);
}

} // namespace ArcPath
