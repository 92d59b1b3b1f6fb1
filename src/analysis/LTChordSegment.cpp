#include "analysis/LTChordSegment.h"

QJsonObject LTChordSegment::toJson() const
{
    return QJsonObject::fromVariantMap(toVariantMap());
}

QVariantMap LTChordSegment::toVariantMap() const
{
    return {
        {QStringLiteral("startSec"), startSec},
        {QStringLiteral("endSec"), endSec},
        {QStringLiteral("frequencyHz"), frequencyHz},
        {QStringLiteral("midi"), midi},
        {QStringLiteral("noteName"), noteName},
        {QStringLiteral("confidence"), confidence},
    };
}

QJsonArray chordSegmentsToJson(const QList<LTChordSegment>& segments)
{
    QJsonArray array;
    for (const LTChordSegment& segment : segments)
        array.append(segment.toJson());
    return array;
}
