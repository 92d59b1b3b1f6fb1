#include "WindowFixture.h"

#include "app/OpenProgressBar.h"
#include "app/TrackOpener.h"
#include "platform/Alerts.h"

#include <QLabel>
#include <QMenu>
#include <QPushButton>
#include <QTimer>

#include <sndfile.h>

#include <iostream>
#include <vector>

namespace {

// A long 44.1 kHz stereo 16-bit WAV, written a second at a time from one precomputed second, so
// an hour costs little more than the disk writes.
bool writeLongWav(const QString& path, int seconds)
{
    SF_INFO info{};
    info.samplerate = 44100;
    info.channels = 2;
    info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    SNDFILE* file = sf_open(path.toLocal8Bit().constData(), SFM_WRITE, &info);
    if (!file)
        return false;
    std::vector<short> second(44100 * 2);
    for (size_t i = 0; i < 44100; ++i) {
        second[2 * i] = short(6000.0 * std::sin(2.0 * M_PI * 220.0 * double(i) / 44100.0));
        second[2 * i + 1] = short(6000.0 * std::sin(2.0 * M_PI * 330.0 * double(i) / 44100.0));
    }
    bool ok = true;
    for (int s = 0; s < seconds && ok; ++s)
        ok = sf_writef_short(file, second.data(), 44100) == 44100;
    return sf_close(file) == 0 && ok;
}

// Longest pause between the callbacks of a 10 ms timer: how long the window could not react.
struct GapMeter {
    QTimer timer;
    QElapsedTimer clock;
    qint64 last = 0;
    qint64 longest = 0;

    GapMeter()
    {
        timer.setInterval(10);
        timer.setTimerType(Qt::PreciseTimer);
        QObject::connect(&timer, &QTimer::timeout, [this] {
            const qint64 now = clock.elapsed();
            longest = std::max(longest, now - last);
            last = now;
        });
    }
    void start()
    {
        longest = 0;
        clock.start();
        last = 0;
        timer.start();
    }
    qint64 stop()
    {
        timer.stop();
        return std::max(longest, clock.elapsed() - last);
    }
};

struct OpenWithoutFreezingTest : WindowFixture {};

} // namespace

TEST_F(OpenWithoutFreezingTest, AnHourLongFileOpensWhileTheWindowKeepsReactingAndACancelChangesNothing)
{
    const QString hour = dir.filePath("hour.wav");
    const QString other = dir.filePath("twenty minutes.wav");
    ASSERT_TRUE(writeLongWav(hour, 3600));
    ASSERT_TRUE(writeLongWav(other, 1200));

    QList<QPair<QUrl, bool>> finished;
    QObject::connect(vc.get(), &ViewController::openFinished, [&](const QUrl& url, bool loaded) {
        finished.append({url, loaded});
    });
    bool barShown = false;
    QObject::connect(vc->opener(), &TrackOpener::progressShouldShow, [&] {
        QCoreApplication::processEvents();
        barShown = vc->openProgressBar()->isVisible();
    });

    GapMeter gaps;
    QElapsedTimer openClock;
    gaps.start();
    openClock.start();
    vc->openAudioFromURL(QUrl::fromLocalFile(hour));
    ASSERT_TRUE(waitFor([&] { return !vc->isOpening(); }, 300000));
    const qint64 openMs = openClock.elapsed();
    const qint64 openGap = gaps.stop();
    std::cout << "[ figures ] hour-long open: " << openMs << " ms, longest event gap " << openGap << " ms\n";
    RecordProperty("open_ms", int(openMs));
    RecordProperty("open_longest_gap_ms", int(openGap));

    ASSERT_EQ(finished.size(), 1);
    EXPECT_TRUE(finished.first().second);
    EXPECT_LE(openGap, 100);
    EXPECT_TRUE(barShown) << "a read longer than 300 ms shows its progress";
    EXPECT_FALSE(vc->openProgressBar()->isVisible());
    EXPECT_NEAR(vc->player()->duration(), 3600.0, 0.01);
    EXPECT_EQ(window->windowTitle(), "hour.wav");
    EXPECT_EQ(vc->durationLabel()->text(), "60:00");

    // A second open, cancelled half-way from the bar's button.
    bool cancelled = false;
    const auto connection = QObject::connect(vc->opener(), &TrackOpener::progressChanged, [&](double fraction) {
        if (cancelled || fraction < 0.5)
            return;
        cancelled = true;
        QPushButton* cancel = vc->openProgressBar()->cancelButton();
        if (cancel->isVisible())
            QTest::mouseClick(cancel, Qt::LeftButton);
        else
            vc->cancelOpen();
    });
    gaps.start();
    vc->openAudioFromURL(QUrl::fromLocalFile(other));
    ASSERT_TRUE(waitFor([&] { return !vc->isOpening(); }, 300000));
    QObject::disconnect(connection);
    const qint64 cancelGap = gaps.stop();
    std::cout << "[ figures ] cancelled open: longest event gap " << cancelGap << " ms\n";
    EXPECT_TRUE(cancelled);
    EXPECT_LE(cancelGap, 100);
    EXPECT_EQ(finished.size(), 1) << "a cancelled open reports nothing";
    EXPECT_EQ(vc->player()->fileURL().toLocalFile(), hour);
    EXPECT_NEAR(vc->player()->duration(), 3600.0, 0.01);
    EXPECT_EQ(window->windowTitle(), "hour.wav");
    EXPECT_EQ(vc->recentDocuments().value(0), hour);
    EXPECT_FALSE(vc->openProgressBar()->isVisible());

    // The hour stays current and plays.
    vc->play();
    ASSERT_TRUE(vc->player()->isPlaying());
    static_cast<VirtualOutput&>(vc->player()->graph()->output()).pull(44100);
    EXPECT_GT(vc->player()->currentTime(), 0.5);
}

