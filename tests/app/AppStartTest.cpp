#include "WindowFixture.h"

#include "common/LogCapture.h"
#include "library/FileBookmark.h"

namespace {

struct AppStartTest : WindowFixture {
    QString loadedPath() const { return vc->player()->fileURL().toLocalFile(); }
    bool launch()
    {
        delegate->applicationDidFinishLaunching();
        return opened();
    }
};

} // namespace

TEST_F(AppStartTest, TheOpenedTrackComesBackOnTheNextStartEvenAfterItMoved)
{
    ASSERT_TRUE(launch());
    EXPECT_FALSE(vc->audioLoaded()) << "a first start loads nothing";
    EXPECT_EQ(window->windowTitle(), "Lento");
    EXPECT_TRUE(defaults->boolForKey("ApplePersistenceIgnoreState"));
    EXPECT_FALSE(defaults->boolForKey("NSQuitAlwaysKeepsWindows"));

    const QString track = makeTrack("album/take.wav", 0.1);
    vc->setCurrentTrackIndex(3);
    vc->setCurrentPlayingItemUUID("item");
    ASSERT_TRUE(delegate->applicationOpenFile(track));
    ASSERT_TRUE(opened());
    EXPECT_TRUE(vc->audioLoaded());
    EXPECT_EQ(vc->currentTrackIndex(), ViewController::NotFound);
    EXPECT_TRUE(vc->currentPlayingItemUUID().isEmpty());
    EXPECT_EQ(defaults->stringForKey("LastSongURL"), QUrl::fromLocalFile(track).toString());
    const QByteArray before = defaults->dataForKey("LastSongBookmark");

    const QString moved = dir.filePath("other/take (practice).wav");
    ASSERT_TRUE(QDir().mkpath(dir.filePath("other")) && QFile::rename(track, moved));
    start();
    ASSERT_TRUE(launch());
    EXPECT_EQ(loadedPath(), moved);
    EXPECT_EQ(window->windowTitle(), "take (practice).wav");
    const QByteArray after = defaults->dataForKey("LastSongBookmark");
    EXPECT_NE(after, before);
    bool stale = true;
    QString error;
    EXPECT_EQ(FileBookmark::URLByResolvingBookmarkData(after, &stale, &error).toLocalFile(), moved);
    EXPECT_FALSE(stale) << "the renewed bookmark points straight at the new place";
}

TEST_F(AppStartTest, AnUnusableBookmarkFallsBackToTheURLStringAndNothingExistingRestoresNothing)
{
    const QString track = makeTrack("b/song.wav", 0.1);
    const QString gone = makeTrack("c/gone.wav", 0.1);
    const QByteArray goneBookmark = FileBookmark::bookmarkDataFromURL(QUrl::fromLocalFile(gone));
    ASSERT_FALSE(goneBookmark.isEmpty());
    ASSERT_TRUE(QFile::remove(gone));
    const QString trackURL = QUrl::fromLocalFile(track).toString();
    struct Case {
        QVariant bookmark;
        QString url;
        QString restored;
        bool logged;
    };
    for (const Case& c : {Case{QString("not data"), trackURL, track, false}, Case{QByteArray(), trackURL, track, false},
                          Case{goneBookmark, trackURL, track, true},
                          Case{goneBookmark, QUrl::fromLocalFile(gone).toString(), QString(), true}}) {
        defaults->setObject(c.bookmark, "LastSongBookmark");
        defaults->setObject(c.url, "LastSongURL");
        LogCapture log;
        EXPECT_EQ(delegate->restoredLastTrackURL().toLocalFile(), c.restored);
        EXPECT_EQ(log.anyStartsWith("Failed to resolve last-song bookmark: "), c.logged) << c.url.toStdString();
    }
}
