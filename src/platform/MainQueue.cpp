#include "platform/MainQueue.h"

#include <QCoreApplication>
#include <QMetaObject>
#include <QThread>

namespace MainQueue {

void post(std::function<void()> work)
{
    auto* app = QCoreApplication::instance();
    if (!app) {
        // Without an event loop (a command-line run that never started one) there is no later.
        work();
        return;
    }
    QMetaObject::invokeMethod(app, std::move(work), Qt::QueuedConnection);
}

bool isMainThread()
{
    auto* app = QCoreApplication::instance();
    return !app || QThread::currentThread() == app->thread();
}

} // namespace MainQueue
