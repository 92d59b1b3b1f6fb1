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

TEST_F(LTPlaylistStoreTest, EveryFieldSurvivesASaveAndALoadADurationThatIsNoNumberLeavesTheFileAsItWasAndMissingKeysTakeTheirDefaults)
{
    store.loadPlaylists();
    const QByteArray firstStart = readFile(store.playlistStorePath());
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
    EXPECT_EQ(readFile(store.backupPath()), firstStart) << "the backup is the file as it was before the save";
    EXPECT_FALSE(root()["playlists"][0]["items"][1].toObject().contains("bookmarkData")) << "no key without a bookmark";
    // The file itself, key by key, indented for a person to read.
    EXPECT_TRUE(readFile(store.playlistStorePath()).contains("\n    \"version\": 1"));
    const QJsonObject file = root(), saved = file["playlists"][0].toObject(), item = saved["items"][0].toObject();
    const std::tuple<QJsonObject, const char*, QJsonValue> keys[] = {
        {file, "version", 1}, {file, "selectedPlaylistIndex", 0}, {saved, "name", "Étude ♩"}, {saved, "uuid", playlist->uuid()},
        {saved, "createdAt", 1700000000.123}, {item, "uuid", full->uuid()}, {item, "displayName", "Träumerei"},
        {item, "artist", "Schumann"}, {item, "album", "Kinderszenen"}, {item, "duration", 183.25}, {item, "sourceType", 1},
        {item, "fileURLString", "file:///music/tr%C3%A4umerei.mp3"}, {item, "musicPersistentID", "9223372036854775807"},
        {item, "unavailable", true}, {item, "unavailableReason", "Missing local file"}, {item, "bookmarkData", "AAH/IGJvb2ttYXJrIIAKAA=="}};
    for (const auto& [object, key, value] : keys)
        EXPECT_EQ(object[key], value) << key;
    EXPECT_NEAR(saved["updatedAt"].toDouble(), QDateTime::currentSecsSinceEpoch(), 60.0) << "stamped at the save";

    LTPlaylistStore again(dir.path());
    again.loadPlaylists();
    EXPECT_EQ(again.selectedPlaylist()->toDictionary(), playlist->toDictionary());
    EXPECT_EQ(again.selectedPlaylist()->items().value(1)->displayName(), "take 2.wav");

    const QByteArray previous = readFile(store.playlistStorePath());
    ASSERT_TRUE(store.savePlaylists());
    EXPECT_EQ(readFile(store.backupPath()), previous) << "renewed at every save";
    const QByteArray before = readFile(store.playlistStorePath());
    full->setDuration(std::numeric_limits<double>::quiet_NaN());
    EXPECT_FALSE(store.savePlaylists());
    EXPECT_TRUE(log.anyStartsWith("Failed to serialize playlists: "));
    EXPECT_EQ(readFile(store.playlistStorePath()), before);

    // Missing keys take their defaults and bad bookmarks are dropped.
    log.clear();
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
    again.loadPlaylists();
    EXPECT_NE(again.allPlaylists()[0]->items()[0]->uuid(), first->items()[0]->uuid()) << "a new uuid at each load";
}

