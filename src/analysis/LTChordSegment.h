#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QList>
#include <QString>
#include <QVariantMap>

// One chord over a stretch of a file. "midi" is the chord index (0-11 major on C..B, 12-23 minor),
// not a note number; "frequencyHz" is always 0.
struct LTChordSegment {
    double startSec = 0.0;
    double endSec = 0.0;
    double frequencyHz = 0.0;
    int midi = -1;
    QString noteName;
    double confidence = 0.0;

    // The record with exactly the keys "startSec", "endSec", "frequencyHz", "midi", "noteName",
    // "confidence".
    QJsonObject toJson() const;
    QVariantMap toVariantMap() const;

    bool operator==(const LTChordSegment&) const = default;
};

QJsonArray chordSegmentsToJson(const QList<LTChordSegment>& segments);
