#pragma once

#include "controls/DoubleValueSlider.h"

#include <QColor>

class QPainter;

// The flat pill slider of the main window: a rounded track, a filled bar (thick sliders) or a
// dot (thin ones) up to the value, and a small drawn icon as the knob.
//
// The pill runs along the top edge of the widget, `thickness` high; the knob is a 25 x 25 square
// centred vertically. Give a thin slider a height equal to its thickness.
class WDSlider : public DoubleValueSlider {
    Q_OBJECT
public:
    enum Icon { Gauge = 0, Magnifier = 1 };
    static constexpr double kKnobSize = 25.0;
    // At this thickness and below the value shows as a dot rather than a bar.
    static constexpr double kDotThickness = 18.0;

    explicit WDSlider(QWidget* parent = nullptr);

    static QSizeF knobSize() { return {kKnobSize, kKnobSize}; }

    int icon() const { return m_icon; }
    void setIcon(int icon);
    QColor backColor() const { return m_backColor; }
    void setBackColor(const QColor& color);
    QColor barColor() const { return m_barColor; }
    void setBarColor(const QColor& color);
    QColor iconColor() const { return m_iconColor; }
    void setIconColor(const QColor& color);
    double thickness() const { return m_thickness; }
    void setThickness(double thickness);

    // Kept for the owner's bookkeeping; tick marks are never drawn.
    int numberOfTickMarks() const { return m_numberOfTickMarks; }
    void setNumberOfTickMarks(int count) { m_numberOfTickMarks = count; }

    // The knob's square in widget coordinates, rounded to whole pixels.
    QRectF knobRectFlipped() const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    void drawInteriorWithFrame(QPainter& painter, const QRectF& frame);
    void drawKnob(QPainter& painter, const QRectF& knobRect);
    void drawMagnifier(QPainter& painter, double mx, double my);
    void drawGauge(QPainter& painter, const QRectF& knobRect, double mx, double my);
    // The value whose knob would be centred under x.
    double valueAtX(double x) const;

    double m_barOriginY = 0.0;
    int m_icon = Gauge;
    QColor m_backColor;
    QColor m_barColor;
    QColor m_iconColor;
    double m_thickness = 24.0;
    int m_numberOfTickMarks = 3;
};
