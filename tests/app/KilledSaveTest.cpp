// A save cut short by SIGKILL, at many moments: the file holds the old content or the new one,
// whole, every time.
#include "SavedStores.h"

#include "common/Testing.h"
#include <QProcess>

// Names the row in failure messages.
void PrintTo(const SavedStore& store, std::ostream* out) { *out << store.name; }

namespace {

constexpr int kKills = 60;

class KilledSaveTest : public ::testing::TestWithParam<SavedStore> {};

} // namespace

TEST_P(KilledSaveTest, LeavesTheOldOrTheNewContentWhole)
{
    const SavedStore& store = GetParam();
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("store"));
    store.seed(path);
    QElapsedTimer clock;
    clock.start();
    for (int kill = 0; kill < kKills; ++kill) {
        QProcess saver;
        saver.start(QStringLiteral(STORE_SAVER), {QString::fromLatin1(store.name), path});
        ASSERT_TRUE(saver.waitForStarted(5000));
        // The first save must be whole before a kill may find a file there; and what an earlier
        // kill left (a lock, say) must not hold it up.
        QElapsedTimer wait;
        wait.start();
        while (!saver.canReadLine() && saver.state() == QProcess::Running && wait.elapsed() < 10000)
            saver.waitForReadyRead(1000);
        ASSERT_EQ(saver.readLine(), "saved\n") << saver.readAllStandardError().constData();
        // Spread over the next few saves, so kills land at every stage of one.
        QThread::usleep(static_cast<unsigned long>((kill * 7919) % 20000));
        saver.kill();
        ASSERT_TRUE(saver.waitForFinished(5000));
        ASSERT_EQ(saver.exitStatus(), QProcess::CrashExit) << "still saving when killed";
        const QString why = store.check(path);
        ASSERT_TRUE(why.isEmpty()) << "after kill " << kill << ": " << why.toStdString();
    }
    RecordProperty("kills_ms", int(clock.elapsed()));
}

INSTANTIATE_TEST_SUITE_P(Stores, KilledSaveTest, ::testing::ValuesIn(savedStores()),
                         [](const ::testing::TestParamInfo<SavedStore>& info) { return std::string(info.param.name); });
