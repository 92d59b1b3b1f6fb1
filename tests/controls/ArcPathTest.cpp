#include "controls/ArcPath.h"

#include <QtMath>

#include "common/Testing.h"

namespace {

// Whether `actual` is the point at `degrees` on the circle of radius 10 around (5, 0), y pointing down.
bool onCircle(const QPointF& actual, double degrees, double tolerance = 0.01)
{
    return QLineF(actual, {5.0 + 10.0 * std::cos(qDegreesToRadians(degrees)), 10.0 * std::sin(qDegreesToRadians(degrees))}).length() < tolerance;
}

// The slider's gauge shows the clockwise arcs; here an anticlockwise one that goes the long way
// round, and a line that joins an earlier point to the arc's start.
TEST(ArcPath, TheClockwiseFlagRunsTheAngleDownwardsAndALineJoinsAnEarlierPointToTheStart)
{
    QPainterPath path;
    ArcPath::addArc(path, 5.0, 0.0, 10.0, qDegreesToRadians(120.0), qDegreesToRadians(30.0), false);
    EXPECT_TRUE(onCircle(path.elementAt(0), 120));
    // Halfway along the curves that approximate the arc, so only roughly at the middle angle.
    EXPECT_TRUE(onCircle(path.pointAtPercent(0.5), 255, 0.2));
    EXPECT_TRUE(onCircle(path.currentPosition(), 30));
    QPainterPath joined;
    joined.moveTo(0.0, -20.0);
    ArcPath::addArc(joined, 5.0, 0.0, 10.0, 0.0, qDegreesToRadians(90.0), false);
    EXPECT_TRUE(joined.elementAt(1).isLineTo() && onCircle(joined.elementAt(1), 0));
    EXPECT_TRUE(onCircle(joined.currentPosition(), 90));
}

} // namespace
