#pragma once

#include <QPainterPath>

// Arcs given the way the drawing code thinks of them: angles in radians in the widget's own
// top-down coordinates (a point at angle a lies at cx + r cos a, cy + r sin a), and a clockwise
// flag that, when set, runs the angle downwards from start to end.
namespace ArcPath {

// Appends the arc to the path; like a path-building arc call, it first draws a line from the
// current point, if the path has one, to the arc's start.
void addArc(QPainterPath& path, double cx, double cy, double radius, double startAngle,
            double endAngle, bool clockwise);

} // namespace ArcPath
