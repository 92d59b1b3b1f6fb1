#pragma once

#include <QJsonObject>
#include <QJsonValue>
#include <QString>

#include <limits>

// Typed reads of one member of a hand-editable JSON object: an absent key gives the fallback; a key
// of the wrong type gives the fallback too and records the first such key in *wrongType.
namespace jsonfields {

inline void noteWrongType(QString* wrongType, const QString& key, const char* expected)
{
    if (wrongType && wrongType->isEmpty())
        *wrongType = QStringLiteral("\"%1\" is not %2").arg(key, QLatin1String(expected));
}

// No name, tag, path or identity runs longer; the longest path, all in escapes, is 12 288. A longer
// string is damage, and one of megabytes shown in a table or a pop-up stalls every repaint.
inline constexpr qsizetype kMaxStringLength = 65536;

inline QString string(const QJsonObject& o, const QString& key, const QString& fallback, QString* wrongType)
{
    const QJsonValue v = o.value(key);
    if (v.isUndefined())
        return fallback;
    if (!v.isString() || v.toString().size() > kMaxStringLength) {
        noteWrongType(wrongType, key, "a string of at most 65536 characters");
        return fallback;
    }
    return v.toString();
}

inline double number(const QJsonObject& o, const QString& key, double fallback, QString* wrongType)
{
    const QJsonValue v = o.value(key);
    if (v.isUndefined())
        return fallback;
    if (!v.isDouble()) {
        noteWrongType(wrongType, key, "a number");
        return fallback;
    }
    return v.toDouble();
}

// Whole numbers only; 1.5 or 1e300 is the wrong type.
inline qint64 integer(const QJsonObject& o, const QString& key, qint64 fallback, QString* wrongType)
{
    const QJsonValue v = o.value(key);
    if (v.isUndefined())
        return fallback;
    constexpr qint64 notWhole = std::numeric_limits<qint64>::min();
    const qint64 value = v.isDouble() ? v.toInteger(notWhole) : notWhole;
    if (value == notWhole) {
        noteWrongType(wrongType, key, "an integer");
        return fallback;
    }
    return value;
}

inline bool boolean(const QJsonObject& o, const QString& key, bool fallback, QString* wrongType)
{
    const QJsonValue v = o.value(key);
    if (v.isUndefined())
        return fallback;
    if (!v.isBool()) {
        noteWrongType(wrongType, key, "true or false");
        return fallback;
    }
    return v.toBool();
}

} // namespace jsonfields
