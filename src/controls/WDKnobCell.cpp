#include "controls/WDKnobCell.h"

#include <QPainter>

#include <algorithm>
#include <cmath>

WDKnobCell::WDKnobCell()
{
    setupCell();
}

void WDKnobCell::setupCell()
{
    m_minValue = 0.0;
    m_maxValue = 1.0;
    m_dotSize = 5.0;
    m_mouseFactor = 3.0;
    m_knobColor = QColor::fromRgbF(0.6f, 0.6f, 0.6f, 1.0f);
}

bool WDKnobCell::startTrackingAt(const QPointF&)
{
    m_beginTracking = true;
    return true;
}

double WDKnobCell::continueTracking(const QPointF& last, const QPointF& current, double value,
                                    double viewHeight)
{
    // The widget's y grows downwards; an upward drag is a positive step.
    const double step = m_beginTracking ? 0.0 : (last.y() - current.y()) / m_mouseFactor;
    m_beginTracking = false;
    if (viewHeight > 0.0)
        value += step / viewHeight;
    return std::min(std::max(value, m_minValue), m_maxValue);
}

double WDKnobCell::angleForValue(double value)
{
    return value * 4.71238898038469 - 2.356194490192345;
}

QPointF WDKnobCell::dotCentre(const QRectF& viewBounds, double value)
{
    const QRectF inset = viewBounds.adjusted(viewBounds.width() / 10.0, viewBounds.height() / 10.0,
                                             -viewBounds.width() / 10.0,
                                             -viewBounds.height() / 10.0);
    const double a = angleForValue(value);
    const double rx = inset.width() / 2.0;
    const double ry = inset.height() / 2.0;
    return {inset.center().x() + rx * std::sin(a), inset.center().y() - ry * std::cos(a)};
}

void WDKnobCell::drawInteriorWithFrame(QPainter& painter, const QRectF& frame,
                                       const QRectF& viewBounds, double value) const
{
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    if (m_knobColor.isValid()) {
        painter.setBrush(m_knobColor);
        painter.drawEllipse(frame);
    }
    if (m_dotColor.isValid()) {
        painter.setBrush(m_dotColor);
        painter.drawEllipse(dotCentre(viewBounds, value), m_dotSize / 2.0, m_dotSize / 2.0);
    }
    painter.restore();
}
