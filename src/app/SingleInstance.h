#pragma once

#include <QLocalServer>
#include <QObject>
#include <QString>

#include <functional>

// One Lento per user: a second start hands its file to the running window over a local socket in
// the runtime folder and ends. A socket left by a crashed run answers nobody and is taken over.
class SingleInstance : public QObject {
    Q_OBJECT
public:
    // The socket's path: "lento.socket" in the user's runtime folder.
    static QString socketPath();
    // True when a running Lento took `file` (empty: only to come to the front).
    static bool handOver(const QString& file, int timeoutMs = 2000);

    explicit SingleInstance(QObject* parent = nullptr);
    // Starts answering; `open` runs on the main thread with each file handed over (or "").
    bool listen(std::function<void(const QString& file)> open);

private:
    void readFrom(QLocalSocket* socket);

    QLocalServer m_server;
    std::function<void(const QString&)> m_open;
};
