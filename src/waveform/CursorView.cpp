#include "waveform/CursorView.h"

#include <QPainter>

CursorView::CursorView(QWidget* parent)
    : QWidget(parent)
{
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setAttribute(Qt::WA_NoSystemBackground);
}

void CursorView::updateCursorWithProgress(double progress)
{
    if (progress == m_cursorPosition)
        return;
    m_cursorPosition = progress;
    update();
}

void CursorView::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    const double x = m_cursorPosition * width();
    painter.setPen(QPen(QColor::fromRgbF(0.949f, 0.933f, 0.918f, 0.8f), 1.0));
    // From 2 points above the strip's bottom edge to its top, as the wave's own y axis runs up.
    painter.drawLine(QPointF(x, 0.0), QPointF(x, height() - 2.0));
}
