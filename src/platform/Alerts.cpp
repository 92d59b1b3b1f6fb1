#include "platform/Alerts.h"

#include <QMutex>
#include <QMutexLocker>

#include <cstdio>

namespace {
QMutex presenterMutex;
Alerts::Presenter currentPresenter;

int printToStderr(const Alert& alert)
{
    std::fprintf(stderr, "%s %s\n", qPrintable(alert.messageText), qPrintable(alert.informativeText));
    return Alerts::FirstButtonReturn;
}
} // namespace

void Alerts::setPresenter(Presenter presenter)
{
    QMutexLocker lock(&presenterMutex);
    currentPresenter = std::move(presenter);
}

int Alerts::runModal(const Alert& alert)
{
    Presenter presenter;
    {
        QMutexLocker lock(&presenterMutex);
        presenter = currentPresenter;
    }
    return presenter ? presenter(alert) : printToStderr(alert);
}
