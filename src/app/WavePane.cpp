#include "app/WavePane.h"

#include <QPainter>

WavePane::WavePane(QWidget* parent)
    : QWidget(parent)
{
    setMinimumWidth(200);
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
