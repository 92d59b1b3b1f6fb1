#include "app/AppDelegate.h"
#include "app/ViewController.h"
#include "audio/AudioEngine.h"
#include "audio/VirtualOutput.h"
#include "common/AudioFixtures.h"
#include "common/LogCapture.h"
#include "library/FileBookmark.h"
#include "preferences/UserDefaults.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QMainWindow>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cmath>

namespace {

// A controller and delegate over a defaults file of their own, as the process entry makes them.
struct AppStartTest : ::testing::Test {
    QTemporaryDir dir;
    std::unique_ptr<UserDefaults> defaults;
    std::unique_ptr<ViewController> controller;
    std::unique_ptr<AppDelegate> delegate;
    QMainWindow window;

    void SetUp() override { start(); }

    void start()
    {
        delegate.reset();
        controller.reset();
        defaults = std::make_unique<UserDefaults>(dir.filePath("Lento.conf"));
        AppDelegate::registerStartDefaults(*defaults);
        controller = std::make_unique<ViewController>(
            *defaults, AudioEngine::Options{[] { return std::make_unique<VirtualOutput>(); },
                                            AudioGraph::Rendering::InOutputCallback, false});
        controller->viewDidLoad();
        delegate = std::make_unique<AppDelegate>(controller.get(), *defaults);
        window.setWindowTitle("Lento");
        delegate->setWindow(&window);
    }

    QString makeTrack(const QString& relativePath, int64_t frames = 4410)
    {
        const QString path = dir.filePath(relativePath);
        QDir().mkpath(QFileInfo(path).absolutePath());
        const auto signal = fixtures::synthesise(44100, 2, frames, [](int64_t f, int) {
            return float(0.25 * std::sin(0.05 * double(f)));
        });
        EXPECT_TRUE(fixtures::writeWav(path, signal));
        return path;
    }

    QString loadedPath() const { return controller->player()->fileURL().toLocalFile(); }

    // Opening runs on a worker; the steps after the read run on this thread when it ends.
    void waitForOpen()
    {
        QElapsedTimer timer;
        timer.start();
        while (controller->isOpening() && timer.elapsed() < 20000)
            QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    }

    bool openAndWait(const QString& path)
    {
        bool loaded = false;
        const auto connection = QObject::connect(controller.get(), &ViewController::openFinished,
                                                 [&](const QUrl&, bool ok) { loaded = ok; });
        const bool started = delegate->applicationOpenFile(path);
        waitForOpen();
        QObject::disconnect(connection);
        return started && loaded;
    }

    void launchAndWait()
    {
        delegate->applicationDidFinishLaunching();
        waitForOpen();
    }
};

} // namespace

TEST_F(AppStartTest, FirstStartWithNeitherKeyLoadsNothing)
{
    launchAndWait();
    EXPECT_FALSE(controller->audioLoaded());
    EXPECT_TRUE(controller->player()->fileURL().isEmpty());
    EXPECT_EQ(window.windowTitle(), "Lento");
    EXPECT_TRUE(defaults->boolForKey("ApplePersistenceIgnoreState"));
    EXPECT_FALSE(defaults->boolForKey("NSQuitAlwaysKeepsWindows"));
}

TEST_F(AppStartTest, LoadingRemembersTheTrackAndTheNextStartRestoresIt)
{
    const QString track = makeTrack("a/first.wav");
    controller->setCurrentTrackIndex(3);
    controller->setCurrentPlayingItemUUID("item");
    ASSERT_TRUE(openAndWait(track));
    EXPECT_TRUE(controller->audioLoaded());
    EXPECT_EQ(controller->currentTrackIndex(), ViewController::NotFound);
    EXPECT_TRUE(controller->currentPlayingItemUUID().isEmpty());
    EXPECT_FALSE(controller->player()->loop());
    EXPECT_EQ(window.windowTitle(), "first.wav");
    EXPECT_EQ(defaults->stringForKey("LastSongURL"), QUrl::fromLocalFile(track).toString());
    EXPECT_FALSE(defaults->dataForKey("LastSongBookmark").isEmpty());

    start();
    launchAndWait();
    EXPECT_TRUE(controller->audioLoaded());
    EXPECT_EQ(loadedPath(), track);
    EXPECT_EQ(window.windowTitle(), "first.wav");
}

