#include "WindowFixture.h"

#include "app/OpenProgressBar.h"
#include "app/TrackOpener.h"

using OpenWithoutFreezingTest = WindowFixture;

TEST_F(OpenWithoutFreezingTest, AnHourLongFileOpensWhileTheWindowKeepsReactingACancelOrARefusalChangesNothingAndTheLastOfTwoOpensWins)
{
    QList<QPair<QUrl, bool>> finished;
    QObject::connect(vc.get(), &ViewController::openFinished, [&](const QUrl& url, bool loaded) { finished.append({url, loaded}); });
    // Opens `path` and waits for the end; the longest time the event loop could not run, the open
    // call itself included: how long the window could not react.
    const auto openMeasuringTheLongestGap = [&](const QString& path) {
        QElapsedTimer clock;
        clock.start();
        vc->openAudioFromURL(QUrl::fromLocalFile(path));
        qint64 last = 0, longest = 0;
        EXPECT_TRUE(waitFor([&] {
            longest = std::max(longest, clock.elapsed() - last);
            last = clock.elapsed();
            return !vc->isOpening();
        }, 300000));
        return longest;
    };
    const QString hour = dir.filePath("hour.wav");
    // A second looped to an hour, at little more than the cost of the disk writes.
    ASSERT_TRUE(fixtures::ffmpegConvert(makeTrack("a second.wav", 1.0), hour, {"-af", "aloop=loop=3599:size=44100"}));
    bool barShown = false;
    QObject::connect(vc->opener(), &TrackOpener::progressShouldShow, [&] {
        QCoreApplication::processEvents();
        barShown = vc->openProgressBar()->isVisible();
    });

    const qint64 openGap = openMeasuringTheLongestGap(hour);
    RecordProperty("open_longest_gap_ms", int(openGap));
    EXPECT_LE(openGap, timing::scaled(100));
    ASSERT_EQ(finished, (QList<QPair<QUrl, bool>>{{QUrl::fromLocalFile(hour), true}}));
    EXPECT_TRUE(barShown) << "a read longer than 300 ms shows its progress";
    EXPECT_EQ(vc->durationLabel()->text(), "60:00");

    // The same file opened again, cancelled half-way from the bar's button.
    bool cancelled = false;
    QObject::connect(vc->opener(), &TrackOpener::progressChanged, [&](double fraction) {
        if (cancelled || fraction < 0.5)
            return;
        cancelled = true;
        QPushButton* cancel = vc->openProgressBar()->cancelButton();
        cancel->isVisible() ? QTest::mouseClick(cancel, Qt::LeftButton) : vc->cancelOpen();
    });
    EXPECT_LE(openMeasuringTheLongestGap(hour), timing::scaled(100));
    EXPECT_TRUE(cancelled);
    EXPECT_EQ(finished.size(), 1) << "a cancelled open reports nothing";
    EXPECT_FALSE(vc->openProgressBar()->isVisible());

    // The hour stays open and plays.
    vc->play();
    output().pull(44100);
    EXPECT_GT(vc->player()->currentTime(), 0.5);

    // A refused file leaves it open.
    const QString junk = dir.filePath("junk.mp3");
    ASSERT_TRUE(fixtures::writeFile(junk, QByteArray(8192, 'x')));
    ASSERT_TRUE(delegate->applicationOpenFile(junk));
    ASSERT_TRUE(opened());
    EXPECT_EQ(finished.last(), qMakePair(QUrl::fromLocalFile(junk), false));
    EXPECT_EQ(window->windowTitle(), "hour.wav");
    EXPECT_FALSE(delegate->applicationOpenFile(dir.filePath("missing.wav")));

    // A second open while the hour is read again replaces it.
    const QString second = makeTrack("second.wav", 2.0);
    finished.clear();
    LogCapture log;
    vc->openAudioFromURL(QUrl::fromLocalFile(hour));
    vc->openAudioFromURL(QUrl::fromLocalFile(second));
    ASSERT_TRUE(opened());
    EXPECT_EQ(finished, (QList<QPair<QUrl, bool>>{{QUrl::fromLocalFile(second), true}})) << "only the last open ends";
    EXPECT_TRUE(log.contains("Decoding of audio file " + QDir::toNativeSeparators(hour) + " was cancelled"))
        << "the first read stops at once";

    // File ▸ Open Recent: the newest first, once each, each item opening its file.
    QMenu* recent = delegate->openRecentMenu();
    ASSERT_EQ(recent->actions().size(), 4) << "two files, a separator and Clear Menu";
    EXPECT_EQ(recent->actions().first()->text(), "second.wav");
    recent->actions().at(1)->trigger();
    ASSERT_TRUE(opened());
    EXPECT_EQ(window->windowTitle(), "hour.wav");
    recent->actions().last()->trigger();
    ASSERT_EQ(recent->actions().size(), 1);
    EXPECT_FALSE(recent->actions().first()->isEnabled()) << "only a disabled Clear Menu is left";
}
