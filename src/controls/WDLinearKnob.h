#pragma once

#include "controls/DoubleValueSlider.h"
#include "controls/WDKnobCell.h"

// The rotary knob widget: value 0 to 1, changed by dragging vertically, drawn by its cell.
class WDLinearKnob : public DoubleValueSlider {
    Q_OBJECT
public:
    explicit WDLinearKnob(QWidget* parent = nullptr);

    const WDKnobCell& linearCell() const { return m_linearCell; }

    void setKnobColor(const QColor& color);
    void setDotColor(const QColor& color);
    void setMouseFactor(double factor);
    void setDotSize(double size);

    QSize sizeHint() const override { return {32, 32}; }

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    WDKnobCell m_linearCell;
    QPointF m_lastPoint;
};
