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

struct NoteAnalysisCacheTest : ::testing::Test {
    QTemporaryDir dir;
    QString path() const { return dir.filePath("note-analysis-cache.json"); }
};

} // namespace

TEST_F(NoteAnalysisCacheTest, TheKeyIsPathSizeAndTheModificationSecondRoundedWithTheVersion)
{
    const QString file = dir.filePath("take 1.wav");
    ASSERT_TRUE(fixtures::writeFile(file, QByteArray(1000, 'x')));
    struct Case { long seconds, nanoseconds; const char* ending; };
    const Case cases[] = {{1700000000, 400000000, "|1000|1700000000|v6"}, {1700000000, 600000000, "|1000|1700000001|v6"}};
    for (const Case& c : cases) {
        const timespec times[2] = {{c.seconds, c.nanoseconds}, {c.seconds, c.nanoseconds}};
        ASSERT_EQ(utimensat(AT_FDCWD, QFile::encodeName(file).constData(), times, 0), 0);
        EXPECT_EQ(NoteAnalysisCache::cacheKeyForURL(QUrl::fromLocalFile(file)), file + QString::fromLatin1(c.ending));
    }
    EXPECT_TRUE(NoteAnalysisCache::cacheKeyForURL(QUrl::fromLocalFile(dir.filePath("gone.wav"))).isEmpty());
    EXPECT_TRUE(NoteAnalysisCache::cacheKeyForURL(QUrl("https://example.org/a.wav")).isEmpty());
}

TEST_F(NoteAnalysisCacheTest, SegmentsSurviveASaveAndAFreshLoadExactly)
{
    NoteAnalysisCache cache(path());
    cache.setSegmentsForKey("a", segments("Am"));
    cache.setSegmentsForKey("b", {});
    ASSERT_TRUE(cache.save());
    NoteAnalysisCache again(path());
    again.load();
    EXPECT_EQ(again.segmentsForKey("a"), segments("Am"));
    EXPECT_EQ(again.segmentsForKey("b"), QList<LTChordSegment>{}) << "silence is an answer too";
    EXPECT_FALSE(again.segmentsForKey("c").has_value());
    EXPECT_EQ(QJsonDocument::fromJson(fixtures::readFile(path())).object().value("version").toInt(), 6);

    // A member that is no array is dropped and the rest kept.
    ASSERT_TRUE(fixtures::writeFile(path(), R"({"version":6,"entries":{"good":[{"startSec":0,"endSec":1,"noteName":"G","midi":7}],"bad":3}})"));
    NoteAnalysisCache mixed(path());
    mixed.load();
    EXPECT_EQ(mixed.keys(), QStringList{"good"});
    EXPECT_EQ(mixed.segmentsForKey("good").value_or(QList<LTChordSegment>{}).value(0).noteName, "G");
}

TEST_F(NoteAnalysisCacheTest, AFileThatCannotBeUsedLeavesWhatIsHeldAndTheNextSaveWritesItWhole)
{
    struct Case { const char* what; QByteArray bytes; bool logged; };
    const Case cases[] = {
        {"another version", R"({"version":5,"entries":{"x":[]}})", false},
        {"entries not an object", R"({"version":6,"entries":"x"})", false},
        {"cut short", R"({"version":6,"entries":{"x":[)", true},
        {"not an object", R"([1,2,3])", true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        ASSERT_TRUE(fixtures::writeFile(path(), c.bytes));
        NoteAnalysisCache cache(path());
        cache.setSegmentsForKey("held", segments("C"));
        LogCapture log;
        cache.load();
        EXPECT_EQ(cache.count(), 1);
        EXPECT_EQ(cache.segmentsForKey("held"), segments("C"));
        EXPECT_EQ(log.lines().join(QLatin1Char('\n')).contains(path()), c.logged);
        ASSERT_TRUE(cache.save());
        NoteAnalysisCache reread(path());
        reread.load();
        EXPECT_EQ(reread.keys(), QStringList{"held"});
    }
}

TEST_F(NoteAnalysisCacheTest, ASaveKeepsAtMostOneHundredAndSixtyEntries)
{
    for (int entries : {160, 161}) {
        NoteAnalysisCache cache(path());
        for (int i = 0; i < entries; ++i)
            cache.setSegmentsForKey(QString::number(i), segments("D"));
        ASSERT_TRUE(cache.save());
        NoteAnalysisCache reread(path());
        reread.load();
        EXPECT_EQ(reread.count(), 160) << entries;
    }
}
