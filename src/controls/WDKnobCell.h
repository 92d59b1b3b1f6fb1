#pragma once

#include <QColor>
#include <QPointF>
#include <QRectF>

class QPainter;

// Drawing and drag arithmetic of the rotary knob, kept apart from the widget that hosts it.
//
// The value runs from 0 to 1 over 270 degrees: 0 at lower left, 0.5 straight up, 1 at lower
// right. Points are in the hosting widget's coordinates (y pointing down); dragging up raises
// the value.
class WDKnobCell {
public:
    WDKnobCell();

    void setupCell();

    double minValue() const { return m_minValue; }
    double maxValue() const { return m_maxValue; }

    QColor knobColor() const { return m_knobColor; }
    void setKnobColor(const QColor& color) { m_knobColor = color; }
    // Invalid until set; an unset dot is not drawn, so the knob shows as a plain disc.
    QColor dotColor() const { return m_dotColor; }
    void setDotColor(const QColor& color) { m_dotColor = color; }
    // Points of vertical drag per point of value change, before dividing by the view's height.
    double mouseFactor() const { return m_mouseFactor; }
    void setMouseFactor(double factor) { m_mouseFactor = factor; }
    double dotSize() const { return m_dotSize; }
    void setDotSize(double size) { m_dotSize = size; }

    bool startTrackingAt(const QPointF& point);
    // The value after a drag from last to current; the first step after a press never moves.
    double continueTracking(const QPointF& last, const QPointF& current, double value,
                            double viewHeight);

    // The dot's angle in radians from straight up, clockwise.
    static double angleForValue(double value);
    // Where the dot's centre lies for the value, in the view's bounds.
    static QPointF dotCentre(const QRectF& viewBounds, double value);

    void drawInteriorWithFrame(QPainter& painter, const QRectF& frame, const QRectF& viewBounds,
                               double value) const;

private:
    bool m_beginTracking = false;
    double m_minValue = 0.0;
    double m_maxValue = 1.0;
    QColor m_knobColor;
    QColor m_dotColor;
    double m_mouseFactor = 3.0;
    double m_dotSize = 5.0;
};
