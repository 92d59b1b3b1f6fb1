#pragma once

#include "loops/LoopMarker.h"

#include <QJsonObject>
#include <QString>

#include <functional>
#include <vector>

// Who a track is: its file name, and its sound and length, which a rename or a move keeps.
struct TrackIdentity {
    QString name;        // the file name without its folder
    QString fingerprint; // see AcousticFingerprint; empty when the sound gave none
    double seconds = 0.0;
};

// The saved loops of every track, in one JSON file, keyed by the track's file name without its
// folder, and beside them what the window keeps per track (its settings) with the sound that
// owns the key. Each call reads the file afresh, so several stores (windows, runs) on one file
// see and keep each other's tracks.
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

    // The key that holds `track`'s data: the key of the same sound and length, wherever its file
    // was then; else its file name, unless another sound owns that name, when the name with a
    // mark of the sound is used instead.
    QString keyFor(const TrackIdentity& track) const;
    // What the window kept for the track under `key`; empty when nothing.
    QJsonObject settingsForKey(const QString& key) const;
    // Makes `track` the owner of `key` and keeps `settings` for it. False when the write failed.
    bool setTrackForKey(const QString& key, const TrackIdentity& track, const QJsonObject& settings);

private:
    // Reads, edits and writes the file atomically under the save lock. `what` names the change in
    // a log line when it fails.
    bool change(const QString& what, const std::function<void(QJsonObject& tracks, QJsonObject& practice)>& edit);

    QString m_path;
};
