#pragma once

#include <QLocalServer>
#include <QObject>
#include <QString>
#include <QStringList>

#include <functional>

// One Lento per user: a second start hands its file to the running window over a local socket in
// the runtime folder and ends. A socket left by a crashed run answers nobody and is taken over.
class SingleInstance : public QObject {
    Q_OBJECT
public:
    // What came of offering a file to a running Lento.
    enum class Answer { NobodyRuns, Taken, Silent };

    // The socket's path: "lento.socket" in the user's runtime folder.
    static QString socketPath();
    // Offers `file` (empty: only to come to the front) to a running Lento. Silent: one runs but
    // did not answer within `timeoutMs`.
    static Answer handOver(const QString& file, int timeoutMs = 10000);

    explicit SingleInstance(QObject* parent = nullptr);
    // Before the window is built: a running Lento takes `file` as with handOver, or, when nobody
    // runs, this start holds the socket from now on, so that a start close behind it hands over
    // instead of opening a second window.
    Answer claim(const QString& file);
    // Opens what was handed over while the window was being built, then each file as it comes
    // (an empty one only raises the window).
    void setOpener(std::function<void(const QString& file)> open);

private:
    void readFrom(QLocalSocket* socket);

    QLocalServer m_server;
    std::function<void(const QString&)> m_open;
    QStringList m_waiting;
};
