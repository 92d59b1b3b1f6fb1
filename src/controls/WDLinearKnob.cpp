#include "controls/WDLinearKnob.h"

#include <QMouseEvent>
#include <QPainter>

WDLinearKnob::WDLinearKnob(QWidget* parent)
    : DoubleValueSlider(parent)
{
    setDoubleRange(m_linearCell.minValue(), m_linearCell.maxValue());
    setFocusPolicy(Qt::StrongFocus);
}

void WDLinearKnob::setKnobColor(const QColor& color)
{
    m_linearCell.setKnobColor(color);
    update();
}

void WDLinearKnob::setDotColor(const QColor& color)
{
    m_linearCell.setDotColor(color);
    update();
}

void WDLinearKnob::setMouseFactor(double factor)
{
    m_linearCell.setMouseFactor(factor);
}

void WDLinearKnob::setDotSize(double size)
{
    m_linearCell.setDotSize(size);
    update();
}

void WDLinearKnob::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    m_linearCell.drawInteriorWithFrame(painter, QRectF(rect()), QRectF(rect()), doubleValue());
}

void WDLinearKnob::mousePressEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton || !m_linearCell.startTrackingAt(event->position())) {
        event->ignore();
        return;
    }
    m_lastPoint = event->position();
    setSliderDown(true);
    applyUserValue(doubleValue(), event->modifiers(), true);
}

void WDLinearKnob::mouseMoveEvent(QMouseEvent* event)
{
    if (!isSliderDown()) {
        event->ignore();
        return;
    }
    const double value =
        m_linearCell.continueTracking(m_lastPoint, event->position(), doubleValue(), height());
    m_lastPoint = event->position();
    applyUserValue(value, event->modifiers(), false);
}

void WDLinearKnob::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton)
        setSliderDown(false);
}
