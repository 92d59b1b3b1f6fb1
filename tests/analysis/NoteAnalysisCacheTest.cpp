// The chord cache file: its key, what reading keeps or refuses, and the size it is held to.
#include "analysis/NoteAnalysisCache.h"
#include "common/Testing.h"

#include <fcntl.h>
#include <sys/stat.h>

namespace {

QList<LTChordSegment> segments(const QString& name)
{
    return {{0.5, 2.25, 0.0, 21, name, 0.75}};
}

std::unique_ptr<NoteAnalysisCache> loaded(const QString& path)
{
    auto cache = std::make_unique<NoteAnalysisCache>(path);
    cache->load();
    return cache;
}

} // namespace

TEST(NoteAnalysisCacheTest, TheKeyIsPathSizeAndSecondSegmentsSurviveASaveAnUnusableFileLeavesWhatIsHeldAndASaveKeepsAtMost160)
{
    QTemporaryDir dir;
    // The key: path, size and the modification second rounded, with the version; the basic
    // estimator's chords are kept under their own.
    const QString file = dir.filePath("take 1.wav");
    ASSERT_TRUE(fixtures::writeFile(file, QByteArray(1000, 'x')));
    for (const auto& [nanoseconds, method, ending] : {std::tuple{400000000L, ChordMethod::Precise, "|1000|1700000000|v6"},
                                                      {600000000L, ChordMethod::Precise, "|1000|1700000001|v6"},
                                                      {400000000L, ChordMethod::Basic, "|1000|1700000000|v6|basic"}}) {
        const timespec times[2] = {{1700000000, nanoseconds}, {1700000000, nanoseconds}};
        ASSERT_EQ(utimensat(AT_FDCWD, QFile::encodeName(file).constData(), times, 0), 0);
        EXPECT_EQ(NoteAnalysisCache::cacheKeyForURL(QUrl::fromLocalFile(file), method), file + QString::fromLatin1(ending));
    }
    EXPECT_TRUE(NoteAnalysisCache::cacheKeyForURL(QUrl::fromLocalFile(dir.filePath("gone.wav"))).isEmpty());
    EXPECT_TRUE(NoteAnalysisCache::cacheKeyForURL(QUrl("https://example.org/a.wav")).isEmpty());

    const QString path = dir.filePath("note-analysis-cache.json");
    NoteAnalysisCache cache(path);
    cache.setSegmentsForKey("a", segments("Am"));
    cache.setSegmentsForKey("b", {});
    ASSERT_TRUE(cache.save());
    const auto again = loaded(path);
    EXPECT_EQ(again->segmentsForKey("a"), segments("Am"));
    EXPECT_EQ(again->segmentsForKey("b"), QList<LTChordSegment>{}) << "silence is an answer too";
    EXPECT_FALSE(again->segmentsForKey("c").has_value());
    EXPECT_EQ(QJsonDocument::fromJson(fixtures::readFile(path)).object().value("version").toInt(), 6);

    // A member that is no array is dropped and the rest kept.
    ASSERT_TRUE(fixtures::writeFile(path, R"({"version":6,"entries":{"good":[{"startSec":0,"endSec":1,"noteName":"G","midi":7}],"bad":3}})"));
    again->load();
    EXPECT_EQ(again->keys(), QStringList{"good"});
    EXPECT_EQ(again->segmentsForKey("good").value_or(QList<LTChordSegment>{}).value(0).noteName, "G");

    // A file that cannot be used leaves what is held, and the next save writes it whole.
    for (const auto& [what, bytes, logged] : {std::tuple{"another version", R"({"version":5,"entries":{"x":[]}})", false},
                                              {"entries not an object", R"({"version":6,"entries":"x"})", false},
                                              {"cut short", R"({"version":6,"entries":{"x":[)", true},
                                              {"not an object", R"([1,2,3])", true}}) {
        SCOPED_TRACE(what);
        ASSERT_TRUE(fixtures::writeFile(path, bytes));
        NoteAnalysisCache held(path);
        held.setSegmentsForKey("held", segments("C"));
        LogCapture log;
        held.load();
        EXPECT_EQ(held.segmentsForKey("held"), segments("C"));
        EXPECT_EQ(held.count(), 1);
        EXPECT_EQ(log.lines().join(QLatin1Char('\n')).contains(path), logged);
        ASSERT_TRUE(held.save());
        EXPECT_EQ(loaded(path)->keys(), QStringList{"held"});
    }

    NoteAnalysisCache full(path);
    for (int i = 0; i < 161; ++i) {
        full.setSegmentsForKey(QString::number(i), segments("D"));
        if (i >= 159) {
            ASSERT_TRUE(full.save());
            EXPECT_EQ(loaded(path)->count(), 160) << i + 1 << " entries";
        }
    }
}
