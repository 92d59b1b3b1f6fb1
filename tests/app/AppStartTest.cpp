#include "WindowFixture.h"

#include "library/FileBookmark.h"

namespace {

struct AppStartTest : WindowFixture {
    QString launchedPath()
    {
        delegate->applicationDidFinishLaunching();
        EXPECT_TRUE(opened());
        return vc->audioLoaded() ? vc->player()->fileURL().toLocalFile() : QString();
    }
};

} // namespace

TEST_F(AppStartTest, TheOpenedTrackComesBackOnTheNextStartEvenAfterItMovedOrByItsPathAlone)
{
    EXPECT_EQ(launchedPath(), QString()) << "a first start loads nothing";
    EXPECT_EQ(window->windowTitle(), "Lento");
    EXPECT_FALSE(window->windowIcon().isNull());

    const QString track = makeTrack("album/take.wav", 0.1);
    ASSERT_TRUE(delegate->applicationOpenFile(track));
    ASSERT_TRUE(opened());
    const QByteArray before = defaults->dataForKey("LastSongBookmark");
    const QString moved = dir.filePath("other/take (practice).wav");
    ASSERT_TRUE(QDir().mkpath(dir.filePath("other")) && QFile::rename(track, moved));
    start();
    EXPECT_EQ(launchedPath(), moved);
    EXPECT_EQ(window->windowTitle(), "take (practice).wav");
    const QByteArray after = defaults->dataForKey("LastSongBookmark");
    EXPECT_NE(after, before);
    bool stale = true;
    QString error;
    EXPECT_EQ(FileBookmark::URLByResolvingBookmarkData(after, &stale, &error).toLocalFile(), moved);
    EXPECT_FALSE(stale) << "the renewed bookmark points straight at the new place";

    // A bookmark that resolves to nothing falls back to the stored path, if that file exists.
    ASSERT_TRUE(QFile::remove(moved));
    start();
    EXPECT_EQ(launchedPath(), QString()) << "neither the bookmark nor the path finds the file";
    const QString song = makeTrack("b/song.wav", 0.1);
    defaults->setObject(QUrl::fromLocalFile(song).toString(), "LastSongURL");
    EXPECT_EQ(launchedPath(), song);
}
