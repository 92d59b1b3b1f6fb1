#include "app/SidebarIcons.h"

#include <QPainter>
#include <QPixmap>
#include <QSvgRenderer>

#include <cmath>

namespace SidebarIcons {

QIcon icon(const QString& themeName, const QString& resourcePath, double pointSize, const QColor& tint,
           qreal devicePixelRatio)
{
    const int side = int(std::ceil(pointSize * devicePixelRatio));
    QPixmap pixmap(side, side);
    pixmap.fill(Qt::transparent);
    {
        QPainter painter(&pixmap);
        if (QIcon::hasThemeIcon(themeName)) {
            painter.drawPixmap(0, 0, QIcon::fromTheme(themeName).pixmap(side, side));
        } else {
            QSvgRenderer renderer(resourcePath);
            renderer.render(&painter);
        }
        // The drawing is black; the tint replaces it where it is opaque.
        painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
        painter.fillRect(pixmap.rect(), tint);
    }
    pixmap.setDevicePixelRatio(devicePixelRatio);
    return QIcon(pixmap);
}

QIcon applicationIcon()
{
    QSvgRenderer renderer(QStringLiteral(":/lento/icons/lento.svg"));
    QIcon icon;
    for (int side : {16, 32, 48, 64, 128, 256}) {
        QPixmap pixmap(side, side);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        renderer.render(&painter);
        painter.end();
        icon.addPixmap(pixmap);
    }
    return icon;
}

} // namespace SidebarIcons
