#include "library/LTPlaylistStore.h"

#include "common/Testing.h"

namespace {

using fixtures::readFile;

QJsonObject rootOf(const QString& path)
{
    return QJsonDocument::fromJson(readFile(path)).object();
}

QStringList names(LTPlaylistStore& store)
{
    QStringList out;
    for (const LTPlaylistPtr& p : store.allPlaylists())
        out << p->name();
    return out;
}

// A store in a fresh folder holding playlists named "P0".."Pn-1".
struct StoreWith {
    QTemporaryDir dir;
    LTPlaylistStore store{dir.path()};
    explicit StoreWith(int count)
    {
        store.allPlaylists().first()->setName(QStringLiteral("P0"));
        for (int i = 1; i < count; ++i) {
            auto p = std::make_shared<LTPlaylist>();
            p->setName(QStringLiteral("P%1").arg(i));
            store.addPlaylist(p);
        }
    }
};

} // namespace

TEST(LTPlaylistStoreTest, FirstStartWritesOnePlaylistSelected)
{
    QTemporaryDir dir;
    LTPlaylistStore store(dir.filePath(QStringLiteral("not/yet/there")));
    store.loadPlaylists();
    const QJsonObject root = rootOf(store.playlistStorePath());
    EXPECT_EQ(root.value("version").toInt(), 1);
    EXPECT_EQ(root.value("selectedPlaylistIndex").toInt(-1), 0);
    const QJsonArray playlists = root.value("playlists").toArray();
    ASSERT_EQ(playlists.size(), 1);
    EXPECT_EQ(playlists[0].toObject().value("name").toString(), "Playlist");
    EXPECT_TRUE(playlists[0].toObject().value("items").toArray().isEmpty());
    EXPECT_FALSE(QFile::exists(store.backupPath()));
    EXPECT_TRUE(readFile(store.playlistStorePath()).contains("\n    ")) << "pretty-printed";
}

TEST(LTPlaylistStoreTest, AFileThatCanNotBeReadIsLoggedAndLeftAlone)
{
    QTemporaryDir dir;
    LTPlaylistStore store(dir.path());
    ASSERT_TRUE(QDir(dir.path()).mkdir("playlists.json"));
    LogCapture log;
    store.loadPlaylists();
    EXPECT_TRUE(log.anyStartsWith("Playlist file unreadable: ")) << log.lines().join('\n').toStdString();
    EXPECT_EQ(names(store), QStringList{"Playlist"});
    EXPECT_TRUE(QFileInfo(store.playlistStorePath()).isDir());
    EXPECT_FALSE(store.savePlaylists()) << "a failed write is reported to the caller";
}

