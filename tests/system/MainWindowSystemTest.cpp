// The real program on a real X server: `lento FILE` shows its window titled with the file's name,
// and what it draws is a window, not a blank screen.
#include "common/AudioFixtures.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QImage>
#include <QProcess>
#include <QSet>
#include <QTemporaryDir>
#include <QThread>

#include <gtest/gtest.h>

#include <cmath>

namespace {

// The windows the X server knows, one line each, with their titles in quotes.
QString windowTree()
{
    QByteArray out;
    fixtures::runProgram(QStringLiteral("xwininfo"), {QStringLiteral("-root"), QStringLiteral("-tree")}, &out,
                         nullptr, 10000);
    return QString::fromLocal8Bit(out);
}

bool waitForWindowTitled(const QString& title, int timeoutMs)
{
    const QString quoted = QLatin1Char('"') + title + QLatin1Char('"');
    QElapsedTimer clock;
    clock.start();
    while (clock.elapsed() < timeoutMs) {
        if (windowTree().contains(quoted))
            return true;
        QThread::msleep(200);
    }
    return false;
}

} // namespace

TEST(MainWindowSystemTest, LentoWithAFileShowsItsWindowTitledWithTheName)
{
    const QByteArray display = qgetenv("DISPLAY");
    if (display.isEmpty())
        GTEST_SKIP() << "no X display; run under scripts/test-session.sh";
    QByteArray probe;
    if (fixtures::runProgram(QStringLiteral("xwininfo"), {QStringLiteral("-root")}, &probe, nullptr, 5000) != 0)
        GTEST_SKIP() << "xwininfo can not reach the display";

    QTemporaryDir dir;
    const QString track = dir.filePath(QStringLiteral("system check.wav"));
    ASSERT_TRUE(fixtures::writeWav(track, fixtures::stereoSines(44100, 44100 * 4)));

    QProcess lento;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    // This test program runs offscreen; the program under test must reach the X server.
    env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
    // The window is what is checked here; a missing sound server must not keep the track out.
    if (!env.contains(QStringLiteral("PULSE_SERVER")) && !QFile::exists(env.value("XDG_RUNTIME_DIR") + "/pulse/native"))
        env.insert(QStringLiteral("SDL_AUDIODRIVER"), QStringLiteral("dummy"));
    lento.setProcessEnvironment(env);
    lento.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    lento.start(fixtures::builtProgram(QStringLiteral("lento")), {track});
    ASSERT_TRUE(lento.waitForStarted(10000));

    const bool shown = waitForWindowTitled(QStringLiteral("system check.wav"), 30000);
    QThread::msleep(700); // one more paint after the title changed

    const QString artifacts = QStringLiteral(LENTO_ARTIFACTS_DIR);
    QDir().mkpath(artifacts);
    const QString shot = artifacts + QStringLiteral("/main-window.png");
    QFile::remove(shot);
    const int importStatus = fixtures::runProgram(QStringLiteral("import"),
                                                  {QStringLiteral("-window"), QStringLiteral("root"), shot}, nullptr,
                                                  nullptr, 30000);
    lento.terminate();
    if (!lento.waitForFinished(5000)) {
        lento.kill();
        lento.waitForFinished(5000);
    }

    ASSERT_TRUE(shown) << "no window titled with the file's name; windows:\n" << windowTree().toStdString();
    ASSERT_EQ(importStatus, 0);
    QImage image(shot);
    ASSERT_FALSE(image.isNull());

    QSet<QRgb> colours;
    int themed = 0;
    const QColor background = QColor::fromRgbF(0.157f, 0.208f, 0.251f);
    for (int y = 0; y < image.height(); y += 2) {
        for (int x = 0; x < image.width(); x += 2) {
            const QColor c = image.pixelColor(x, y);
            colours.insert(c.rgb());
            themed += std::abs(c.red() - background.red()) <= 2 && std::abs(c.green() - background.green()) <= 2
                && std::abs(c.blue() - background.blue()) <= 2;
        }
    }
    EXPECT_GE(colours.size(), 16) << "the screenshot is blank";
    EXPECT_GT(themed, image.width() * image.height() / 4 / 10) << "the theme's background covers a good part";
}
