#pragma once

#include <QMutex>
#include <QStringList>
#include <QtMessageHandler>

// Records the lines of the "lento" log category while it lives; other categories pass through.
class LogCapture {
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    QStringList lines() const;
    bool contains(const QString& line) const;
    int count(const QString& line) const;
    bool anyStartsWith(const QString& prefix) const;
    void clear();

private:
    static void handler(QtMsgType type, const QMessageLogContext& context, const QString& message);

    mutable QMutex m_mutex;
    QStringList m_lines;
    QtMessageHandler m_previous = nullptr;
};
