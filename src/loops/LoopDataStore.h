#pragma once

#include "loops/LoopMarker.h"

#include <QString>

#include <vector>

// The saved loops of every track, in one JSON file, keyed by the track's file name without its
// folder. Each call reads the file afresh, so several stores (windows, runs) on one file see and
// keep each other's tracks.
class LoopDataStore {
public:
    // The store's file: "saved-loops.json" in the application's data folder (created if needed).
    static QString defaultPath();

    explicit LoopDataStore(QString path = defaultPath());

    QString path() const;

    // The saved loops of the track whose file name (no folder) is `key`, in the file's order;
    // empty when none, or when the file or the track's entry is damaged (a log line says why).
    std::vector<LoopPair> loopsForKey(const QString& key) const;

    // Replaces that track's loops (an empty list removes the key) and writes the file atomically.
    // False when the write failed (a log line says why).
    bool setLoopsForKey(const QString& key, const std::vector<LoopPair>& loops);

private:
    QString m_path;
};
