#pragma once

#include <QColor>
#include <QIcon>
#include <QString>

// The icons of the two side-panel buttons, drawn from our own SVGs in one tint at a given size.
namespace SidebarIcons {
QIcon icon(const QString& resourcePath, double pointSize, const QColor& tint, qreal devicePixelRatio = 1.0);
QIcon applicationIcon();
}
