#pragma once

#include <QLoggingCategory>
#include <QString>

Q_DECLARE_LOGGING_CATEGORY(lcLento)

// The application's one log: plain lines without levels, category "lento".
// Never called from the real-time audio path.
namespace Log {
void line(const QString& text);
}
