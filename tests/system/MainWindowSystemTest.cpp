// The real program on a real X server with no sound server and no session bus at all: `lento FILE`
// shows its window titled with the file's name, drawn in the theme rather than blank; Play ends
// nothing; a user's keys open and export through Qt's own dialogs, and closing the window ends the program.
#include "system/DesktopSession.h"

#include <QImage>
#include <QSet>
#include <QSettings>

using namespace desktop;

TEST(MainWindowSystemTest, WithNoSoundServerLentoShowsItsWindowPlayEndsNothingAndKeysOpenExportAndCloseIt)
{
    if (!canDriveX())
        GTEST_SKIP() << "needs an X display and xdotool; run under scripts/test-session.sh";

    QTemporaryDir dir;
    // The open panel starts beside the first track: the typed one lies elsewhere, as a user's usually does.
    ASSERT_TRUE(QDir(dir.path()).mkdir(QStringLiteral("start")));
    const QString first = dir.filePath(QStringLiteral("start/system check.wav"));
    const QString typed = dir.filePath(QStringLiteral("typed path.wav"));
    const QString exported = dir.filePath(QStringLiteral("range.wav"));
    const int64_t frames = 44100 * 3;
    ASSERT_TRUE(fixtures::writeWav(first, fixtures::stereoSines(44100, 44100 * 4))
                && fixtures::writeWav(typed, fixtures::stereoSines(44100, frames)));
    // The program's settings land in this test's own configuration folder.
    const QString settings = qEnvironmentVariable("XDG_CONFIG_HOME") + QStringLiteral("/Lento/Lento.conf");
    QFile::remove(settings);
    // No server to find: a runtime folder without sockets, sound and session bus addresses that
    // lead nowhere, and SDL left to choose its driver as on a user's machine.
    const QString runtime = dir.filePath(QStringLiteral("runtime"));
    QDir().mkpath(runtime);
    QFile::setPermissions(runtime, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("XDG_RUNTIME_DIR"), runtime);
    env.insert(QStringLiteral("PULSE_SERVER"), QStringLiteral("unix:") + dir.filePath(QStringLiteral("no-server")));
    env.remove(QStringLiteral("SDL_AUDIODRIVER"));
    env.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), QStringLiteral("unix:path=") + dir.filePath(QStringLiteral("no-bus")));

    QProcess lento;
    const QString main = launchShowing(lento, env, first, QStringLiteral("system check.wav"));
    ASSERT_FALSE(main.isEmpty()) << "no window titled with the file's name";
    QThread::msleep(700); // one more paint after the title changed
    QDir().mkpath(QStringLiteral(LENTO_ARTIFACTS_DIR));
    const QString shot = QStringLiteral(LENTO_ARTIFACTS_DIR "/main-window.png");
    ASSERT_EQ(fixtures::runProgram(QStringLiteral("import"), {"-window", "root", shot}, nullptr, nullptr, 30000), 0);
    // Enough colours to be a drawn window, and a good part of the screen in the theme's background.
    const QImage image(shot);
    QSet<QRgb> colours;
    int themed = 0;
    for (int y = 0; y < image.height(); y += 2) {
        for (int x = 0; x < image.width(); x += 2) {
            const QRgb c = image.pixel(x, y);
            colours.insert(c);
            themed += std::abs(qRed(c) - 40) <= 2 && std::abs(qGreen(c) - 53) <= 2 && std::abs(qBlue(c) - 64) <= 2;
        }
    }
    EXPECT_GE(colours.size(), 16) << "the screenshot is blank";
    EXPECT_GT(themed, image.width() * image.height() / 40) << "the theme's background covers a good part";
    keysTo(main, {"key", "--clearmodifiers", "ctrl+p"});
    EXPECT_FALSE(lento.waitForFinished(1000)) << "Play with nowhere to play ends nothing";

    keysTo(main, {"key", "--clearmodifiers", "ctrl+o"});
    const QString openPanel = shownWindowTitled(QStringLiteral("Open"));
    ASSERT_FALSE(openPanel.isEmpty()) << "Ctrl+O shows the open panel, the window still answers";
    keysTo(openPanel, {"type", "--delay", "15", typed});
    xdotool({"key", "Return"});
    EXPECT_EQ(shownWindowTitled(QStringLiteral("typed path.wav")), main) << "the title follows the opened file";

    keysTo(main, {"key", "--clearmodifiers", "ctrl+shift+s"});
    const QString savePanel = shownWindowTitled(QStringLiteral("Export"));
    ASSERT_FALSE(savePanel.isEmpty()) << "Ctrl+Shift+S shows the save panel";
    keysTo(savePanel, {"key", "--clearmodifiers", "ctrl+a"});
    keysTo(savePanel, {"type", "--delay", "15", exported});
    xdotool({"key", "Return"});
    fixtures::Signal written;
    waitUntil([&] { return fixtures::readSoundFile(exported, written) && written.frames() == frames; }, 30000);
    EXPECT_EQ(written.frames(), frames) << "the whole track is written";
    EXPECT_EQ(written.channels, 2);

    // The export's sheet goes once the file is complete; until then it holds the keys.
    waitUntil([] { return shownWindowTitled(QStringLiteral("Export"), 0).isEmpty(); }, 10000);
    // Ctrl+W closes the only window, and with it the program.
    keysTo(main, {"key", "--clearmodifiers", "ctrl+w"});
    ASSERT_TRUE(lento.waitForFinished(5000)) << "closing the last window ends the program";
    EXPECT_EQ(std::tuple(lento.exitStatus(), lento.exitCode()), std::tuple(QProcess::NormalExit, 0));
    EXPECT_EQ(QUrl(QSettings(settings, QSettings::IniFormat).value(QStringLiteral("LastSongURL")).toString()).toLocalFile(), typed);

    // The command line exports without a sound server too.
    QProcess exporting;
    exporting.setProcessEnvironment(env);
    exporting.start(fixtures::builtProgram(QStringLiteral("lento")), {"--export", typed, "-o", exported, "--speed", "0.5"});
    ASSERT_TRUE(exporting.waitForFinished(60000) && exporting.exitCode() == 0) << exporting.readAllStandardError().constData();
    ASSERT_TRUE(fixtures::readSoundFile(exported, written));
    EXPECT_EQ(written.frames(), 2 * frames) << "the track at half speed";
}
