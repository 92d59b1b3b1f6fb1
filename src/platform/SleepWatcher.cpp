#include "platform/SleepWatcher.h"

#include <QDBusConnection>

SleepWatcher::SleepWatcher(QObject* parent)
    : QObject(parent)
{
    QDBusConnection bus = QDBusConnection::systemBus();
    if (!bus.isConnected())
        return;
    m_connected = bus.connect(QStringLiteral("org.freedesktop.login1"), QStringLiteral("/org/freedesktop/login1"),
                              QStringLiteral("org.freedesktop.login1.Manager"), QStringLiteral("PrepareForSleep"),
                              this, SLOT(prepareForSleep(bool)));
}

void SleepWatcher::prepareForSleep(bool starting)
{
    if (starting)
        emit willSleep();
    else
        emit didWake();
}
