#include "app/MainView.h"

#include <QKeyEvent>
#include <QPainter>

MainView::MainView(QWidget* parent)
    : QWidget(parent)
{
}

void MainView::setBackgroundColor(const QColor& color)
{
    m_background = color;
    update();
}

void MainView::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.fillRect(rect(), m_background);
}

void MainView::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    if (m_layout)
        m_layout();
}

void MainView::keyPressEvent(QKeyEvent* event)
{
    if (m_keys && m_keys(event))
        event->accept();
    else
        QWidget::keyPressEvent(event);
}
