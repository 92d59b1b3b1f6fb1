#pragma once

#include "loops/LoopDataStore.h"

#include <optional>

// One track's saved loops and settings, as a small JSON file a user can keep or take to another
// computer (File ▸ Export Practice Data…, Import Practice Data…).
struct PracticeData {
    TrackIdentity track;
    std::vector<LoopPair> loops;
    QJsonObject settings;
};

namespace PracticeDataFile {

// Written atomically. False with *error set when it could not be.
bool write(const QString& path, const PracticeData& data, QString* error);
// Nothing, with *error saying why, for a file that is not practice data or holds a bad loop.
std::optional<PracticeData> read(const QString& path, QString* error);

} // namespace PracticeDataFile
