// A save cut short by SIGKILL, at many moments: the file holds the old content or the new one,
// whole, every time.
#include "SavedStores.h"

#include "common/Testing.h"
#include <QProcess>

// Names the row in failure messages.
void PrintTo(const SavedStore& store, std::ostream* out) { *out << store.name; }

class KilledSaveTest : public ::testing::TestWithParam<SavedStore> {};

TEST_P(KilledSaveTest, LeavesTheOldOrTheNewContentWhole)
{
    const SavedStore& store = GetParam();
    QTemporaryDir dir;
    // What each content reads as after a save that ran to its end.
    QStringList whole;
    for (int generation : {0, 1}) {
        const QString clean = dir.filePath(QStringLiteral("clean %1").arg(generation));
        store.seed(clean);
        ASSERT_TRUE(store.save(clean, generation));
        whole << store.read(clean);
    }
    const QString path = dir.filePath(QStringLiteral("store"));
    store.seed(path);
    for (int kill = 0; kill < 60; ++kill) {
        QProcess saver;
        saver.start(QStringLiteral(STORE_SAVER), {QString::fromLatin1(store.name), path});
        ASSERT_TRUE(saver.waitForStarted(5000));
        // The first save must be whole before a kill may find a file there; and what an earlier
        // kill left (a lock, say) must not hold it up.
        for (int waited = 0; !saver.canReadLine() && saver.state() == QProcess::Running && waited < 10; ++waited)
            saver.waitForReadyRead(1000);
        ASSERT_EQ(saver.readLine(), "saved\n") << saver.readAllStandardError().constData();
        // Spread over the next few saves, so kills land at every stage of one.
        QThread::usleep(static_cast<unsigned long>((kill * 7919) % 20000));
        saver.kill();
        ASSERT_TRUE(saver.waitForFinished(5000));
        ASSERT_EQ(saver.exitStatus(), QProcess::CrashExit) << "still saving when killed";
        ASSERT_TRUE(whole.contains(store.read(path))) << "after kill " << kill;
    }
}

INSTANTIATE_TEST_SUITE_P(Stores, KilledSaveTest, ::testing::ValuesIn(savedStores()),
                         [](const ::testing::TestParamInfo<SavedStore>& info) { return std::string(info.param.name); });
