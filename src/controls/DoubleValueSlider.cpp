#include "controls/DoubleValueSlider.h"

#include <QAccessible>
#include <QAccessibleWidget>
#include <QKeyEvent>
#include <QWheelEvent>

#include <algorithm>
#include <cmath>

// Qt's own slider interface would report the integer mirror (5000) as the value.
class AccessibleDoubleValueSlider : public QAccessibleWidget, public QAccessibleValueInterface {
public:
    explicit AccessibleDoubleValueSlider(DoubleValueSlider* slider)
        : QAccessibleWidget(slider, QAccessible::Slider)
    {
    }

    void* interface_cast(QAccessible::InterfaceType type) override
    {
        if (type == QAccessible::ValueInterface)
            return static_cast<QAccessibleValueInterface*>(this);
        return QAccessibleWidget::interface_cast(type);
    }

    QString text(QAccessible::Text t) const override
    {
        if (t == QAccessible::Value)
            return slider()->valueText().isEmpty() ? QString::number(slider()->doubleValue()) : slider()->valueText();
        return QAccessibleWidget::text(t);
    }

    QVariant currentValue() const override { return slider()->doubleValue(); }
    void setCurrentValue(const QVariant& value) override
    {
        slider()->applyUserValue(value.toDouble(), Qt::NoModifier, false);
    }
    QVariant maximumValue() const override { return slider()->maxValue(); }
    QVariant minimumValue() const override { return slider()->minValue(); }
    QVariant minimumStepSize() const override
    {
        return (slider()->maxValue() - slider()->minValue()) * slider()->singleStep() / DoubleValueSlider::kSteps;
    }

private:
    DoubleValueSlider* slider() const { return static_cast<DoubleValueSlider*>(widget()); }
};

namespace {
QAccessibleInterface* accessibleSliderFactory(const QString& className, QObject* object)
{
    if (className == QLatin1String("DoubleValueSlider") && object && object->isWidgetType())
        return new AccessibleDoubleValueSlider(static_cast<DoubleValueSlider*>(object));
    return nullptr;
}
} // namespace

DoubleValueSlider::DoubleValueSlider(QWidget* parent)
    : QAbstractSlider(parent)
{
    static const bool factoryInstalled = (QAccessible::installFactory(accessibleSliderFactory), true);
    (void)factoryInstalled;
    m_mirroring = true;
    setRange(0, kSteps);
    setSingleStep(kSteps / 100);
    setPageStep(kSteps / 10);
    m_mirroring = false;
}

void DoubleValueSlider::setMinValue(double minValue)
{
    setDoubleRange(minValue, std::max(minValue, m_maxValue));
}

void DoubleValueSlider::setMaxValue(double maxValue)
{
    setDoubleRange(std::min(maxValue, m_minValue), maxValue);
}

void DoubleValueSlider::setDoubleRange(double minValue, double maxValue)
{
    m_minValue = minValue;
    m_maxValue = std::max(minValue, maxValue);
    storeDoubleValue(m_doubleValue);
    update();
}

void DoubleValueSlider::setDoubleValue(double value)
{
    storeDoubleValue(value);
}

void DoubleValueSlider::setValueText(const QString& text)
{
    if (text == m_valueText)
        return;
    m_valueText = text;
    setToolTip(accessibleName().isEmpty() ? text : accessibleName() + QStringLiteral(": ") + text);
    QAccessibleValueChangeEvent event(this, m_doubleValue);
    QAccessible::updateAccessibility(&event);
}

double DoubleValueSlider::fraction() const
{
    const double span = m_maxValue - m_minValue;
    return span > 0.0 ? (m_doubleValue - m_minValue) / span : 0.0;
}

void DoubleValueSlider::storeDoubleValue(double value)
{
    const double clamped = std::clamp(value, m_minValue, m_maxValue);
    const bool changed = clamped != m_doubleValue;
    m_doubleValue = clamped;
    mirrorToInt();
    if (changed) {
        update();
        emit doubleValueChanged(m_doubleValue);
    }
}

void DoubleValueSlider::mirrorToInt()
{
    m_mirroring = true;
    setValue(static_cast<int>(std::lround(fraction() * kSteps)));
    m_mirroring = false;
}

void DoubleValueSlider::sliderChange(SliderChange change)
{
    QAbstractSlider::sliderChange(change);
    if (change != SliderValueChange || m_mirroring)
        return;
    const double target = m_minValue + (m_maxValue - m_minValue) * value() / double(kSteps);
    if (target != m_doubleValue) {
        m_doubleValue = target;
        emit doubleValueChanged(m_doubleValue);
    }
}

void DoubleValueSlider::applyUserValue(double value, Qt::KeyboardModifiers modifiers,
                                       bool reportUnchanged)
{
    asUserChange(modifiers, reportUnchanged, [&] { storeDoubleValue(value); });
}

template <typename Handler>
void DoubleValueSlider::asUserChange(Qt::KeyboardModifiers modifiers, bool reportUnchanged,
                                     Handler&& handler)
{
    // Set first, so that a slot of doubleValueChanged already sees it.
    m_altWasHeld = modifiers.testFlag(Qt::AltModifier);
    const double before = m_doubleValue;
    handler();
    if (reportUnchanged || m_doubleValue != before)
        emit edited(m_doubleValue, m_altWasHeld);
}

void DoubleValueSlider::keyPressEvent(QKeyEvent* event)
{
    asUserChange(event->modifiers(), false, [&] { QAbstractSlider::keyPressEvent(event); });
}

void DoubleValueSlider::wheelEvent(QWheelEvent* event)
{
    asUserChange(event->modifiers(), false, [&] { QAbstractSlider::wheelEvent(event); });
}
