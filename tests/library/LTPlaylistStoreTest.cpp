#include "library/LTPlaylistStore.h"

#include "common/Testing.h"

namespace {

using fixtures::readFile;

// A store in a fresh folder.
struct Fresh {
    QTemporaryDir dir;
    LTPlaylistStore store{dir.path()};

    QJsonObject root() { return QJsonDocument::fromJson(readFile(store.playlistStorePath())).object(); }
    QStringList names()
    {
        QStringList out;
        for (const LTPlaylistPtr& p : store.allPlaylists())
            out << p->name();
        return out;
    }
    // Playlists named "P0".."Pn-1".
    Fresh& named(int count)
    {
        store.allPlaylists().first()->setName(QStringLiteral("P0"));
        for (int i = 1; i < count; ++i) {
            auto p = std::make_shared<LTPlaylist>();
            p->setName(QStringLiteral("P%1").arg(i));
            store.addPlaylist(p);
        }
        return *this;
    }
};

struct LTPlaylistStoreTest : ::testing::Test, Fresh {
    LogCapture log;
};

} // namespace

TEST_F(LTPlaylistStoreTest, FirstStartWritesOnePlaylistSelectedAndAFolderInItsPlaceIsLeftAlone)
{
    LTPlaylistStore deep(dir.filePath(QStringLiteral("not/yet/there")));
    deep.loadPlaylists();
    const QJsonObject written = QJsonDocument::fromJson(readFile(deep.playlistStorePath())).object();
    EXPECT_EQ(written.value("selectedPlaylistIndex").toInt(-1), 0);
    ASSERT_EQ(written.value("playlists").toArray().size(), 1);
    EXPECT_EQ(written["playlists"][0]["name"].toString(), "Playlist");
    EXPECT_FALSE(QFile::exists(deep.backupPath()));

    ASSERT_TRUE(QDir(dir.path()).mkdir("playlists.json"));
    store.loadPlaylists();
    EXPECT_TRUE(log.anyStartsWith("Playlist file unreadable: ")) << log.lines().join('\n').toStdString();
    EXPECT_EQ(names(), QStringList{"Playlist"});
    EXPECT_TRUE(QFileInfo(store.playlistStorePath()).isDir());
    EXPECT_FALSE(store.savePlaylists()) << "a failed write is reported to the caller";
}

TEST_F(LTPlaylistStoreTest, EveryFieldSurvivesASaveAndALoadAndADurationThatIsNoNumberLeavesTheFileAsItWas)
{
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
    playlist->items() = {full, LTPlaylistStore::playlistItemFromFileURL(QUrl(QStringLiteral("file:///nowhere/take%202.wav")))};
    ASSERT_TRUE(store.savePlaylists());
    EXPECT_FALSE(root()["playlists"][0]["items"][1].toObject().contains("bookmarkData")) << "no key without a bookmark";

    LTPlaylistStore again(dir.path());
    again.loadPlaylists();
    EXPECT_EQ(again.selectedPlaylist()->toDictionary(), playlist->toDictionary());
    EXPECT_EQ(again.selectedPlaylist()->items().value(1)->displayName(), "take 2.wav");

    const QByteArray before = readFile(store.playlistStorePath());
    full->setDuration(std::numeric_limits<double>::quiet_NaN());
    EXPECT_FALSE(store.savePlaylists());
    EXPECT_TRUE(log.anyStartsWith("Failed to serialize playlists: "));
    EXPECT_EQ(readFile(store.playlistStorePath()), before);
}

TEST_F(LTPlaylistStoreTest, MissingKeysTakeTheirDefaultsAndBadBookmarksAreDropped)
{
    ASSERT_TRUE(fixtures::writeFile(store.playlistStorePath(),
             R"({"playlists":[7, {"items":[{}, "x", {"bookmarkData":"!!not base64"}, {"bookmarkData":5}]}, {"items":3}]})"));
    store.loadPlaylists();
    EXPECT_TRUE(log.lines().isEmpty());
    ASSERT_EQ(names(), QStringList({"Playlist", "Playlist"}));
    const LTPlaylistPtr first = store.allPlaylists()[0];
    EXPECT_EQ(first->createdAt().toMSecsSinceEpoch(), 0);
    ASSERT_EQ(first->items().size(), 3);
    for (const LTPlaylistItemPtr& item : first->items()) {
        EXPECT_FALSE(item->uuid().isEmpty());
        EXPECT_TRUE(item->bookmarkData().isNull());
        EXPECT_EQ(std::tuple(item->fileURLString(), item->sourceType()), std::tuple(QString(""), 0));
        EXPECT_FALSE(item->isUnavailable()) << "a song is playable unless the file says otherwise";
    }
    LTPlaylistStore again(dir.path());
    again.loadPlaylists();
    EXPECT_NE(again.allPlaylists()[0]->items()[0]->uuid(), first->items()[0]->uuid()) << "a new uuid at each load";
}

