#include "platform/Log.h"

Q_LOGGING_CATEGORY(lcLento, "lento")

namespace Log {

void line(const QString& text)
{
    qCInfo(lcLento).noquote() << text;
}

} // namespace Log
