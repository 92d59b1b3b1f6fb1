#include "controls/ArcPath.h"

#include <QtMath>

#include <gtest/gtest.h>

namespace {

QRectF arcBounds(double startDegrees, double endDegrees, bool clockwise)
{
    QPainterPath path;
    ArcPath::addArc(path, 0.0, 0.0, 10.0, qDegreesToRadians(startDegrees),
                    qDegreesToRadians(endDegrees), clockwise);
    return path.boundingRect();
}

bool near(const QRectF& a, const QRectF& b)
{
    return std::abs(a.left() - b.left()) < 1e-6 && std::abs(a.top() - b.top()) < 1e-6
        && std::abs(a.right() - b.right()) < 1e-6 && std::abs(a.bottom() - b.bottom()) < 1e-6;
}

TEST(ArcPath, CounterClockwiseFlagRunsTheAngleUpwards)
{
    // 0 to 90 degrees upwards: from the right to the bottom, y pointing down.
    EXPECT_TRUE(near(arcBounds(0.0, 90.0, false), QRectF(0.0, 0.0, 10.0, 10.0)));
}

TEST(ArcPath, ClockwiseFlagRunsTheAngleDownwardsTheLongWayRound)
{
    // 0 down to 90 passes through -90 (top) and -180 (left): three quarters of the circle.
    EXPECT_TRUE(near(arcBounds(0.0, 90.0, true), QRectF(-10.0, -10.0, 20.0, 20.0)));
    // 15 down to 165 arches over the top only.
    const QRectF over = arcBounds(15.0, 165.0, true);
    EXPECT_NEAR(over.top(), -10.0, 1e-6);
    EXPECT_NEAR(over.bottom(), 10.0 * std::sin(qDegreesToRadians(15.0)), 0.05); // curve control points
}

TEST(ArcPath, JoinsTheCurrentPointWithALine)
{
    QPainterPath path;
    path.moveTo(0.0, -20.0);
    ArcPath::addArc(path, 0.0, 0.0, 10.0, 0.0, qDegreesToRadians(90.0), false);
    EXPECT_NEAR(path.boundingRect().top(), -20.0, 1e-6);
    EXPECT_NEAR(path.elementAt(1).x, 10.0, 1e-6); // the line ends where the arc starts
    EXPECT_NEAR(path.elementAt(1).y, 0.0, 1e-6);
}

} // namespace
