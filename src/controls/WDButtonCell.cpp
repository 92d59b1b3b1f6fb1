#include "controls/WDButtonCell.h"

#include "platform/MainQueue.h"

#include <QPainter>
#include <QPainterPath>
#include <QPointer>

namespace {

// The symbol for a style inside a frame; some x positions scale with the height on purpose,
// so the symbols keep their proportions on a round button.
QPainterPath symbolPath(int style, const QRectF& frame)
{
    const double x = frame.x(), y = frame.y(), w = frame.width(), h = frame.height();
    QPainterPath path;
    path.setFillRule(Qt::WindingFill);
    switch (style) {
    case WDButtonCell::Play:
        path.moveTo(x + 0.38 * h, y + 0.33 * h);
        path.lineTo(x + 0.71 * h, y + 0.5 * h);
        path.lineTo(x + 0.38 * h, y + 0.66 * h);
        path.closeSubpath();
        break;
    case WDButtonCell::Stop:
        path.addRect(x + 0.5 * w - 0.165 * h, y + 0.3 * h, 0.33 * h, 0.33 * h);
        break;
    case WDButtonCell::Pause:
        path.addRect(x + 0.35 * h, y + 0.33 * h, 0.09 * w, 0.33 * h);
        path.addRect(x + 0.55 * h, y + 0.33 * h, 0.09 * w, 0.33 * h);
        break;
    case WDButtonCell::Return:
        path.addRect(x + 0.33 * w, y + 0.35 * h, 0.07 * w, 0.3 * h);
        path.moveTo(x + 0.47 * w, y + 0.5 * h);
        path.lineTo(x + 0.65 * w, y + 0.35 * h);
        path.lineTo(x + 0.65 * w, y + 0.65 * h);
        path.lineTo(x + 0.47 * w, y + 0.5 * h);
        break;
    default:
        break;
    }
    return path;
}

} // namespace

WDButtonCell::WDButtonCell(QWidget* parent)
    : QAbstractButton(parent)
{
    setFocusPolicy(Qt::NoFocus);
}

void WDButtonCell::setStyle(int style)
{
    m_style = style;
    QPointer<WDButtonCell> self(this);
    MainQueue::post([self] {
        if (self)
            self->update();
    });
}

void WDButtonCell::setBackColor(const QColor& color)
{
    m_backColor = color;
    update();
}

void WDButtonCell::setKeyColor(const QColor& color)
{
    m_keyColor = color;
    update();
}

void WDButtonCell::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    drawInteriorWithFrame(painter, QRectF(rect()));
}

void WDButtonCell::drawInteriorWithFrame(QPainter& painter, const QRectF& frame) const
{
    painter.setPen(Qt::NoPen);
    if (m_backColor.isValid()) {
        painter.setBrush(m_backColor);
        painter.drawEllipse(frame);
    }
    const QPainterPath symbol = symbolPath(m_style, frame);
    if (symbol.isEmpty() || !m_keyColor.isValid())
        return;
    painter.setPen(QPen(m_keyColor, 2.0, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.setBrush(m_keyColor);
    painter.drawPath(symbol);
}