TEST(LTPlaylistStoreTest, EveryFieldSurvivesASaveAndALoad)
{
    QTemporaryDir dir;
    LTPlaylistStore store(dir.path());
    store.loadPlaylists();
    const LTPlaylistPtr playlist = store.selectedPlaylist();
    playlist->setName(QStringLiteral("Étude ♩"));
    playlist->setCreatedAt(QDateTime::fromMSecsSinceEpoch(1700000000123, Qt::UTC));
    auto full = std::make_shared<LTPlaylistItem>();
    full->setDisplayName(QStringLiteral("Träumerei"));
    full->setArtist(QStringLiteral("Schumann"));
    full->setAlbum(QStringLiteral("Kinderszenen"));
    full->setDuration(183.25);
    full->setSourceType(1);
    full->setFileURLString(QStringLiteral("file:///music/tr%C3%A4umerei.mp3"));
    full->setBookmarkData(QByteArray("\0\1\xff bookmark \x80\n", 16));
    full->setMusicPersistentID(QStringLiteral("9223372036854775807"));
    full->setUnavailable(true);
    full->setUnavailableReason(QStringLiteral("Missing local file"));
    auto bare = LTPlaylistStore::playlistItemFromFileURL(QUrl(QStringLiteral("file:///nowhere/take%202.wav")));
    playlist->items() = {full, bare};
    ASSERT_TRUE(store.savePlaylists());

    const QJsonArray items = rootOf(store.playlistStorePath())["playlists"][0]["items"].toArray();
    EXPECT_TRUE(items[0].toObject().contains("bookmarkData"));
    EXPECT_FALSE(items[1].toObject().contains("bookmarkData")) << "no key without a bookmark";

    LTPlaylistStore again(dir.path());
    again.loadPlaylists();
    const LTPlaylistPtr read = again.selectedPlaylist();
    EXPECT_EQ(read->uuid(), playlist->uuid());
    EXPECT_EQ(read->name(), playlist->name());
    EXPECT_EQ(read->createdAt(), playlist->createdAt());
    EXPECT_EQ(read->updatedAt(), playlist->updatedAt());
    ASSERT_EQ(read->items().size(), 2);
    for (int i = 0; i < 2; ++i) {
        const LTPlaylistItem& a = *playlist->items()[i];
        const LTPlaylistItem& b = *read->items()[i];
        EXPECT_EQ(a.toDictionary(), b.toDictionary()) << "item " << i;
        EXPECT_EQ(a.bookmarkData(), b.bookmarkData()) << "item " << i;
    }
    EXPECT_EQ(read->items()[1]->displayName(), "take 2.wav");
    EXPECT_TRUE(read->items()[1]->bookmarkData().isNull());
}

TEST(LTPlaylistStoreTest, MissingKeysTakeTheirDefaultsAndBadBookmarksAreDropped)
{
    QTemporaryDir dir;
    LTPlaylistStore store(dir.path());
    ASSERT_TRUE(fixtures::writeFile(store.playlistStorePath(),
             R"({"playlists":[7, {"items":[{}, "x", {"bookmarkData":"!!not base64"}, {"bookmarkData":5}]}, {"items":3}]})"));
    LogCapture log;
    store.loadPlaylists();
    EXPECT_TRUE(log.lines().isEmpty());
    ASSERT_EQ(names(store), QStringList({"Playlist", "Playlist"}));
    const LTPlaylistPtr first = store.allPlaylists()[0];
    EXPECT_EQ(first->createdAt().toMSecsSinceEpoch(), 0);
    ASSERT_EQ(first->items().size(), 3);
    for (const LTPlaylistItemPtr& item : first->items()) {
        EXPECT_FALSE(item->uuid().isEmpty());
        EXPECT_TRUE(item->bookmarkData().isNull());
        EXPECT_EQ(item->fileURLString(), "");
        EXPECT_EQ(item->sourceType(), 0);
        EXPECT_FALSE(item->isUnavailable()) << "a song is playable unless the file says otherwise";
    }
    LTPlaylistStore again(dir.path());
    again.loadPlaylists();
    EXPECT_NE(again.allPlaylists()[0]->items()[0]->uuid(), first->items()[0]->uuid()) << "a new uuid at each load";
}

struct DamagedFile {
    const char* name;
    QByteArray bytes;
};

void PrintTo(const DamagedFile& f, std::ostream* out)
{
    *out << f.name;
}

class DamagedPlaylistFileTest : public ::testing::TestWithParam<DamagedFile> {};

TEST_P(DamagedPlaylistFileTest, IsKeptInTheBackupAndTheStoreStartsAfresh)
{
    QTemporaryDir dir;
    LTPlaylistStore store(dir.path());
    ASSERT_TRUE(fixtures::writeFile(store.playlistStorePath(), GetParam().bytes));
    LogCapture log;
    store.loadPlaylists();
    ASSERT_EQ(log.lines().size(), 1) << log.lines().join('\n').toStdString();
    EXPECT_TRUE(log.lines()[0].startsWith("Playlist file corrupted: ")) << log.lines()[0].toStdString();
    EXPECT_EQ(readFile(store.backupPath()), GetParam().bytes);
    EXPECT_EQ(names(store), QStringList{"Playlist"});
    EXPECT_EQ(store.currentPlaylistIndex(), 0);
    EXPECT_EQ(rootOf(store.playlistStorePath())["playlists"].toArray().size(), 1) << "a good file written";
}

