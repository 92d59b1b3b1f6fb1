// One Lento per user: `lento FILE` while Lento runs hands FILE to the running window and ends at
// once; after a crash the next start takes over the socket left behind.
#include "system/DesktopSession.h"

#include <QProcess>

using namespace desktop;

TEST(SingleInstanceSystemTest, ASecondStartHandsItsFileOverAndAStaleSocketIsTakenOver)
{
    if (!canDriveX())
        GTEST_SKIP() << "needs an X display and xdotool; run under scripts/test-session.sh";
    QTemporaryDir dir;
    const QString first = dir.filePath(QStringLiteral("first take.wav"));
    const QString second = dir.filePath(QStringLiteral("second take.wav"));
    for (const QString& path : {first, second})
        ASSERT_TRUE(fixtures::writeWav(path, fixtures::stereoSines(44100, 44100)));
    // A runtime folder of this test's own, so no other Lento answers.
    const QString runtime = dir.filePath(QStringLiteral("runtime"));
    ASSERT_TRUE(QDir().mkpath(runtime));
    QFile::setPermissions(runtime, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("XDG_RUNTIME_DIR"), runtime);
    env.insert(QStringLiteral("SDL_AUDIODRIVER"), QStringLiteral("dummy"));
    env.insert(QStringLiteral("XDG_CONFIG_HOME"), dir.filePath(QStringLiteral("config")));

    QProcess running;
    ASSERT_FALSE(launchShowing(running, env, first, QStringLiteral("first take.wav")).isEmpty());

    QProcess again;
    QProcessEnvironment xcb = env;
    xcb.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
    again.setProcessEnvironment(xcb);
    QElapsedTimer clock;
    clock.start();
    again.start(fixtures::builtProgram(QStringLiteral("lento")), {second});
    ASSERT_TRUE(again.waitForFinished(10000));
    EXPECT_EQ(again.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(again.exitCode(), 0);
    EXPECT_LT(clock.elapsed(), 1000) << "it ends within a second";
    EXPECT_FALSE(shownWindowTitled(QStringLiteral("second take.wav")).isEmpty()) << "the running window opened it";
    EXPECT_EQ(running.state(), QProcess::Running);

    running.kill();
    ASSERT_TRUE(running.waitForFinished(5000));
    ASSERT_TRUE(QFile::exists(runtime + QStringLiteral("/lento.socket"))) << "a crash leaves its socket";
    QProcess next;
    EXPECT_FALSE(launchShowing(next, env, first, QStringLiteral("first take.wav")).isEmpty())
        << "the next start is a window of its own";
    next.kill();
    next.waitForFinished(5000);
}