TEST_F(LTPlaylistStoreTest, ADamagedFileIsKeptInTheBackupAndTheStoreStartsAfresh)
{
    const QByteArray damaged[] = {
        R"({"version":1,"selectedPlaylistIndex":0,"playlists":[{"name":"Scales","ite)", QByteArray("\x93\x0e\xfa\x01 RIFF\0\0 \xff\xfe", 15),
        "", R"([{"name":"Scales"}])", R"("playlists")", R"({"playlists":[{"name":7}]})",
        R"({"playlists":[{"items":[{"duration":"3:10"}]}]})", R"({"playlists":[{"items":[{"sourceType":0.5}]}]})",
        R"({"playlists":[{"items":[{"unavailable":"yes"}]}]})", R"({"selectedPlaylistIndex":"1","playlists":[]})",
        R"({"selectedPlaylistIndex":1e300,"playlists":[]})", R"({"playlists":[{"createdAt":1e300}]})",
        QByteArray("{\"playlists\":[{\"name\":\"\xc3\x28\xff\"}]}"), QByteArray(100000, '[') + QByteArray(100000, ']')};
    for (const QByteArray& bytes : damaged) {
        SCOPED_TRACE(bytes.left(60).toHex().constData());
        Fresh f;
        ASSERT_TRUE(fixtures::writeFile(f.store.playlistStorePath(), bytes));
        log.clear();
        f.store.loadPlaylists();
        ASSERT_EQ(log.lines().size(), 1) << log.lines().join('\n').toStdString();
        EXPECT_TRUE(log.lines()[0].startsWith("Playlist file corrupted: ")) << log.lines()[0].toStdString();
        EXPECT_EQ(readFile(f.store.backupPath()), bytes);
        EXPECT_EQ(f.names(), QStringList{"Playlist"});
        EXPECT_EQ(f.store.currentPlaylistIndex(), 0);
        EXPECT_EQ(f.root()["playlists"].toArray().size(), 1) << "a good file written";
    }
}

TEST(LTPlaylistStore, StoredSelectionIndexIsCorrectedOnlyAboveTheRange)
{
    struct Case { const char* json; qint64 index; bool selectsOne; };
    for (const Case& c : {Case{R"({"selectedPlaylistIndex":5,"playlists":[{},{}]})", 0, true},
                          Case{R"({"selectedPlaylistIndex":1,"playlists":[{},{}]})", 1, true},
                          Case{R"({"selectedPlaylistIndex":-1,"playlists":[{},{}]})", -1, false},
                          Case{R"({"playlists":[{},{}]})", 0, true},
                          Case{R"({"selectedPlaylistIndex":1,"playlists":{}})", 0, true}}) {
        Fresh f;
        ASSERT_TRUE(fixtures::writeFile(f.store.playlistStorePath(), c.json));
        f.store.loadPlaylists();
        EXPECT_EQ(f.store.currentPlaylistIndex(), c.index) << c.json;
        EXPECT_EQ(f.store.selectedPlaylist() != nullptr, c.selectsOne) << c.json;
        EXPECT_EQ(readFile(f.store.playlistStorePath()), c.json) << "a good file is not rewritten";
        EXPECT_FALSE(QFile::exists(f.store.backupPath()));
    }
}

TEST(LTPlaylistStore, RemovalKeepsOnePlaylistAndClampsTheSelection)
{
    struct Case { int count; qint64 selected, remove; QStringList after; QString selectedName; };
    const Case cases[] = {
        {1, 0, 0, {"P0"}, "P0"},
        {3, 2, 2, {"P0", "P1"}, "P1"},
        {3, 1, 0, {"P1", "P2"}, "P2"}, // the same number now selects the next one
        {3, 0, 2, {"P0", "P1"}, "P0"},
        {3, 1, -1, {"P0", "P1", "P2"}, "P1"},
        {3, 1, 3, {"P0", "P1", "P2"}, "P1"},
    };
    for (const Case& c : cases) {
        Fresh f;
        f.named(c.count).store.selectPlaylistAtIndex(c.selected);
        f.store.removePlaylistAtIndex(c.remove);
        EXPECT_EQ(f.names(), c.after) << c.count << " remove " << c.remove;
        EXPECT_EQ(f.store.selectedPlaylist()->name(), c.selectedName) << c.count << " remove " << c.remove;
    }
    Fresh f;
    f.named(2).store.selectPlaylistAtIndex(1);
    for (qint64 outside : {-1LL, 2LL, LTPlaylistStore::NSNotFound})
        f.store.selectPlaylistAtIndex(outside);
    EXPECT_EQ(f.store.currentPlaylistIndex(), 1) << "an index outside the list is ignored";
}

TEST(LTPlaylistStore, EquivalenceByLibraryIDPathOrURLString)
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
    struct Case { LTPlaylistItemPtr existing, candidate; bool equivalent; const char* why; };
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
