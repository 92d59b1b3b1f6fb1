#include "loops/LoopDataStore.h"

#include "common/Testing.h"

#include "PrintLoopPair.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <chrono>
#include <limits>
#include <thread>

namespace {

using Loops = std::vector<LoopPair>;

using fixtures::readFile;
using fixtures::writeFile;

QJsonObject tracksIn(const QString& path)
{
    return QJsonDocument::fromJson(readFile(path)).object().value("tracks").toObject();
}

class LoopDataStoreTest : public ::testing::Test {
protected:
    QTemporaryDir dir;
    const QString path = dir.filePath("saved-loops.json");
    LogCapture log;
};

} // namespace

TEST_F(LoopDataStoreTest, TwoStoresOnOneFileKeepEachOthersTracksWithExactFractions)
{
    // In the caller's order, which need not be sorted; the shortest decimal of each must read back bit for bit.
    const Loops one{{0.5, 1.0}, {0.1 + 0.2, 1.0 / 3}, {0.0, std::numeric_limits<double>::denorm_min()},
                    {std::nextafter(0.7, 0.0), 0.7}};
    const Loops two{{0.25, 0.75}};
    LoopDataStore first(path), second(path);
    ASSERT_TRUE(first.setLoopsForKey("one.wav", {{0.1, 0.2}}));
    ASSERT_TRUE(second.setLoopsForKey("two.wav", two));
    ASSERT_TRUE(first.setLoopsForKey("one.wav", one));

    const LoopDataStore restarted(path);
    EXPECT_EQ(restarted.loopsForKey("one.wav"), one);
    EXPECT_EQ(restarted.loopsForKey("two.wav"), two);
    EXPECT_EQ(restarted.loopsForKey("three.wav"), Loops());

    ASSERT_TRUE(second.setLoopsForKey("one.wav", {}));
    EXPECT_EQ(tracksIn(path).keys(), QStringList{"two.wav"}) << "an empty list removes the track";
    EXPECT_EQ(QDir(dir.path()).entryList(QDir::Files), QStringList({"saved-loops.json", "saved-loops.json.lock"}))
        << "no temporary file left beside it";
    EXPECT_TRUE(log.lines().isEmpty()) << log.lines().join('\n').toStdString();
}

TEST_F(LoopDataStoreTest, ADamagedFileIsKeptAsideAndTheNextSaveStartsAfresh)
{
    const QByteArray damaged[] = {"", "{\"version\": 1, \"tracks\": {", "[{\"version\": 1, \"tracks\": {}}]",
                                  "{\"version\": 2, \"tracks\": {}}", "{\"version\": \"1\", \"tracks\": {}}",
                                  "{\"tracks\": {}}", "{\"version\": 1, \"tracks\": []}",
                                  QByteArray(16 * 1024 * 1024, ' ') + "{\"version\": 1, \"tracks\": {}}"};
    for (const QByteArray& bytes : damaged) {
        SCOPED_TRACE(bytes.left(60).constData());
        ASSERT_TRUE(writeFile(path, bytes) && writeFile(path + ".bak", "an older copy"));
        LoopDataStore store(path);
        EXPECT_EQ(store.loopsForKey("a.wav"), Loops());
        EXPECT_EQ(readFile(path + ".bak"), bytes);

        ASSERT_TRUE(writeFile(path + ".bak", "an older copy"));
        ASSERT_TRUE(store.setLoopsForKey("b.wav", {{0.1, 0.2}}));
        EXPECT_EQ(readFile(path + ".bak"), bytes) << "kept before it is overwritten";
        EXPECT_EQ(LoopDataStore(path).loopsForKey("b.wav"), Loops({{0.1, 0.2}})) << "and nothing else in the new file";
        EXPECT_EQ(LoopDataStore(path).loopsForKey("a.wav"), Loops());
    }
}

