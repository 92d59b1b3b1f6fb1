// The chord cache file, which another version or a crash may have left in any state: reading it
// never fails badly, a save over it always succeeds, and what is saved reads back the same.
#include "FuzzSupport.h"

#include "analysis/NoteAnalysisCache.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QString path = fuzz::writeScratchFile(QStringLiteral("note-analysis-cache.json"), data, size);
    NoteAnalysisCache cache(path);
    cache.load();
    fuzz::require(cache.count() <= 1'000'000, "a count that fits the file");
    for (const QString& key : cache.keys())
        (void)cache.segmentsForKey(key);

    LTChordSegment segment;
    segment.startSec = 0.1 + 0.2;
    segment.endSec = 1.0 / 3;
    segment.midi = 21;
    segment.noteName = QStringLiteral("Am");
    cache.setSegmentsForKey(QStringLiteral("k"), {segment});
    fuzz::require(cache.save(), "a save over any file succeeds");
    NoteAnalysisCache reread(path);
    reread.load();
    fuzz::require(reread.count() <= NoteAnalysisCache::kMaximumEntries, "at most the kept number of entries");
    const auto back = reread.segmentsForKey(QStringLiteral("k"));
    fuzz::require(!back || *back == QList<LTChordSegment>{segment}, "what is saved reads back exactly");
    return 0;
}
