#pragma once

#include "analysis/ChordMethod.h"
#include "analysis/LTChordSegment.h"

#include <QHash>
#include <QJsonArray>
#include <QList>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <optional>

// Chord segments by file, kept in "note-analysis-cache.json" so a track opened again shows its
// chords at once. A file's key holds its path, size and modification second: any change to the
// file makes a new key, and the old entry simply goes unused.
class NoteAnalysisCache {
public:
    static constexpr int kVersion = 6;
    static constexpr int kMaximumEntries = 160;
    static constexpr const char* kFileName = "note-analysis-cache.json";

    // The file beside the playlists file, in the application's data folder.
    static QString defaultPath();
    explicit NoteAnalysisCache(QString path = defaultPath());
    QString path() const { return m_path; }

    // "path|size|seconds|v6" for the default estimator, with "|basic" after it for the other, so
    // each method's chords are kept apart; empty for an address that is no local file or a file
    // that is gone.
    static QString cacheKeyForURL(const QUrl& url, ChordMethod method = kDefaultChordMethod);

    // Reads the file in place of what is held. A file that cannot be used leaves what is held, and
    // a damaged one says so in the log; the next save writes it whole again.
    void load();
    // At most kMaximumEntries stay; written so that a reader finds the old file or the new one.
    bool save();

    std::optional<QList<LTChordSegment>> segmentsForKey(const QString& key) const;
    void setSegmentsForKey(const QString& key, const QList<LTChordSegment>& segments);
    int count() const { return int(m_entries.size()); }
    QStringList keys() const { return m_entries.keys(); }

private:
    QString m_path;
    QHash<QString, QJsonArray> m_entries;
};