TEST_F(LoopDataStoreTest, AMalformedTrackIsSkippedAloneAndLeftAsItWas)
{
    const char* const malformed[] = {"\"0.1 0.2\"", "{\"left\": 0.1, \"right\": 0.2}", "[{\"left\": \"0.1\", \"right\": 0.2}]",
                                     "[{\"left\": 0.1}]", "[0.1, 0.2]", "[{\"left\": 0.3, \"right\": 0.2}]",
                                     "[{\"left\": 0.2, \"right\": 0.2}]", "[{\"left\": -0.1, \"right\": 0.2}]",
                                     "[{\"left\": 0.1, \"right\": 1.5}]", "[{\"left\": 0.1, \"right\": 0.2}, null]"};
    for (const char* entry : malformed) {
        SCOPED_TRACE(entry);
        const QByteArray file = QByteArray("{\"version\": 1, \"tracks\": {\"bad.wav\": ") + entry
                                + ", \"good.wav\": [{\"left\": 0, \"right\": 1}, {\"left\": 0.5, \"right\": 0.6}]}}";
        ASSERT_TRUE(writeFile(path, file));
        LoopDataStore store(path);
        EXPECT_EQ(store.loopsForKey("bad.wav"), Loops());
        EXPECT_EQ(store.loopsForKey("good.wav"), Loops({{0.0, 1.0}, {0.5, 0.6}}));

        ASSERT_TRUE(store.setLoopsForKey("new.wav", {{0.3, 0.4}}));
        const QJsonObject tracks = tracksIn(path);
        EXPECT_EQ(tracks.value("bad.wav"), QJsonDocument::fromJson(QByteArray("[") + entry + "]").array().at(0));
        EXPECT_EQ(store.loopsForKey("good.wav"), Loops({{0.0, 1.0}, {0.5, 0.6}}));
        EXPECT_FALSE(QFile::exists(path + ".bak"));
    }
}

TEST_F(LoopDataStoreTest, WhatCannotBeWrittenOrReadIsRefusedWithAReason)
{
    LoopDataStore store(path);
    ASSERT_TRUE(store.setLoopsForKey("a.wav", {{0.1, 0.2}}));
    const Loops notLoops[] = {{{0.3, 0.3}}, {{0.5, 0.4}}, {{-0.1, 0.2}}, {{0.2, 1.1}},
                              {{0.1, 0.2}, {std::nan(""), 0.5}}, {{0.1, std::numeric_limits<double>::infinity()}}};
    for (const Loops& loops : notLoops) {
        log.clear();
        EXPECT_FALSE(store.setLoopsForKey("a.wav", loops));
        EXPECT_TRUE(log.anyStartsWith("Saved loops of a.wav are not written to " + path + ": ")) << loops.size();
        EXPECT_EQ(store.loopsForKey("a.wav"), Loops({{0.1, 0.2}}));
    }

    // A folder where the file should be: read as nothing, never replaced.
    ASSERT_TRUE(QDir(dir.path()).mkdir("folder.json"));
    LoopDataStore folder(dir.filePath("folder.json"));
    EXPECT_EQ(folder.loopsForKey("a.wav"), Loops());
    EXPECT_FALSE(folder.setLoopsForKey("a.wav", {{0.1, 0.2}}));
    EXPECT_TRUE(QFileInfo(folder.path()).isDir());
    EXPECT_FALSE(LoopDataStore(path + "/under/a/file.json").setLoopsForKey("a.wav", {{0.1, 0.2}}));

    // A damaged file that cannot be kept aside is not overwritten.
    ASSERT_TRUE(writeFile(path, "{") && QDir(dir.path()).mkdir("saved-loops.json.bak"));
    log.clear();
    EXPECT_FALSE(store.setLoopsForKey("a.wav", {{0.1, 0.2}}));
    EXPECT_TRUE(log.contains("Saved loops of a.wav are not written to " + path + ": the damaged file would be lost"));
    EXPECT_EQ(readFile(path), "{");
}

TEST_F(LoopDataStoreTest, ASaveWaitsForAnotherThatHoldsTheFile)
{
    const int held = ::open(QFile::encodeName(path + ".lock").constData(), O_RDWR | O_CREAT, 0600);
    ASSERT_EQ(::flock(held, LOCK_EX), 0);
    std::thread other([held] {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        ::close(held);
    });
    EXPECT_TRUE(LoopDataStore(path).setLoopsForKey("a.wav", {{0.1, 0.2}})) << log.lines().join('\n').toStdString();
    other.join();
    EXPECT_EQ(LoopDataStore(path).loopsForKey("a.wav"), Loops({{0.1, 0.2}}));
}
