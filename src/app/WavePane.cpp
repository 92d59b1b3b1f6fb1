#include "app/WavePane.h"

#include <QPainter>

WavePane::WavePane(QWidget* parent)
    : QWidget(parent)
{
    // The wave gives way first: at the window's narrowest the full left panel and the drawer still fit.
    setMinimumWidth(kMinimumWidth);
}

void WavePane::setBackgroundColor(const QColor& color)
{
    m_background = color;
    update();
}

void WavePane::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.fillRect(rect(), m_background);
}
