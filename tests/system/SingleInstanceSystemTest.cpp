// Two starts of the real program on the session's X server: the second hands its file to the first
// window and ends, and a run killed outright leaves a socket the next start takes over.
#include "system/DesktopSession.h"

#include <array>

namespace {

using namespace desktop;

// Windows of ours on the screen, whichever of the two tracks they show.
int shownTrackWindows()
{
    const QString ids = xdotool({"search", "--onlyvisible", "--name", "^(one|two)\\.wav$"});
    return ids.isEmpty() ? 0 : int(ids.split('\n').size());
}

} // namespace

TEST(SingleInstanceSystemTest, ASecondStartOpensItsFileInTheFirstWindowAndEndsAndAKilledRunsSocketIsTakenOver)
{
    if (!canDriveX())
        GTEST_SKIP() << "needs an X display and xdotool; run under scripts/test-session.sh";
    QTemporaryDir dir;
    const std::array files{dir.filePath(QStringLiteral("one.wav")), dir.filePath(QStringLiteral("two.wav"))};
    for (const QString& file : files)
        ASSERT_TRUE(fixtures::writeWav(file, fixtures::stereoSines(44100, 44100)));
    const QString runtime = dir.filePath(QStringLiteral("runtime"));
    QDir().mkpath(runtime);
    QFile::setPermissions(runtime, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("XDG_RUNTIME_DIR"), runtime);
    env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));

    QProcess first;
    const QString window = launchShowing(first, env, files[0], QStringLiteral("one.wav"));
    ASSERT_FALSE(window.isEmpty()) << "no window titled with the file's name";
    QProcess second;
    second.setProcessEnvironment(env);
    QElapsedTimer clock;
    clock.start();
    second.start(fixtures::builtProgram(QStringLiteral("lento")), {files[1]});
    ASSERT_TRUE(second.waitForFinished(10000));
    EXPECT_LT(clock.elapsed(), 1000) << "the second start ends at once";
    EXPECT_EQ(std::tuple(second.exitStatus(), second.exitCode()), std::tuple(QProcess::NormalExit, 0));
    EXPECT_EQ(shownWindowTitled(QStringLiteral("two.wav")), window) << "the first window opens the second's file";
    EXPECT_FALSE(first.waitForFinished(300)) << "the first still runs";
    EXPECT_EQ(shownTrackWindows(), 1);

    // Killed outright, the first leaves its socket; two starts close together then find it: one
    // takes it over and shows its window, the other hands over to that window before it is built.
    first.kill();
    ASSERT_TRUE(first.waitForFinished(5000));
    ASSERT_TRUE(QFileInfo::exists(runtime + QStringLiteral("/lento.socket")));
    std::array<QProcess, 2> starts;
    for (size_t i = 0; i < starts.size(); ++i) {
        starts[i].setProcessEnvironment(env);
        starts[i].start(fixtures::builtProgram(QStringLiteral("lento")), {files[i]});
    }
    int most = 0;
    for (int turn = 0; turn < 300 && starts[0].state() != QProcess::NotRunning && starts[1].state() != QProcess::NotRunning; ++turn) {
        starts[turn % 2].waitForFinished(20);
        most = std::max(most, shownTrackWindows());
    }
    EXPECT_LE(most, 1) << "no second window while the two start";
    const size_t ended = starts[0].state() == QProcess::NotRunning ? 0 : 1;
    ASSERT_EQ(starts[ended].state(), QProcess::NotRunning) << "one of the two ends";
    EXPECT_EQ(starts[ended].exitCode(), 0);
    EXPECT_FALSE(shownWindowTitled(QFileInfo(files[ended]).fileName()).isEmpty()) << "the file handed over is the one shown";
    EXPECT_FALSE(starts[1 - ended].waitForFinished(300)) << "the other still runs";
    EXPECT_EQ(shownTrackWindows(), 1);
    starts[1 - ended].terminate();
    starts[1 - ended].waitForFinished(5000);
}
