#pragma once

#include <QAbstractSlider>

// A QAbstractSlider whose value is an exact double in [minValue, maxValue].
//
// The double is the value of record: setDoubleValue(1.0) reads back as exactly 1.0, whatever the
// range. The inherited int value mirrors it on the fixed range 0..kSteps, so that the base class's
// keyboard and wheel handling and its valueChanged(int) keep working; a change made through the
// int side moves the double to the matching point of the range.
//
// Every change emits doubleValueChanged. A change made by the user (mouse, keys, wheel, or
// assistive technology) also emits edited, with whether Alt was held, since Alt means "back to
// neutral" to the owner.
//
// Assistive technology reads the slider by its accessible name and its value text, which the
// owner sets to what its label shows ("75 %"), never the raw integer mirror.
class DoubleValueSlider : public QAbstractSlider {
    Q_OBJECT
public:
    static constexpr int kSteps = 10000;

    explicit DoubleValueSlider(QWidget* parent = nullptr);

    double minValue() const { return m_minValue; }
    double maxValue() const { return m_maxValue; }
    void setMinValue(double minValue);
    void setMaxValue(double maxValue);
    // Keeps the value where it is unless it falls outside the new range.
    void setDoubleRange(double minValue, double maxValue);

    double doubleValue() const { return m_doubleValue; }
    void setDoubleValue(double value);

    // (value - min) / (max - min), 0 for an empty range.
    double fraction() const;

    // Whether Alt was down at the last change made by the user.
    bool altWasHeld() const { return m_altWasHeld; }

    QString valueText() const { return m_valueText; }
    // Also becomes the tooltip, after the accessible name.
    void setValueText(const QString& text);

signals:
    void doubleValueChanged(double value);
    void edited(double value, bool altHeld);

protected:
    // Applies a value that came from the user and reports it; a press reports even an unchanged
    // value, so that an Alt-click alone can reset the control.
    void applyUserValue(double value, Qt::KeyboardModifiers modifiers, bool reportUnchanged);

    void sliderChange(SliderChange change) override;
    void keyPressEvent(QKeyEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;

private:
    friend class AccessibleDoubleValueSlider;
    void storeDoubleValue(double value);
    void mirrorToInt();
    template <typename Handler>
    void asUserChange(Qt::KeyboardModifiers modifiers, bool reportUnchanged, Handler&& handler);

    double m_minValue = 0.0;
    double m_maxValue = 1.0;
    double m_doubleValue = 0.0;
    bool m_altWasHeld = false;
    bool m_mirroring = false;
    QString m_valueText;
};
