#pragma once

#include <QObject>

// Tells when the machine is about to sleep and when it has woken, from logind's PrepareForSleep
// signal on the system bus. Without a system bus (a container, CI) it simply never fires.
class SleepWatcher : public QObject {
    Q_OBJECT
public:
    explicit SleepWatcher(QObject* parent = nullptr);
    bool isConnected() const { return m_connected; }

signals:
    void willSleep();
    void didWake();

private slots:
    void prepareForSleep(bool starting);

private:
    bool m_connected = false;
};
