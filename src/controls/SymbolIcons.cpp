#include "controls/SymbolIcons.h"

#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <cmath>

namespace SymbolIcons {

namespace {

// All symbols are laid out on a 16 x 16 grid and scaled to the requested size.
constexpr double kGrid = 16.0;

void drawRing(QPainter& p)
{
    p.drawEllipse(QPointF(8.0, 8.0), 6.75, 6.75);
}

void drawRename(QPainter& p)
{
    p.drawLine(QPointF(8.0, 2.5), QPointF(8.0, 13.5));
    p.drawLine(QPointF(5.5, 2.0), QPointF(10.5, 2.0));
    p.drawLine(QPointF(5.5, 14.0), QPointF(10.5, 14.0));
}

void drawTrash(QPainter& p)
{
    p.drawLine(QPointF(2.5, 4.0), QPointF(13.5, 4.0));
    p.drawPolyline(QPolygonF({QPointF(6.0, 4.0), QPointF(6.5, 2.0), QPointF(9.5, 2.0),
                              QPointF(10.0, 4.0)}));
    p.drawPolygon(QPolygonF({QPointF(4.0, 4.0), QPointF(5.0, 14.0), QPointF(11.0, 14.0),
                             QPointF(12.0, 4.0)}));
    p.drawLine(QPointF(7.0, 6.5), QPointF(7.2, 11.5));
    p.drawLine(QPointF(9.0, 6.5), QPointF(8.8, 11.5));
}

void drawPlusCircle(QPainter& p)
{
    drawRing(p);
    p.drawLine(QPointF(5.0, 8.0), QPointF(11.0, 8.0));
    p.drawLine(QPointF(8.0, 5.0), QPointF(8.0, 11.0));
}

void drawMinusCircle(QPainter& p)
{
    drawRing(p);
    p.drawLine(QPointF(5.0, 8.0), QPointF(11.0, 8.0));
}

void drawArrowDownLeftCircle(QPainter& p)
{
    drawRing(p);
    p.drawLine(QPointF(10.5, 5.5), QPointF(5.5, 10.5));
    p.drawPolyline(QPolygonF({QPointF(5.5, 6.5), QPointF(5.5, 10.5), QPointF(9.5, 10.5)}));
}

} // namespace

QString themeName(Symbol symbol)
{
    switch (symbol) {
    case Symbol::Rename:
        return QStringLiteral("edit-rename");
    case Symbol::Trash:
        return QStringLiteral("user-trash");
    case Symbol::PlusCircle:
        return QStringLiteral("list-add");
    case Symbol::MinusCircle:
        return QStringLiteral("list-remove");
    case Symbol::ArrowDownLeftCircle:
        return QStringLiteral("document-import");
    }
    return {};
}

QColor secondaryLabelColor()
{
    return QColor::fromRgbF(0.0f, 0.0f, 0.0f, 0.5f);
}

QPixmap drawnSymbol(Symbol symbol, double pointSize, const QColor& tint, qreal devicePixelRatio)
{
    const int side = std::max(1, int(std::ceil(pointSize * devicePixelRatio)));
    QPixmap pixmap(side, side);
    pixmap.setDevicePixelRatio(devicePixelRatio);
    pixmap.fill(Qt::transparent);

    QPainter p(&pixmap);
    p.setRenderHint(QPainter::Antialiasing);
    p.scale(pointSize / kGrid, pointSize / kGrid);
    // Strokes stay about 1.3 device-independent pixels wide whatever the size.
    p.setPen(QPen(tint, 1.3 * kGrid / pointSize, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    p.setBrush(Qt::NoBrush);
    switch (symbol) {
    case Symbol::Rename:
        drawRename(p);
        break;
    case Symbol::Trash:
        drawTrash(p);
        break;
    case Symbol::PlusCircle:
        drawPlusCircle(p);
        break;
    case Symbol::MinusCircle:
        drawMinusCircle(p);
        break;
    case Symbol::ArrowDownLeftCircle:
        drawArrowDownLeftCircle(p);
        break;
    }
    return pixmap;
}

QIcon symbolIcon(Symbol symbol, double pointSize, const QColor& tint)
{
    QIcon drawn;
    for (qreal ratio : {1.0, 2.0})
        drawn.addPixmap(drawnSymbol(symbol, pointSize, tint, ratio));
    return QIcon::fromTheme(themeName(symbol), drawn);
}

} // namespace SymbolIcons
