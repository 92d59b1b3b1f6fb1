#include "app/ExportProgressWindowController.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

#include <algorithm>
#include <cmath>

ExportProgressWindowController::ExportProgressWindowController(QWidget* parent)
    : QDialog(parent, Qt::Sheet)
    , m_label(new QLabel(tr("Exporting…"), this))
    , m_progressBar(new QProgressBar(this))
{
    setWindowTitle(tr("Export"));
    setWindowModality(Qt::WindowModal);
    setAutoFillBackground(true);
    m_progressBar->setRange(0, kSteps);
    m_progressBar->setTextVisible(false);
    auto* cancel = new QPushButton(tr("Cancel"), this);
    cancel->setObjectName(QStringLiteral("cancelButton"));
    connect(cancel, &QPushButton::clicked, this, &ExportProgressWindowController::didTapCancelButton);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(cancel);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_label);
    layout->addWidget(m_progressBar);
    layout->addLayout(buttons);
    setMinimumWidth(360);
    windowDidLoad();
}

void ExportProgressWindowController::windowDidLoad()
{
    setProgressBar(0.0);
}

double ExportProgressWindowController::progressBar() const
{
    return double(m_progressBar->value()) / kSteps;
}

void ExportProgressWindowController::setProgressBar(double fraction)
{
    m_progressBar->setValue(int(std::lround(std::clamp(fraction, 0.0, 1.0) * kSteps)));
    m_progressBar->repaint();
}

void ExportProgressWindowController::setBackgroundColor(const QColor& color)
{
    QPalette palette = this->palette();
    palette.setColor(QPalette::Window, color);
    setPalette(palette);
}

void ExportProgressWindowController::didTapCancelButton()
{
    endSheet(0);
}

void ExportProgressWindowController::endSheet(int returnCode)
{
    if (m_ended)
        return;
    m_ended = true;
    emit sheetEnded(returnCode);
    close();
}
