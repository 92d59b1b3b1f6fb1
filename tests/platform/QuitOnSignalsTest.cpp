#include "platform/QuitOnSignals.h"

#include "common/Testing.h"
#include <QTimer>

#include <csignal>

TEST(QuitOnSignals, SigintAndSigtermEndTheEventLoop)
{
    QuitOnSignals::install();
    for (int signal : {SIGTERM, SIGINT}) {
        QTimer::singleShot(0, [signal] { std::raise(signal); });
        QTimer timeout; // a loop the signal did not end fails instead of hanging
        timeout.callOnTimeout([] { QCoreApplication::exit(1); });
        timeout.start(10000);
        EXPECT_EQ(QCoreApplication::exec(), 0) << signal;
    }
    // Nothing left behind ends a later loop.
    QTimer::singleShot(50, [] { QCoreApplication::exit(7); });
    EXPECT_EQ(QCoreApplication::exec(), 7);
}
