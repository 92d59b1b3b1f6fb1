#include "audio/RealtimePriority.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCall>

#include <pthread.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

constexpr int kPriority = 10; // low among real-time threads: below the sound server's own

void askRtkit(pid_t tid)
{
    // rtkit serves only processes that bound their real-time CPU time.
    rlimit limit{200000, 200000};
    if (::setrlimit(RLIMIT_RTTIME, &limit) != 0)
        return;
    QDBusConnection bus = QDBusConnection::systemBus();
    if (!bus.isConnected())
        return;
    QDBusMessage call = QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.RealtimeKit1"),
                                                       QStringLiteral("/org/freedesktop/RealtimeKit1"),
                                                       QStringLiteral("org.freedesktop.RealtimeKit1"),
                                                       QStringLiteral("MakeThreadRealtime"));
    call << quint64(tid) << quint32(kPriority);
    bus.asyncCall(call, 500); // the answer does not matter
}

} // namespace

void RealtimePriority::request(pthread_t thread, pid_t tid)
{
    sched_param param{};
    param.sched_priority = kPriority;
    if (pthread_setschedparam(thread, SCHED_FIFO | SCHED_RESET_ON_FORK, &param) == 0 || tid <= 0)
        return;
    askRtkit(tid);
}

pid_t RealtimePriority::currentThreadId()
{
    return pid_t(::syscall(SYS_gettid));
}
