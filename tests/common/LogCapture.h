#pragma once

#include <QMutex>
#include <QMutexLocker>
#include <QStringList>
#include <QtMessageHandler>

#include <algorithm>
#include <cstring>

// Records the lines of the "lento" log category while it lives; other categories pass through.
// Lines may come from any thread.
class LogCapture {
public:
    LogCapture() : m_previous(qInstallMessageHandler(&LogCapture::handler)) { active() = this; }
    ~LogCapture()
    {
        qInstallMessageHandler(m_previous);
        active() = nullptr;
    }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    QStringList lines() const
    {
        QMutexLocker lock(&m_mutex);
        return m_lines;
    }
    int count(const QString& line) const { return int(lines().count(line)); }
    bool contains(const QString& line) const { return count(line) > 0; }
    bool anyStartsWith(const QString& prefix) const
    {
        const QStringList all = lines();
        return std::any_of(all.begin(), all.end(), [&](const QString& l) { return l.startsWith(prefix); });
    }
    void clear()
    {
        QMutexLocker lock(&m_mutex);
        m_lines.clear();
    }

private:
    static LogCapture*& active()
    {
        static LogCapture* capture = nullptr;
        return capture;
    }
    static void handler(QtMsgType type, const QMessageLogContext& context, const QString& message)
    {
        LogCapture* capture = active();
        if (capture && context.category && std::strcmp(context.category, "lento") == 0) {
            QMutexLocker lock(&capture->m_mutex);
            capture->m_lines.append(message);
        } else if (capture && capture->m_previous) {
            capture->m_previous(type, context, message);
        }
    }

    mutable QMutex m_mutex;
    QStringList m_lines;
    QtMessageHandler m_previous = nullptr;
};
