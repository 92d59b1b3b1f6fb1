#include "library/LTMusicLibraryBrowser.h"
#include "library/MusicLibraryIndex.h"

#include "common/Testing.h"

#include <QDateTime>

#include <filesystem>

namespace {

struct Tagged { const char *file, *title, *artist, *album; };

// One second of tagged audio in each format the library reads, made once for all tests.
const Tagged kTagged[] = {
    {"Rock/one.mp3", "Opening Riff", "The Alders", "First Light"},
    {"Rock/two.flac", "Second Wind", "The Alders", "Second Light"},
    {"Jazz/three.m4a", "Blue Hour", "Mara Quint", "Night Sessions"},
    {"Jazz/four.ogg", "Late Train", "Mara Quint", "Night Sessions"},
    {"five.wav", "Field Song", "Old Orchard", "Harvest"},
};

class MusicLibraryTest : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        s_fixtures = new QTemporaryDir;
        const QDir dir(s_fixtures->filePath("Music"));
        const QString source = s_fixtures->filePath("source.wav");
        ASSERT_TRUE(fixtures::writeWav(source, fixtures::stereoSines(44100, 44100)) && dir.mkpath("Rock") && dir.mkpath("Jazz"));
        for (const Tagged& t : kTagged)
            ASSERT_TRUE(fixtures::ffmpegConvert(source, dir.filePath(t.file), {"-metadata", QString("title=") + t.title, "-metadata",
                                                QString("artist=") + t.artist, "-metadata", QString("album=") + t.album})) << t.file;
        ASSERT_TRUE(QFile::copy(source, dir.filePath("Untagged Take.wav")));
        ASSERT_TRUE(fixtures::ffmpegConvert(source, dir.filePath("Jazz/bought.m4p"), {"-f", "mp4", "-c:a", "aac", "-metadata", "title=Bought Song"}));
        // Left out: hidden files, anything in a hidden folder, and video.
        ASSERT_TRUE(QFile::copy(dir.filePath("Rock/one.mp3"), dir.filePath(".hidden.mp3")) && dir.mkpath(".cache"));
        ASSERT_TRUE(QFile::copy(dir.filePath("Rock/one.mp3"), dir.filePath(".cache/one.mp3")));
        ASSERT_EQ(fixtures::runProgram("ffmpeg", {"-nostdin", "-v", "error", "-y", "-f", "lavfi", "-i", "testsrc=duration=1:size=64x64:rate=10",
                                                  "-i", source, "-shortest", "-c:v", "mpeg4", "-metadata", "title=A Video", dir.filePath("clip.mp4")}), 0);
        ASSERT_TRUE(fixtures::writeFile(dir.filePath("Practice.m3u"),
                                        "#EXTM3U\n#EXTINF:1,Mara Quint - Late Train\nJazz/four.ogg\n\nRock/one.mp3\nnot/there.mp3\nhttp://radio.example/stream\n"));
    }

    static void TearDownTestSuite() { delete std::exchange(s_fixtures, nullptr); }

    void SetUp() override
    {
        std::filesystem::copy(s_fixtures->filePath("Music").toStdString(), music().toStdString(),
                              std::filesystem::copy_options::recursive);
    }

    QString music() const { return m_dir.filePath("Music"); }
    QString database() const { return m_dir.filePath("data/index.sqlite"); }

    static MusicLibraryScanReport scan(MusicLibraryIndex& index)
    {
        QSignalSpy finished(&index, &MusicLibraryIndex::scanFinished);
        index.rescan();
        EXPECT_TRUE(finished.wait(60000));
        return index.lastScanReport();
    }

    // A browser over a scanned index, its entries keyed by title.
    std::unique_ptr<LTMusicLibraryBrowser> scannedBrowser(const QStringList& folders = {})
    {
        auto index = std::make_unique<MusicLibraryIndex>(folders.isEmpty() ? QStringList{music()} : folders, database());
        scan(*index);
        auto browser = std::make_unique<LTMusicLibraryBrowser>(std::move(index));
        browser->reloadMusicLibrary();
        return browser;
    }

    static QStringList titles(const LTMusicLibraryBrowser& browser)
    {
        QStringList out;
        for (const LTMusicLibraryEntryPtr& e : browser.musicFilteredEntries())
            out << e->displayName();
        return out;
    }

    static LTMusicLibraryEntryPtr entryTitled(const LTMusicLibraryBrowser& browser, const QString& title)
    {
        for (const LTMusicLibraryEntryPtr& e : browser.musicAllEntries())
            if (e->displayName() == title)
                return e;
        return nullptr;
    }

    static inline QTemporaryDir* s_fixtures = nullptr;
    QTemporaryDir m_dir;
};

} // namespace

