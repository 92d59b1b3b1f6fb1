// The hand-over between two starts of Lento, in one process: the second start blocks as it does
// in its own, while the running one answers from its event loop.
#include "app/SingleInstance.h"

#include "common/Testing.h"

#include <future>

namespace {

bool handOverWhileRunning(const QString& file)
{
    auto answer = std::async(std::launch::async, [file] { return SingleInstance::handOver(file, 2000); });
    while (answer.wait_for(std::chrono::milliseconds(5)) != std::future_status::ready)
        QCoreApplication::processEvents();
    return answer.get() == SingleInstance::Answer::Taken;
}

} // namespace

TEST(SingleInstance, ASecondStartsFileReachesTheRunningOneAndACrashedRunsSocketIsTakenOver)
{
    // A runtime folder of the test's own, so that no other Lento answers.
    QTemporaryDir runtime;
    QFile::setPermissions(runtime.path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    const QByteArray saved = qgetenv("XDG_RUNTIME_DIR");
    qputenv("XDG_RUNTIME_DIR", QFile::encodeName(runtime.path()));
    EXPECT_EQ(SingleInstance::handOver(QStringLiteral("a.wav"), 200), SingleInstance::Answer::NobodyRuns);
    QStringList opened;
    const auto open = [&](const QString& file) { opened << file; };
    {
        SingleInstance running;
        ASSERT_EQ(running.claim(QStringLiteral("a.wav")), SingleInstance::Answer::NobodyRuns);
        // Handed over while the first window is still being built: it opens once the window is ready.
        EXPECT_TRUE(handOverWhileRunning(QStringLiteral("take 1.wav")));
        running.setOpener(open);
        EXPECT_TRUE(handOverWhileRunning(QString())) << "a start without a file only raises the window";
        EXPECT_EQ(opened, (QStringList{QDir::current().absoluteFilePath(QStringLiteral("take 1.wav")), QString()}));
    }
    // What a crashed run leaves where the socket was answers nobody and is taken over.
    ASSERT_TRUE(fixtures::writeFile(SingleInstance::socketPath(), "left by a crash"));
    SingleInstance next;
    ASSERT_EQ(next.claim(QString()), SingleInstance::Answer::NobodyRuns);
    next.setOpener(open);
    ASSERT_TRUE(handOverWhileRunning(QStringLiteral("/music/b.wav")));
    EXPECT_EQ(opened.last(), QStringLiteral("/music/b.wav"));
    qputenv("XDG_RUNTIME_DIR", saved);
}
