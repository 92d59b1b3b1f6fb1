#include "common/LogCapture.h"

#include <QMutexLocker>

#include <cstring>

namespace {
LogCapture* active = nullptr;
}

LogCapture::LogCapture()
{
    active = this;
    m_previous = qInstallMessageHandler(&LogCapture::handler);
}

LogCapture::~LogCapture()
{
    qInstallMessageHandler(m_previous);
    active = nullptr;
}

void LogCapture::handler(QtMsgType type, const QMessageLogContext& context, const QString& message)
{
    if (active && context.category && std::strcmp(context.category, "lento") == 0) {
        QMutexLocker lock(&active->m_mutex);
        active->m_lines.append(message);
        return;
    }
    if (active && active->m_previous)
        active->m_previous(type, context, message);
}

QStringList LogCapture::lines() const
{
    QMutexLocker lock(&m_mutex);
    return m_lines;
}

bool LogCapture::contains(const QString& line) const
{
    return count(line) > 0;
}

int LogCapture::count(const QString& line) const
{
    QMutexLocker lock(&m_mutex);
    return static_cast<int>(m_lines.count(line));
}

bool LogCapture::anyStartsWith(const QString& prefix) const
{
    QMutexLocker lock(&m_mutex);
    for (const QString& l : m_lines)
        if (l.startsWith(prefix))
            return true;
    return false;
}

void LogCapture::clear()
{
    QMutexLocker lock(&m_mutex);
    m_lines.clear();
}
