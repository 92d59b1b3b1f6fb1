#include "loops/LoopDataStore.h"

#include "common/Testing.h"

#include "PrintLoopPair.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <limits>
#include <thread>

using Loops = std::vector<LoopPair>;
using fixtures::readFile;
using fixtures::writeFile;

TEST(LoopDataStoreTest, TwoStoresShareAFileExactlyADamagedFileIsKeptAsideAMalformedTrackIsSkippedAloneAndBadLoopsAreRefused)
{
    QTemporaryDir dir;
    const QString path = dir.filePath("saved-loops.json");
    LogCapture log;
    // In the caller's order, which need not be sorted; the shortest decimal of each must read back bit for bit.
    const Loops one{{0.5, 1.0}, {0.1 + 0.2, 1.0 / 3}, {0.0, std::numeric_limits<double>::denorm_min()},
                    {std::nextafter(0.7, 0.0), 0.7}};
    LoopDataStore first(path), second(path);
    ASSERT_TRUE(first.setLoopsForKey("one.wav", {{0.1, 0.2}}));
    ASSERT_TRUE(second.setLoopsForKey("two.wav", {{0.25, 0.75}}));
    ASSERT_TRUE(first.setLoopsForKey("one.wav", one));
    const LoopDataStore restarted(path);
    EXPECT_EQ(restarted.loopsForKey("one.wav"), one);
    EXPECT_EQ(restarted.loopsForKey("two.wav"), Loops({{0.25, 0.75}}));

    const int held = ::open(QFile::encodeName(path + ".lock").constData(), O_RDWR | O_CREAT, 0600);
    ASSERT_EQ(::flock(held, LOCK_EX), 0);
    std::thread other([held] { QThread::msleep(200), ::close(held); });
    EXPECT_TRUE(second.setLoopsForKey("one.wav", {})) << "waits for the other save";
    other.join();
    EXPECT_EQ(QJsonDocument::fromJson(readFile(path))["tracks"].toObject().keys(), QStringList{"two.wav"}) << "an empty list removes the track";
    EXPECT_EQ(QDir(dir.path()).entryList(QDir::Files), QStringList({"saved-loops.json", "saved-loops.json.lock"}))
        << "no temporary file left beside it";
    EXPECT_TRUE(log.lines().isEmpty()) << log.lines().join('\n').toStdString();

    // A damaged file is kept aside and the next save starts afresh.
    const QByteArray damaged[] = {"", "{\"version\": 1, \"tracks\": {", "[{\"version\": 1, \"tracks\": {}}]",
                                  "{\"version\": 2, \"tracks\": {}}", "{\"version\": \"1\", \"tracks\": {}}",
                                  "{\"tracks\": {}}", "{\"version\": 1, \"tracks\": []}",
                                  QByteArray(16 * 1024 * 1024, ' ') + "{\"version\": 1, \"tracks\": {}}"};
    for (const QByteArray& bytes : damaged) {
        SCOPED_TRACE(bytes.left(60).constData());
        ASSERT_TRUE(writeFile(path, bytes) && writeFile(path + ".bak", "an older copy"));
        log.clear();
        LoopDataStore store(path);
        EXPECT_EQ(store.loopsForKey("a.wav"), Loops());
        EXPECT_EQ(readFile(path + ".bak"), bytes);
        ASSERT_EQ(log.lines().size(), 1) << log.lines().join('\n').toStdString();
        EXPECT_TRUE(log.lines()[0].startsWith("Saved loops file " + path + " is damaged (")
                    && log.lines()[0].endsWith("a copy is kept as " + path + ".bak")) << log.lines()[0].toStdString();
        ASSERT_TRUE(writeFile(path + ".bak", "an older copy"));
        ASSERT_TRUE(store.setLoopsForKey("b.wav", {{0.1, 0.2}}));
        EXPECT_EQ(readFile(path + ".bak"), bytes) << "kept before it is overwritten";
        EXPECT_EQ(QJsonDocument::fromJson(readFile(path))["tracks"].toObject().keys(), QStringList{"b.wav"});
    }

    // A malformed track is skipped alone and left in the file as it was.
    QFile::remove(path + ".bak");
    for (const char* entry : {"\"0.1 0.2\"", "{\"left\": 0.1, \"right\": 0.2}", "[{\"left\": \"0.1\", \"right\": 0.2}]",
                              "[{\"left\": 0.1}]", "[0.1, 0.2]", "[{\"left\": 0.3, \"right\": 0.2}]",
                              "[{\"left\": 0.2, \"right\": 0.2}]", "[{\"left\": -0.1, \"right\": 0.2}]",
                              "[{\"left\": 0.1, \"right\": 1.5}]", "[{\"left\": 0.1, \"right\": 0.2}, null]"}) {
        SCOPED_TRACE(entry);
        ASSERT_TRUE(writeFile(path, QByteArray("{\"version\": 1, \"tracks\": {\"bad.wav\": ") + entry +
                                        ", \"good.wav\": [{\"left\": 0, \"right\": 1}, {\"left\": 0.5, \"right\": 0.6}]}}"));
        LoopDataStore store(path);
        EXPECT_EQ(store.loopsForKey("bad.wav"), Loops());
        ASSERT_TRUE(store.setLoopsForKey("new.wav", {{0.3, 0.4}}));
        EXPECT_EQ(QJsonDocument::fromJson(readFile(path))["tracks"]["bad.wav"],
                  QJsonDocument::fromJson(QByteArray("[") + entry + "]")[0]);
        EXPECT_EQ(store.loopsForKey("good.wav"), Loops({{0.0, 1.0}, {0.5, 0.6}}));
        EXPECT_FALSE(QFile::exists(path + ".bak"));
    }

    LoopDataStore store(path);
    ASSERT_TRUE(store.setLoopsForKey("a.wav", {{0.1, 0.2}}));
    for (const Loops& loops : {Loops{{0.3, 0.3}}, Loops{{0.5, 0.4}}, Loops{{-0.1, 0.2}}, Loops{{0.2, 1.1}},
                               Loops{{0.1, 0.2}, {std::nan(""), 0.5}}, Loops{{0.1, std::numeric_limits<double>::infinity()}}}) {
        EXPECT_FALSE(store.setLoopsForKey("a.wav", loops)) << loops.size();
        EXPECT_EQ(store.loopsForKey("a.wav"), Loops({{0.1, 0.2}}));
    }
    EXPECT_TRUE(log.anyStartsWith("Saved loops of a.wav are not written to " + path + ": "));

    // A folder where the file should be: read as nothing, never replaced.
    ASSERT_TRUE(QDir(dir.path()).mkdir("folder.json"));
    LoopDataStore folder(dir.filePath("folder.json"));
    EXPECT_EQ(folder.loopsForKey("a.wav"), Loops());
    EXPECT_FALSE(folder.setLoopsForKey("a.wav", {{0.1, 0.2}}));
    EXPECT_TRUE(QFileInfo(folder.path()).isDir());
    EXPECT_FALSE(LoopDataStore(path + "/under/a/file.json").setLoopsForKey("a.wav", {{0.1, 0.2}}));

    // A damaged file that cannot be kept aside is not overwritten.
    ASSERT_TRUE(writeFile(path, "{") && QDir(dir.path()).mkdir("saved-loops.json.bak"));
    EXPECT_FALSE(store.setLoopsForKey("a.wav", {{0.1, 0.2}}));
    EXPECT_EQ(readFile(path), "{");
}
