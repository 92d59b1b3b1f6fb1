#include "app/WavePane.h"

#include "waveform/WaveScrollView.h"
#include "waveform/WaveView.h"

#include <QPainter>

WavePane::WavePane(QWidget* parent)
    : QWidget(parent)
    , m_overView(new WaveView(this))
    , m_waveScrollView(new WaveScrollView(this))
{
    // The wave gives way first: at the window's narrowest the full left panel and the drawer still fit.
    setMinimumWidth(kMinimumWidth);
    m_overView->setAccessibleName(tr("Overview"));
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

void WavePane::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    const int width = this->width();
    m_overView->setGeometry(0, kMargin, width, kOverviewHeight);
    const int top = kMargin + kOverviewHeight + kMargin;
    m_waveScrollView->setGeometry(0, top, width, std::max(0, height() - top));
}
