#include "controls/WDSlider.h"

#include "controls/ArcPath.h"

#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QtMath>

#include <algorithm>
#include <cmath>
#include <initializer_list>

namespace {

// The union of a rectangle (may be empty) and circles of the given diameter at top-left corners.
QPainterPath rectAndCircles(const QRectF& rect, std::initializer_list<QPointF> corners,
                            double diameter)
{
    QPainterPath shape;
    if (!rect.isEmpty())
        shape.addRect(rect);
    for (const QPointF& corner : corners) {
        QPainterPath circle;
        circle.addEllipse(QRectF(corner, QSizeF(diameter, diameter)));
        shape = shape.united(circle);
    }
    return shape;
}

} // namespace

WDSlider::WDSlider(QWidget* parent)
    : DoubleValueSlider(parent)
    , m_backColor(QColor::fromRgbF(0.2f, 0.45f, 0.55f, 1.0f))
{
    setOrientation(Qt::Horizontal);
    setFocusPolicy(Qt::StrongFocus);
}

void WDSlider::setIcon(int icon)
{
    m_icon = icon;
    updateGeometry();
    update();
}

void WDSlider::setBackColor(const QColor& color)
{
    m_backColor = color;
    update();
}

void WDSlider::setBarColor(const QColor& color)
{
    m_barColor = color;
    update();
}

void WDSlider::setIconColor(const QColor& color)
{
    m_iconColor = color;
    update();
}

void WDSlider::setThickness(double thickness)
{
    m_thickness = thickness;
    updateGeometry();
    update();
}

QRectF WDSlider::knobRectFlipped() const
{
    const float x = std::roundf(float(fraction() * (width() - kKnobSize)));
    const float y = std::roundf(float((height() - kKnobSize) / 2.0));
    return {x, y, kKnobSize, kKnobSize};
}

QSize WDSlider::sizeHint() const
{
    const bool hasKnobIcon = m_icon == Gauge || m_icon == Magnifier;
    const double height = hasKnobIcon ? std::max(kKnobSize, m_thickness) : m_thickness;
    return {160, int(std::ceil(height))};
}

QSize WDSlider::minimumSizeHint() const
{
    return {int(kKnobSize) * 2, sizeHint().height()};
}

void WDSlider::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    drawInteriorWithFrame(painter, QRectF(rect()));
}

void WDSlider::drawInteriorWithFrame(QPainter& painter, const QRectF& frame)
{
    const double x = frame.x();
    const double y = frame.y();
    const double w = frame.width();
    const double t = m_thickness;
    m_barOriginY = y;

    // Filled as one union, so that a translucent colour does not darken where the parts overlap.
    if (m_backColor.isValid())
        painter.fillPath(rectAndCircles(QRectF(x + t / 2.0, y, w - t, t),
                                        {QPointF(x + w - t, y), QPointF(x, y)}, t),
                         m_backColor);
    if (m_barColor.isValid()) {
        const double p = (w - t) * fraction();
        const QPainterPath bar = t > kDotThickness
            ? rectAndCircles(QRectF(x + t / 2.0, y, p, t), {QPointF(x, y), QPointF(x + p, y)}, t)
            : rectAndCircles(QRectF(), {QPointF(x + p, y)}, t);
        painter.fillPath(bar, m_barColor);
    }
    drawKnob(painter, knobRectFlipped());
}

void WDSlider::drawKnob(QPainter& painter, const QRectF& knobRect)
{
    if (!m_iconColor.isValid() || (m_icon != Gauge && m_icon != Magnifier))
        return;
    const double my = m_barOriginY + m_thickness / 2.0;
    const double mx = knobRect.x() + knobRect.width() / 2.0;
    painter.save();
    painter.setBrush(Qt::NoBrush);
    if (m_icon == Magnifier)
        drawMagnifier(painter, mx, my);
    else
        drawGauge(painter, knobRect, mx, my);
    painter.restore();
}

void WDSlider::drawMagnifier(QPainter& painter, double mx, double my)
{
    const double cx = mx - 2.0;
    const double cy = my - 3.0;
    QPen pen(m_iconColor, 2.0, Qt::SolidLine, Qt::RoundCap);
    painter.setPen(pen);
    painter.drawEllipse(QPointF(cx, cy), 5.0, 5.0);
    pen.setWidthF(3.0);
    painter.setPen(pen);
    painter.drawLine(QPointF(cx + 4.0, cy + 4.0), QPointF(cx + 8.0, cy + 8.0));
}

void WDSlider::drawGauge(QPainter& painter, const QRectF& knobRect, double mx, double my)
{
    const double cx = mx - 1.0;
    const double cy = my;
    const double radius = 7.0;

    QPainterPath dial;
    ArcPath::addArc(dial, cx, cy, radius, qDegreesToRadians(15.0), qDegreesToRadians(165.0), true);
    painter.setPen(QPen(m_iconColor, 2.0, Qt::SolidLine, Qt::RoundCap));
    painter.drawPath(dial);

    if (m_barColor.isValid()) {
        QPainterPath tick;
        ArcPath::addArc(tick, cx, cy, radius, qDegreesToRadians(310.0), qDegreesToRadians(303.0),
                      true);
        painter.setPen(QPen(m_barColor, 3.0, Qt::SolidLine, Qt::SquareCap));
        painter.drawPath(tick);
    }

    const double hub = 1.4142135623730951;
    QPainterPath needle;
    needle.moveTo(knobRect.x() + knobRect.width() - 7.0, cy - 7.5);
    needle.lineTo(cx + hub, cy + hub);
    ArcPath::addArc(needle, cx, cy, 2.0, qDegreesToRadians(25.0), qDegreesToRadians(215.0), false);
    needle.closeSubpath();
    painter.fillPath(needle, m_iconColor);
}

double WDSlider::valueAtX(double x) const
{
    const double travel = width() - kKnobSize;
    const double f = travel > 0.0 ? std::clamp((x - kKnobSize / 2.0) / travel, 0.0, 1.0) : 0.0;
    return minValue() + f * (maxValue() - minValue());
}

void WDSlider::mousePressEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton) {
        event->ignore();
        return;
    }
    setSliderDown(true);
    applyUserValue(valueAtX(event->position().x()), event->modifiers(), true);
}

void WDSlider::mouseMoveEvent(QMouseEvent* event)
{
    if (!isSliderDown()) {
        event->ignore();
        return;
    }
    applyUserValue(valueAtX(event->position().x()), event->modifiers(), false);
}

void WDSlider::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton)
        setSliderDown(false);
}
