#include "waveform/WaveScrollView.h"

#include "waveform/WaveView.h"
#include "waveform/WaveViewHost.h"

#include <QResizeEvent>
#include <QScrollBar>

#include <algorithm>
#include <cmath>

WaveScrollView::WaveScrollView(QWidget* parent)
    : QScrollArea(parent)
{
    setFrameShape(QFrame::NoFrame);
    setWidgetResizable(false);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setFocusPolicy(Qt::NoFocus);
    horizontalScrollBar()->setFocusPolicy(Qt::NoFocus);
    m_waveView = new WaveView;
    m_waveView->setScrollView(this);
    setWidget(m_waveView);
    horizontalScrollBar()->setStyleSheet(QStringLiteral(
        "QScrollBar:horizontal { height: 8px; background: transparent; margin: 0; }"
        "QScrollBar::handle:horizontal { background: rgba(242, 238, 234, 70); border-radius: 3px; min-width: 24px; margin: 1px; }"
        "QScrollBar::handle:horizontal:hover { background: rgba(242, 238, 234, 120); }"
        "QScrollBar::add-line, QScrollBar::sub-line { width: 0; }"
        "QScrollBar::add-page, QScrollBar::sub-page { background: none; }"));
    // Every scroll and every change of the wave's extent moves the overview's frame.
    connect(horizontalScrollBar(), &QScrollBar::valueChanged, this, &WaveScrollView::updateOverview);
    connect(horizontalScrollBar(), &QScrollBar::rangeChanged, this, &WaveScrollView::updateOverview);
}

void WaveScrollView::setContainer(WaveViewHost* container)
{
    m_container = container;
    m_waveView->setContainer(container);
}

void WaveScrollView::setBackgroundColor(const QColor& color)
{
    QPalette palette = viewport()->palette();
    palette.setColor(QPalette::Window, color);
    viewport()->setPalette(palette);
    viewport()->setAutoFillBackground(true);
    setPalette(palette);
}

double WaveScrollView::visibleWidth() const
{
    return double(viewport()->width());
}

double WaveScrollView::scrollOffset() const
{
    return double(horizontalScrollBar()->value());
}

void WaveScrollView::scrollPoint(double x)
{
    // The range follows the wave's width at once, so a point just past the old extent is reached.
    QScrollBar* bar = horizontalScrollBar();
    bar->setRange(0, std::max(0, m_waveView->width() - viewport()->width()));
    bar->setValue(int(std::lround(std::clamp(x, double(bar->minimum()), double(bar->maximum())))));
}

void WaveScrollView::updateOverview()
{
    if (!m_overview)
        return;
    const float W = float(m_waveView->width());
    if (W <= 0.0f)
        return;
    const double x = scrollOffset();
    m_overview->setOverviewZoomRange(float(x / W), float((x + visibleWidth()) / W));
    m_overview->update();
}

void WaveScrollView::resetMagnification()
{
    m_magnification = 1.0;
    m_waveView->resize(viewport()->width(), m_waveView->height());
    m_waveView->setMagnification(1.0);
}

void WaveScrollView::zoom(double magnification)
{
    if (!m_container || !m_container->audioLoaded())
        return;
    // The playhead stays where it stands on screen; one out of view leaves the middle in place.
    const double playhead = m_container->cursorPosition() * m_waveView->width();
    double x0 = playhead - scrollOffset();
    if (x0 < 0.0 || x0 > visibleWidth())
        x0 = visibleWidth() / 2.0;
    const double anchor = (x0 + scrollOffset()) / float(m_waveView->width());
    m_magnification = std::clamp(magnification, 1.0, kMaxMagnification);
    setWaveWidth(anchor, x0);
}

void WaveScrollView::magnifyWithEvent(QPointF point, double delta)
{
    if (!m_container || !m_container->audioLoaded())
        return;
    const double x0 = point.x();
    const double x1 = m_waveView->mapFrom(this, point).x();
    const double anchor = x1 / float(m_waveView->width());
    m_magnification = std::clamp((delta + 1.0) * m_magnification, 1.0, kMaxMagnification);
    setWaveWidth(anchor, x0);
}

void WaveScrollView::zoomWithWheel(double steps)
{
    zoom(m_magnification + steps);
}

void WaveScrollView::scrollWithWheel(double steps)
{
    scrollPoint(scrollOffset() - steps * visibleWidth() / 10.0);
}

void WaveScrollView::setWaveWidth(double anchor, double anchorInView)
{
    const double W = std::floor(m_magnification * visibleWidth());
    m_waveView->resize(int(W), m_waveView->height());
    m_waveView->setMagnification(m_magnification);
    scrollPoint(anchor * W - anchorInView);
    updateOverview();
}

void WaveScrollView::resizeEvent(QResizeEvent* event)
{
    QScrollArea::resizeEvent(event);
    // The wave keeps its zoom against the new visible width; its points follow once the size settles.
    const double fraction = m_waveView->width() > 0 ? scrollOffset() / m_waveView->width() : 0.0;
    m_waveView->resize(int(std::floor(m_magnification * visibleWidth())), viewport()->height());
    scrollPoint(fraction * m_waveView->width());
    updateOverview();
}
