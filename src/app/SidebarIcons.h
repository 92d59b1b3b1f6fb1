#pragma once

#include <QColor>
#include <QIcon>
#include <QString>

// The icons of the two side-panel buttons in one tint at a given size: the desktop icon theme's
// when it has one by `themeName`, else drawn from our own SVG.
namespace SidebarIcons {
QIcon icon(const QString& themeName, const QString& resourcePath, double pointSize, const QColor& tint,
           qreal devicePixelRatio = 1.0);
QIcon applicationIcon();
}