INSTANTIATE_TEST_SUITE_P(
    Files, DamagedPlaylistFileTest,
    ::testing::Values(
        DamagedFile{"cut", R"({"version":1,"selectedPlaylistIndex":0,"playlists":[{"name":"Scales","ite)"},
        DamagedFile{"noise", QByteArray("\x93\x0e\xfa\x01 RIFF\0\0 \xff\xfe", 15)},
        DamagedFile{"empty", ""},
        DamagedFile{"rootArray", R"([{"name":"Scales"}])"},
        DamagedFile{"rootString", R"("playlists")"},
        DamagedFile{"nameNumber", R"({"playlists":[{"name":7}]})"},
        DamagedFile{"durationString", R"({"playlists":[{"items":[{"duration":"3:10"}]}]})"},
        DamagedFile{"sourceTypeFraction", R"({"playlists":[{"items":[{"sourceType":0.5}]}]})"},
        DamagedFile{"unavailableString", R"({"playlists":[{"items":[{"unavailable":"yes"}]}]})"},
        DamagedFile{"indexString", R"({"selectedPlaylistIndex":"1","playlists":[]})"},
        DamagedFile{"indexHuge", R"({"selectedPlaylistIndex":1e300,"playlists":[]})"},
        DamagedFile{"dateHuge", R"({"playlists":[{"createdAt":1e300}]})"},
        DamagedFile{"invalidUtf8", QByteArray("{\"playlists\":[{\"name\":\"\xc3\x28\xff\"}]}")},
        DamagedFile{"deeplyNested", QByteArray(100000, '[') + QByteArray(100000, ']')}),
    [](const ::testing::TestParamInfo<DamagedFile>& info) { return std::string(info.param.name); });

TEST(LTPlaylistStoreTest, StoredSelectionIndexIsCorrectedOnlyAboveTheRange)
{
    struct Case {
        const char* json;
        qint64 index;
        bool selectsOne;
    };
    for (const Case& c : {Case{R"({"selectedPlaylistIndex":5,"playlists":[{},{}]})", 0, true},
                          Case{R"({"selectedPlaylistIndex":1,"playlists":[{},{}]})", 1, true},
                          Case{R"({"selectedPlaylistIndex":-1,"playlists":[{},{}]})", -1, false},
                          Case{R"({"playlists":[{},{}]})", 0, true},
                          Case{R"({"selectedPlaylistIndex":1,"playlists":{}})", 0, true}}) {
        QTemporaryDir dir;
        LTPlaylistStore store(dir.path());
        ASSERT_TRUE(fixtures::writeFile(store.playlistStorePath(), c.json));
        store.loadPlaylists();
        EXPECT_EQ(store.currentPlaylistIndex(), c.index) << c.json;
        EXPECT_EQ(store.selectedPlaylist() != nullptr, c.selectsOne) << c.json;
        EXPECT_EQ(readFile(store.playlistStorePath()), c.json) << "a good file is not rewritten";
        EXPECT_FALSE(QFile::exists(store.backupPath()));
    }
}

