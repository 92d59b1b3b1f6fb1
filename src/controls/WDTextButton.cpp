#include "controls/WDTextButton.h"

#include <QPainter>

namespace {
const QColor kDarkGray = QColor::fromRgbF(1.0f / 3.0f, 1.0f / 3.0f, 1.0f / 3.0f);
const QColor kGray = QColor::fromRgbF(0.5f, 0.5f, 0.5f);
} // namespace

WDTextButton::WDTextButton(QWidget* parent)
    : QAbstractButton(parent)
    , m_activeTitleColor(kDarkGray)
{
    setAttribute(Qt::WA_Hover);
}

WDTextButton::WDTextButton(const QString& title, QWidget* parent)
    : WDTextButton(parent)
{
    setText(title);
}

void WDTextButton::setActiveTitleColor(const QColor& color)
{
    m_activeTitleColor = color;
    update();
}

void WDTextButton::setTitleActive(bool active)
{
    m_titleColor = active ? m_activeTitleColor : kGray;
    update();
}

QColor WDTextButton::titleColor() const
{
    return m_titleColor.isValid() ? m_titleColor : palette().color(QPalette::ButtonText);
}

void WDTextButton::setHighlighted(bool highlighted)
{
    if (m_highlighted == highlighted)
        return;
    m_highlighted = highlighted;
    update();
}

QSize WDTextButton::sizeHint() const
{
    const QFontMetrics metrics = fontMetrics();
    return {metrics.horizontalAdvance(text()) + 8, metrics.height() + 4};
}

void WDTextButton::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setPen(m_highlighted || isDown() ? m_activeTitleColor : titleColor());
    painter.setFont(font());
    painter.drawText(rect(), Qt::AlignCenter | Qt::TextSingleLine, text());
}

void WDTextButton::enterEvent(QEnterEvent* event)
{
    setHighlighted(true);
    QAbstractButton::enterEvent(event);
}

void WDTextButton::leaveEvent(QEvent* event)
{
    setHighlighted(false);
    QAbstractButton::leaveEvent(event);
}