// One library through its life: the first scan, the filter, a rename, a deletion, the next start, files
// changed and added while running, and a damaged index.
TEST_F(MusicLibraryTest, TheScanListsTagsAndPlaylistFilesTheFilterNarrowsThemAndLaterScansFollowTheFiles)
{
    auto browser = scannedBrowser();
    MusicLibraryIndex* index = browser->musicLibrary();
    const MusicLibraryScanReport first = index->lastScanReport();
    EXPECT_EQ(std::tuple(first.filesSeen, first.tagsRead, first.added, first.playlistsRead), std::tuple(7, 7, 7, 1));
    for (const Tagged& t : kTagged) {
        const LTMusicLibraryEntryPtr e = entryTitled(*browser, t.title);
        ASSERT_TRUE(e) << t.file;
        EXPECT_EQ(std::tuple(e->artist(), e->album(), e->isAvailable()), std::tuple(QString(t.artist), QString(t.album), true));
        EXPECT_NEAR(e->duration(), 1.0, 0.1) << t.file;
        EXPECT_EQ(LTMusicLibraryBrowser::resolveFileURLForMusicMediaItem(e->mediaItem(), nullptr),
                  QUrl::fromLocalFile(QDir(music()).filePath(t.file)));
    }
    ASSERT_TRUE(entryTitled(*browser, "Untagged Take")) << "the file name stands in for a missing title";
    EXPECT_EQ(browser->musicAllEntries().size(), 7) << "no hidden files, no video: " << titles(*browser).join(", ").toStdString();
    const LTMusicLibraryEntryPtr bought = entryTitled(*browser, "Bought Song");
    ASSERT_TRUE(bought);
    EXPECT_EQ(std::tuple(bought->isAvailable(), bought->unavailableReason()), std::tuple(false, QString("DRM protected")));

    EXPECT_EQ(browser->librarySourceTitles(), QStringList({"Library", "Practice"}));
    browser->selectMusicSourceAtIndex(1);
    EXPECT_EQ(titles(*browser), QStringList({"Late Train", "Opening Riff"})) << "in the playlist file's order";
    browser->selectMusicSourceAtIndex(2);
    EXPECT_EQ(browser->selectedMusicSourceIndex(), 0) << "an index past the playlists falls back to the library";
    EXPECT_EQ(browser->musicFilteredEntries().size(), 7);
    // One substring of name, artist and album together, in any letter case.
    const std::pair<const char*, QStringList> queries[] = {
        {"ALDERS", {"Opening Riff", "Second Wind"}}, {"quint night", {"Blue Hour", "Late Train"}},
        {"riff the", {"Opening Riff"}},             {"alders first light", {"Opening Riff"}},
        {"light alders", {}},                       {"zzz", {}}};
    for (const auto& [query, expected] : queries) {
        browser->applyMusicFilterWithQuery(QString::fromUtf8(query));
        QStringList got = titles(*browser);
        got.sort();
        EXPECT_EQ(got, expected) << query;
    }
    browser->applyMusicFilterWithQuery(QString());
    EXPECT_EQ(browser->musicFilteredEntries(), browser->musicAllEntries()) << "clearing restores the source order";
    browser->applyMusicFilterWithQuery("mara");
    browser->selectMusicSourceAtIndex(1);
    EXPECT_EQ(titles(*browser), QStringList{"Late Train"}) << "the query holds across a change of source";
    browser->applyMusicFilterWithQuery(QString());
    browser->selectMusicSourceAtIndex(0);
    EXPECT_EQ(scan(*index).tagsRead, 0) << "a rescan with no change";

    // A rename keeps the track's ID; a deleted file is missing before and after the next scan.
    const QString id = entryTitled(*browser, "Field Song")->persistentID();
    const QString untagged = entryTitled(*browser, "Untagged Take")->persistentID();
    const LTMusicLibraryEntryPtr deleted = entryTitled(*browser, "Second Wind");
    const QDir dir(music());
    ASSERT_TRUE(dir.mkpath("Folk") && QFile::rename(dir.filePath("five.wav"), dir.filePath("Folk/field song (take 2).wav")));
    ASSERT_TRUE(QFile::rename(dir.filePath("Untagged Take.wav"), dir.filePath("Take Two.wav")));
    ASSERT_TRUE(QFile::remove(deleted->mediaItem()->path));
    QString reason;
    EXPECT_TRUE(LTMusicLibraryBrowser::resolveFileURLForMusicMediaItem(deleted->mediaItem(), &reason).isEmpty());
    EXPECT_EQ(reason, "Missing local file");
    const MusicLibraryScanReport report = scan(*index);
    EXPECT_EQ(std::tuple(report.renamed, report.added, report.tagsRead, report.vanished), std::tuple(2, 0, 2, 1));
    browser->reloadMusicLibrary();
    ASSERT_TRUE(entryTitled(*browser, "Field Song") && entryTitled(*browser, "Take Two")) << "an untagged file shows its new name";
    EXPECT_EQ(entryTitled(*browser, "Field Song")->persistentID(), id);
    EXPECT_TRUE(entryTitled(*browser, "Field Song")->mediaItem()->path.endsWith("Folk/field song (take 2).wav"));
    EXPECT_EQ(entryTitled(*browser, "Take Two")->persistentID(), untagged);
    EXPECT_FALSE(entryTitled(*browser, "Second Wind")) << "no longer listed";
    const MusicLibraryTrackPtr known = browser->mediaItemForPersistentID(deleted->persistentID());
    ASSERT_TRUE(known) << "its ID still answers";
    reason.clear();
    EXPECT_TRUE(LTMusicLibraryBrowser::resolveFileURLForMusicMediaItem(known, &reason).isEmpty());
    EXPECT_EQ(reason, "Missing local file");

    // The next start of the program reads no tags and keeps each ID and the stored playlist.
    const auto ids = [&] {
        QStringList out;
        for (const MusicLibraryTrackPtr& t : index->allMediaItems())
            out << t->persistentIDString();
        return out;
    };
    const QStringList before = ids();
    browser.reset();
    browser = scannedBrowser();
    index = browser->musicLibrary();
    EXPECT_EQ(std::tuple(index->lastScanReport().tagsRead, index->lastScanReport().playlistsRead), std::tuple(0, 0));
    EXPECT_EQ(ids(), before);
    ASSERT_EQ(index->allPlaylists().size(), 1);
    EXPECT_EQ(index->allPlaylists()[0]->name, "Practice");
    EXPECT_EQ(index->allPlaylists()[0]->items.size(), 2) << "the stored playlist still names its tracks";

    // One file grows; another is retagged in place to a title of the same length, which only its
    // modification time tells.
    QFile grown(dir.filePath("Take Two.wav"));
    ASSERT_TRUE(grown.open(QIODevice::Append) && grown.write(QByteArray(4, '\0')) == 4);
    grown.close();
    const QString field = dir.filePath("Folk/field song (take 2).wav");
    ASSERT_TRUE(fixtures::writeFile(field, fixtures::readFile(field).replace("Field Song", "Field Sang")));
    QFile retagged(field);
    ASSERT_TRUE(retagged.open(QIODevice::ReadWrite));
    ASSERT_TRUE(retagged.setFileTime(QDateTime::currentDateTime().addSecs(60), QFileDevice::FileModificationTime));
    retagged.close();
    EXPECT_EQ(std::tuple(scan(*index).tagsRead, index->lastScanReport().added), std::tuple(2, 0)) << "a changed file keeps its ID";
    browser->reloadMusicLibrary();
    EXPECT_TRUE(entryTitled(*browser, "Field Sang"));

    // Files added or removed while running show without a command.
    const auto has = [&](const QString& relative) {
        const auto items = index->allMediaItems();
        return std::any_of(items.begin(), items.end(), [&](const MusicLibraryTrackPtr& t) { return t->path == dir.filePath(relative); });
    };
    QSignalSpy changed(index, &MusicLibraryIndex::libraryChanged);
    ASSERT_TRUE(QFile::copy(dir.filePath("Rock/one.mp3"), dir.filePath("Rock/encore.mp3"))); // into a subfolder
    EXPECT_TRUE(changed.wait(10000) && has("Rock/encore.mp3"));
    ASSERT_TRUE(QFile::remove(dir.filePath("Rock/one.mp3")));
    EXPECT_TRUE(changed.wait(10000) && !has("Rock/one.mp3"));

    browser.reset();
    QDir data(QFileInfo(database()).path());
    ASSERT_TRUE(data.removeRecursively() && data.mkpath(".") && fixtures::writeFile(database(), QByteArray(8192, '\x5a')));
    LogCapture log;
    MusicLibraryIndex rebuilt({music()}, database());
    EXPECT_EQ(scan(rebuilt).filesSeen, 6);
    EXPECT_TRUE(log.anyStartsWith("Music library index unreadable, rebuilding it: ")) << log.lines().join('\n').toStdString();
    EXPECT_EQ(rebuilt.allMediaItems().size(), 6);
    EXPECT_EQ(scan(rebuilt).tagsRead, 0) << "the rebuilt index is in use";
}

TEST_F(MusicLibraryTest, AMissingMusicFolderLogsAndGivesAnEmptyLibrary)
{
    LogCapture log;
    const auto browser = scannedBrowser({m_dir.filePath("no such folder")});
    EXPECT_TRUE(log.anyStartsWith("Music library unavailable: the folder ")) << log.lines().join('\n').toStdString();
    EXPECT_TRUE(browser->musicFilteredEntries().isEmpty());
    EXPECT_EQ(browser->librarySourceTitles(), QStringList{"Library"});
}