TEST_F(AppStartTest, AStaleBookmarkFindsTheMovedFileAndIsRenewed)
{
    const QString track = makeTrack("album/take.wav");
    ASSERT_TRUE(openAndWait(track));
    const QByteArray before = defaults->dataForKey("LastSongBookmark");
    const QString moved = dir.filePath("other/take (practice).wav");
    QDir().mkpath(QFileInfo(moved).absolutePath());
    ASSERT_TRUE(QFile::rename(track, moved));

    start();
    launchAndWait();
    EXPECT_EQ(loadedPath(), moved);
    const QByteArray after = defaults->dataForKey("LastSongBookmark");
    EXPECT_NE(after, before);
    bool stale = true;
    QString error;
    EXPECT_EQ(FileBookmark::URLByResolvingBookmarkData(after, &stale, &error).toLocalFile(), moved);
    EXPECT_FALSE(stale) << "the renewed bookmark points straight at the new place";
}

TEST_F(AppStartTest, UnusableBookmarkFallsBackToTheURLString)
{
    const QString track = makeTrack("b/song.wav");
    const QString url = QUrl::fromLocalFile(track).toString();
    for (const QVariant& bookmark : {QVariant(QStringLiteral("not data")), QVariant(QByteArray())}) {
        defaults->setObject(bookmark, "LastSongBookmark");
        defaults->setObject(url, "LastSongURL");
        EXPECT_EQ(delegate->restoredLastTrackURL().toLocalFile(), track);
    }
}

TEST_F(AppStartTest, BookmarkOfAVanishedFileLogsAndTheURLStringWins)
{
    const QString gone = makeTrack("c/gone.wav");
    const QByteArray bookmark = FileBookmark::bookmarkDataFromURL(QUrl::fromLocalFile(gone));
    ASSERT_FALSE(bookmark.isEmpty());
    ASSERT_TRUE(QFile::remove(gone));
    const QString other = makeTrack("d/other.wav");
    defaults->setObject(bookmark, "LastSongBookmark");
    defaults->setObject(QUrl::fromLocalFile(other).toString(), "LastSongURL");

    LogCapture log;
    launchAndWait();
    EXPECT_EQ(loadedPath(), other);
    EXPECT_TRUE(log.anyStartsWith("Failed to resolve last-song bookmark: "));
}

TEST_F(AppStartTest, NothingExistingMeansNoTrackAndTheKeysStay)
{
    const QString gone = makeTrack("e/gone.wav");
    const QByteArray bookmark = FileBookmark::bookmarkDataFromURL(QUrl::fromLocalFile(gone));
    const QString url = QUrl::fromLocalFile(gone).toString();
    ASSERT_TRUE(QFile::remove(gone));
    defaults->setObject(bookmark, "LastSongBookmark");
    defaults->setObject(url, "LastSongURL");

    launchAndWait();
    EXPECT_FALSE(controller->audioLoaded());
    EXPECT_EQ(defaults->dataForKey("LastSongBookmark"), bookmark);
    EXPECT_EQ(defaults->stringForKey("LastSongURL"), url);
}

TEST_F(AppStartTest, AFailedLoadKeepsTheCurrentTrackTitleAndRememberedKeys)
{
    const QString track = makeTrack("f/keep.wav");
    ASSERT_TRUE(openAndWait(track));
    const QString url = defaults->stringForKey("LastSongURL");
    const QByteArray bookmark = defaults->dataForKey("LastSongBookmark");

    QFile junk(dir.filePath("f/junk.mp3"));
    ASSERT_TRUE(junk.open(QIODevice::WriteOnly));
    junk.write(QByteArray(4096, 'x'));
    junk.close();
    EXPECT_FALSE(openAndWait(junk.fileName()));
    EXPECT_EQ(loadedPath(), track);
    EXPECT_EQ(window.windowTitle(), "keep.wav");
    EXPECT_EQ(defaults->stringForKey("LastSongURL"), url);
    EXPECT_EQ(defaults->dataForKey("LastSongBookmark"), bookmark);
}