TEST_F(OpenWithoutFreezingTest, ASecondOpenReplacesTheFirstAndARefusedFileKeepsTheTrack)
{
    const QString first = makeTrack("first.wav", 2.0);
    const QString second = makeTrack("second.wav", 2.0);
    ASSERT_TRUE(load(first));

    QList<QPair<QUrl, bool>> finished;
    QObject::connect(vc.get(), &ViewController::openFinished, [&](const QUrl& url, bool loaded) {
        finished.append({url, loaded});
    });
    const QString missing = dir.filePath("missing.wav");
    QFile junk(dir.filePath("junk.mp3"));
    ASSERT_TRUE(junk.open(QIODevice::WriteOnly));
    junk.write(QByteArray(8192, 'x'));
    junk.close();

    vc->openAudioFromURL(QUrl::fromLocalFile(junk.fileName()));
    ASSERT_TRUE(waitFor([&] { return !vc->isOpening(); }));
    ASSERT_EQ(finished.size(), 1);
    EXPECT_FALSE(finished.first().second);
    EXPECT_EQ(vc->player()->fileURL().toLocalFile(), first);
    EXPECT_EQ(window->windowTitle(), "first.wav");
    EXPECT_FALSE(delegate->applicationOpenFile(missing));

    finished.clear();
    vc->openAudioFromURL(QUrl::fromLocalFile(first));
    vc->openAudioFromURL(QUrl::fromLocalFile(second));
    ASSERT_TRUE(waitFor([&] { return !vc->isOpening(); }));
    ASSERT_EQ(finished.size(), 1) << "only the last open ends";
    EXPECT_EQ(finished.first().first.toLocalFile(), second);
    EXPECT_EQ(vc->player()->fileURL().toLocalFile(), second);
    EXPECT_EQ(window->windowTitle(), "second.wav");
    EXPECT_EQ(vc->recentDocuments(), QStringList({second, first}));
    QMenu* recent = delegate->openRecentMenu();
    ASSERT_GE(recent->actions().size(), 2);
    EXPECT_EQ(recent->actions().first()->text(), "second.wav");
}

TEST_F(OpenWithoutFreezingTest, AFileOverFourHoursRaisesItsAlertOnceAndKeepsTheTrack)
{
    const QString first = makeTrack("first.wav", 2.0);
    ASSERT_TRUE(load(first));
    // A 100 Hz mono file keeps four hours and a frame small.
    const QString over = dir.filePath("over.wav");
    ASSERT_TRUE(fixtures::writeWav(over, fixtures::synthesise(100, 1, 1440001, [](int64_t, int) { return 0.1f; })));

    QList<Alert> alerts;
    Alerts::setPresenter([&](const Alert& alert) {
        alerts << alert;
        return Alerts::FirstButtonReturn;
    });
    bool loaded = true;
    QObject::connect(vc.get(), &ViewController::openFinished, [&](const QUrl&, bool ok) { loaded = ok; });
    ASSERT_TRUE(delegate->applicationOpenFile(over));
    ASSERT_TRUE(waitFor([&] { return !vc->isOpening(); }));
    Alerts::setPresenter({});

    EXPECT_FALSE(loaded);
    ASSERT_EQ(alerts.size(), 1);
    EXPECT_EQ(alerts.first().messageText, "Audio file too large!");
    EXPECT_EQ(vc->player()->fileURL().toLocalFile(), first);
    EXPECT_EQ(window->windowTitle(), "first.wav");
    EXPECT_EQ(vc->recentDocuments(), QStringList({first}));
}
