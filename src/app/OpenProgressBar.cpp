#include "app/OpenProgressBar.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QProgressBar>
#include <QPushButton>

#include <algorithm>
#include <cmath>

OpenProgressBar::OpenProgressBar(QWidget* parent)
    : QWidget(parent)
    , m_title(new QLabel(this))
    , m_bar(new QProgressBar(this))
    , m_cancel(new QPushButton(tr("Cancel"), this))
{
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(14, 8, 10, 8);
    layout->setSpacing(12);
    layout->addWidget(m_title, 0);
    layout->addWidget(m_bar, 1);
    layout->addWidget(m_cancel, 0);
    m_title->setStyleSheet(QStringLiteral("color: #e6e6e6;"));
    m_bar->setRange(0, 1000);
    m_bar->setTextVisible(false);
    m_bar->setFixedHeight(8);
    m_cancel->setCursor(Qt::ArrowCursor);
    connect(m_cancel, &QPushButton::clicked, this, &OpenProgressBar::cancelRequested);
    hide();
}

void OpenProgressBar::showFor(const QString& fileName)
{
    m_title->setText(tr("Opening %1").arg(fileName));
    m_bar->setValue(0);
    placeInParent();
    show();
    raise();
}

void OpenProgressBar::setFraction(double fraction)
{
    m_bar->setValue(int(std::lround(std::clamp(fraction, 0.0, 1.0) * 1000.0)));
}

void OpenProgressBar::placeInParent()
{
    if (QWidget* p = parentWidget())
        setGeometry(0, 0, p->width(), sizeHint().height());
}

void OpenProgressBar::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.fillRect(rect(), QColor(20, 26, 32, 235));
}