TEST_F(LTPlaylistStoreTest, ADamagedFileIsKeptInTheBackupWhileAGoodOneIsReadAsItIsWithTheSelectionCorrectedOnlyAboveTheRange)
{
    // The index a good file's selection reads as; kDamaged where the store starts afresh.
    constexpr qint64 kDamaged = -99;
    const std::pair<QByteArray, qint64> files[] = {
        {R"({"version":1,"selectedPlaylistIndex":0,"playlists":[{"name":"Scales","ite)", kDamaged},
        {QByteArray("\x93\x0e\xfa\x01 RIFF\0\0 \xff\xfe", 15), kDamaged}, {"", kDamaged}, {R"([{"name":"Scales"}])", kDamaged},
        {R"("playlists")", kDamaged}, {R"({"playlists":[{"name":7}]})", kDamaged},
        {R"({"playlists":[{"items":[{"duration":"3:10"}]}]})", kDamaged}, {R"({"playlists":[{"items":[{"sourceType":0.5}]}]})", kDamaged},
        {R"({"playlists":[{"items":[{"unavailable":"yes"}]}]})", kDamaged}, {R"({"selectedPlaylistIndex":"1","playlists":[]})", kDamaged},
        {R"({"selectedPlaylistIndex":1e300,"playlists":[]})", kDamaged}, {R"({"playlists":[{"createdAt":1e300}]})", kDamaged},
        {QByteArray("{\"playlists\":[{\"name\":\"\xc3\x28\xff\"}]}"), kDamaged}, {QByteArray(100000, '[') + QByteArray(100000, ']'), kDamaged},
        // No name runs to 20 MB; shown in the window it would stall every repaint.
        {R"({"playlists":[{"name":")" + QByteArray(20 << 20, 'a') + R"("}]})", kDamaged},
        // The longest path the system allows, every byte an escape, is no damage.
        {R"({"playlists":[{"items":[{"fileURLString":"file:///)" + QByteArray("%C3%A4").repeated(2048) + R"("}]}]})", 0},
        {R"({"selectedPlaylistIndex":5,"playlists":[{},{}]})", 0}, {R"({"selectedPlaylistIndex":1,"playlists":[{},{}]})", 1},
        {R"({"selectedPlaylistIndex":-1,"playlists":[{},{}]})", -1}, {R"({"playlists":[{},{}]})", 0},
        {R"({"selectedPlaylistIndex":1,"playlists":{}})", 0}};
    for (const auto& [bytes, index] : files) {
        SCOPED_TRACE(bytes.left(60).toHex().constData());
        const bool damaged = index == kDamaged;
        Fresh f;
        ASSERT_TRUE(fixtures::writeFile(f.store.playlistStorePath(), bytes));
        log.clear();
        f.store.loadPlaylists();
        EXPECT_EQ(log.lines(), damaged ? QStringList{log.lines().value(0)} : QStringList());
        EXPECT_EQ(log.lines().value(0).startsWith("Playlist file corrupted: "), damaged);
        EXPECT_EQ(f.store.currentPlaylistIndex(), damaged ? 0 : index);
        EXPECT_EQ(f.store.selectedPlaylist() != nullptr, index != -1);
        EXPECT_EQ(QFile::exists(f.store.backupPath()), damaged);
        // Not EXPECT_EQ: a failure would print every byte of the 20 MB.
        EXPECT_TRUE(readFile(damaged ? f.store.backupPath() : f.store.playlistStorePath()) == bytes) << "a good file is not rewritten";
        if (damaged) {
            const QJsonArray written = f.root()["playlists"].toArray();
            EXPECT_EQ(std::tuple(written.size(), written[0]["name"], written[0]["items"]), std::tuple(1, "Playlist", QJsonArray()));
            EXPECT_TRUE(f.names() == QStringList{"Playlist"}) << "a fresh playlist, written";
        }
    }
}

TEST(LTPlaylistStore, RemovalKeepsOnePlaylistAndClampsTheSelectionAndAnIndexOutsideTheListIsIgnored)
{
    // Of playlists P0, P1, P2 (or P0 alone) with one selected, one removed: those left and the one selected.
    const std::tuple<int, qint64, qint64, QString, QString> cases[] = {
        {1, 0, 0, "P0", "P0"}, {3, 2, 2, "P0 P1", "P1"}, {3, 1, 0, "P1 P2", "P2"} /* the same number selects the next */,
        {3, 0, 2, "P0 P1", "P0"}, {3, 1, -1, "P0 P1 P2", "P1"}, {3, 1, 3, "P0 P1 P2", "P1"}};
    for (const auto& [count, selected, remove, after, selectedName] : cases) {
        SCOPED_TRACE(testing::Message() << count << " remove " << remove);
        Fresh f;
        f.store.allPlaylists().first()->setName("P0");
        for (int i = 1; i < count; ++i)
            f.store.addPlaylist(std::make_shared<LTPlaylist>()), f.store.allPlaylists().last()->setName(QString("P%1").arg(i));
        f.store.selectPlaylistAtIndex(selected);
        f.store.removePlaylistAtIndex(remove);
        for (qint64 outside : {qint64(-1), qint64(f.store.allPlaylists().size()), LTPlaylistStore::NSNotFound})
            f.store.selectPlaylistAtIndex(outside);
        EXPECT_EQ(f.names().join(' '), after);
        EXPECT_EQ(f.store.selectedPlaylist()->name(), selectedName);
    }
}

TEST(LTPlaylistStore, EquivalenceByLibraryIDPathOrURLString)
{
    const auto item = [](const char* url, const char* id = "") {
        auto i = std::make_shared<LTPlaylistItem>();
        i->setFileURLString(QString::fromUtf8(url));
        i->setMusicPersistentID(QString::fromUtf8(id));
        return i;
    };
    // The resolver in use maps /moved/… to where the file is now, and knows no other file.
    const LTPlaylistStore::ResolvedURLBlock resolve = [](const LTPlaylistItemPtr& i) {
        const QUrl url(i->fileURLString());
        return url.path().startsWith("/moved/") ? QUrl::fromLocalFile("/Music" + url.path().mid(6)) : QUrl();
    };
    const std::tuple<LTPlaylistItemPtr, LTPlaylistItemPtr, bool> cases[] = {
        {item("", "ABCDEF12"), item("", "abcdef12"), true}, // one library ID in any letter case
        {item("file:///moved/Song.MP3"), item("file:///Music/a/../song.mp3"), false}, // the candidate unresolved
        {item("file:///Music/x/../Song.mp3"), item("file:///moved/SONG.mp3"), false}, // the one listed unresolved
        {item("file:///moved/x/../Song.mp3"), item("file:///moved/SONG.mp3", "1"), true}, // one resolved path in any case
        {item("file:///Gone/Take.wav"), item("FILE:///gone/take.WAV"), true}, // one URL string in any case
        {item(""), item(""), false}, {item("file:///a.mp3", "1"), item("file:///b.mp3", "2"), false}};
    for (const auto& [listed, candidate, equivalent] : cases) {
        auto playlist = std::make_shared<LTPlaylist>();
        playlist->items() = {item("file:///other.mp3", "99"), listed};
        EXPECT_EQ(LTPlaylistStore::playlistContainsEquivalentItem(playlist, candidate, resolve), equivalent)
            << listed->fileURLString().toStdString() << " " << candidate->fileURLString().toStdString();
    }
    EXPECT_FALSE(LTPlaylistStore::playlistContainsEquivalentItem(nullptr, item("file:///a"), resolve));
}
