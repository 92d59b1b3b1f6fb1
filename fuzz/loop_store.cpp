// The saved-loops file, which a user may edit by hand or another run may have left half-written:
// reading it never fails badly, every loop read is a stretch within the track, and a save over it
// keeps the other tracks as they read and makes the file readable again.
#include "FuzzSupport.h"

#include "loops/LoopDataStore.h"

#include <QFile>

namespace {

bool allWithinTheTrack(const std::vector<LoopPair>& loops)
{
    for (const LoopPair& l : loops)
        if (!(0.0 <= l.left && l.left < l.right && l.right <= 1.0))
            return false;
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QString path = fuzz::writeScratchFile(QStringLiteral("saved-loops.json"), data, size);
    LoopDataStore store(path);
    // Short names, which the seed holds, so that mutations reach the entries themselves.
    const std::vector<LoopPair> other = store.loopsForKey(QStringLiteral("a"));
    const QJsonObject otherSettings = store.settingsForKey(QStringLiteral("a"));
    const QString key = store.keyFor(TrackIdentity{QStringLiteral("b"), QStringLiteral("AQAAAA"), 10.0});
    fuzz::require(!key.isEmpty(), "every track has a key");
    fuzz::require(allWithinTheTrack(other), "every loop read lies within the track");
    fuzz::require(allWithinTheTrack(store.loopsForKey(QStringLiteral("b"))), "every loop read lies within the track");

    const std::vector<LoopPair> ours{{0.1 + 0.2, 1.0 / 3}, {0.0, 1.0}};
    fuzz::require(store.setLoopsForKey(QStringLiteral("b"), ours), "a save over any file succeeds");
    const LoopDataStore reread(path);
    fuzz::require(reread.loopsForKey(QStringLiteral("b")) == ours, "the saved loops read back exactly");
    fuzz::require(reread.loopsForKey(QStringLiteral("a")) == other, "another track reads as it did before the save");
    fuzz::require(reread.settingsForKey(QStringLiteral("a")) == otherSettings, "and so do its settings");
    QFile::remove(path + QStringLiteral(".bak"));
    return 0;
}
