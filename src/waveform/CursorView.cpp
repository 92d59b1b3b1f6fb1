#include "waveform/CursorView.h"

#include <QPainter>

#include <algorithm>
#include <cmath>

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
    // The old line and the new one, not the strip's wave under the whole view.
    const double a = std::min(m_cursorPosition, progress) * width();
    const double b = std::max(m_cursorPosition, progress) * width();
    m_cursorPosition = progress;
    update(QRect(int(std::floor(a)) - 2, 0, int(std::ceil(b - std::floor(a))) + 5, height()));
}

void CursorView::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    const double x = m_cursorPosition * width();
    painter.setPen(QPen(QColor::fromRgbF(0.949f, 0.933f, 0.918f, 0.8f), 1.0));
    // From 2 points above the strip's bottom edge to its top, as the wave's own y axis runs up.
    painter.drawLine(QPointF(x, 0.0), QPointF(x, height() - 2.0));
}