TEST(LTPlaylistStoreTest, RemovalKeepsOnePlaylistAndClampsTheSelection)
{
    struct Case {
        int count;
        qint64 selected, remove;
        QStringList after;
        QString selectedName;
    };
    const Case cases[] = {
        {1, 0, 0, {"P0"}, "P0"},
        {3, 2, 2, {"P0", "P1"}, "P1"},
        {3, 1, 0, {"P1", "P2"}, "P2"}, // the same number now selects the next one
        {3, 0, 2, {"P0", "P1"}, "P0"},
        {3, 1, -1, {"P0", "P1", "P2"}, "P1"},
        {3, 1, 3, {"P0", "P1", "P2"}, "P1"},
    };
    for (const Case& c : cases) {
        StoreWith s(c.count);
        s.store.selectPlaylistAtIndex(c.selected);
        s.store.removePlaylistAtIndex(c.remove);
        EXPECT_EQ(names(s.store), c.after) << c.count << " remove " << c.remove;
        EXPECT_EQ(s.store.selectedPlaylist()->name(), c.selectedName) << c.count << " remove " << c.remove;
    }
    StoreWith s(2);
    s.store.selectPlaylistAtIndex(1);
    for (qint64 outside : {-1LL, 2LL, LTPlaylistStore::NSNotFound})
        s.store.selectPlaylistAtIndex(outside);
    EXPECT_EQ(s.store.currentPlaylistIndex(), 1) << "an index outside the list is ignored";
}

TEST(LTPlaylistStoreTest, EquivalenceByLibraryIDPathOrURLString)
{
    const auto item = [](int sourceType, const char* url, const char* id) {
        auto i = std::make_shared<LTPlaylistItem>();
        i->setSourceType(sourceType);
        i->setFileURLString(QString::fromUtf8(url));
        i->setMusicPersistentID(QString::fromUtf8(id));
        return i;
    };
    // The resolver in use maps /moved/… to where the file is now, and knows no other file.
    const LTPlaylistStore::ResolvedURLBlock resolve = [](const LTPlaylistItemPtr& i) {
        const QUrl url(i->fileURLString());
        return url.path().startsWith("/moved/") ? QUrl::fromLocalFile("/Music" + url.path().mid(6)) : QUrl();
    };
    struct Case {
        LTPlaylistItemPtr existing, candidate;
        bool equivalent;
        const char* why;
    };
    const Case cases[] = {
        {item(1, "", "ABCDEF12"), item(1, "", "abcdef12"), true, "one library ID in any letter case"},
        {item(0, "file:///moved/Song.MP3", ""), item(0, "file:///Music/a/../song.mp3", ""), false, "unresolved candidate"},
        {item(0, "file:///Music/x/../Song.mp3", ""), item(0, "file:///moved/SONG.mp3", ""), false, "unresolved existing"},
        {item(0, "file:///moved/x/../Song.mp3", ""), item(1, "file:///moved/SONG.mp3", "1"), true, "one resolved path in any case"},
        {item(0, "file:///Gone/Take.wav", ""), item(0, "FILE:///gone/take.WAV", ""), true, "one URL string in any case"},
        {item(0, "", ""), item(0, "", ""), false, "empty is never equivalent"},
        {item(1, "", ""), item(1, "", ""), false, "empty library items neither"},
        {item(1, "file:///a.mp3", "1"), item(1, "file:///b.mp3", "2"), false, "different tracks"},
    };
    for (const Case& c : cases) {
        auto playlist = std::make_shared<LTPlaylist>();
        playlist->items() = {item(0, "file:///other.mp3", "99"), c.existing};
        EXPECT_EQ(LTPlaylistStore::playlistContainsEquivalentItem(playlist, c.candidate, resolve), c.equivalent) << c.why;
    }
    EXPECT_FALSE(LTPlaylistStore::playlistContainsEquivalentItem(nullptr, item(0, "file:///a", ""), resolve));
}

TEST(LTPlaylistStoreTest, ADurationThatIsNoNumberLeavesTheFileAsItWas)
{
    QTemporaryDir dir;
    LTPlaylistStore store(dir.path());
    store.loadPlaylists();
    const QByteArray before = readFile(store.playlistStorePath());
    auto item = std::make_shared<LTPlaylistItem>();
    item->setDuration(std::numeric_limits<double>::quiet_NaN());
    store.selectedPlaylist()->items().append(item);
    LogCapture log;
    EXPECT_FALSE(store.savePlaylists());
    EXPECT_TRUE(log.anyStartsWith("Failed to serialize playlists: "));
    EXPECT_EQ(readFile(store.playlistStorePath()), before);
}
