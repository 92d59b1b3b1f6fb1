#include "controls/ArcPath.h"

#include <QtMath>

#include "common/Testing.h"

namespace {

// The point at `degrees` on the circle of radius 10 around (5, 0), y pointing down.
QPointF onCircle(double degrees)
{
    return {5.0 + 10.0 * std::cos(qDegreesToRadians(degrees)), 10.0 * std::sin(qDegreesToRadians(degrees))};
}

bool near(const QPointF& actual, const QPointF& expected, double tolerance = 0.01)
{
    return QLineF(actual, expected).length() < tolerance;
}

TEST(ArcPath, TheClockwiseFlagRunsTheAngleDownwardsAndALineJoinsAnEarlierPointToTheStart)
{
    struct Case { double start, end; bool clockwise; double middle; };
    for (const Case& c : {Case{120, 30, false, 255}, Case{30, 120, true, -105}, Case{120, 30, true, 75}}) {
        QPainterPath path;
        ArcPath::addArc(path, 5.0, 0.0, 10.0, qDegreesToRadians(c.start), qDegreesToRadians(c.end), c.clockwise);
        EXPECT_TRUE(near(path.elementAt(0), onCircle(c.start))) << c.start << " to " << c.end;
        // Halfway along the curves that approximate the arc, so only roughly at the middle angle.
        EXPECT_TRUE(near(path.pointAtPercent(0.5), onCircle(c.middle), 0.2)) << c.start << " to " << c.end;
        EXPECT_TRUE(near(path.currentPosition(), onCircle(c.end))) << c.start << " to " << c.end;
    }
    QPainterPath path;
    path.moveTo(0.0, -20.0);
    ArcPath::addArc(path, 5.0, 0.0, 10.0, 0.0, qDegreesToRadians(90.0), false);
    EXPECT_TRUE(near(path.elementAt(0), QPointF(0.0, -20.0)));
    EXPECT_TRUE(path.elementAt(1).isLineTo() && near(path.elementAt(1), onCircle(0)));
    EXPECT_TRUE(near(path.currentPosition(), onCircle(90)));
}

} // namespace
