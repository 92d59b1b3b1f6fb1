#include "platform/MainQueue.h"

#include <QCoreApplication>
#include <QMetaObject>
#include <QThread>

#if defined(__SANITIZE_THREAD__)
#define LENTO_TSAN 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define LENTO_TSAN 1
#endif
#endif

#ifdef LENTO_TSAN
// Qt's event queue synchronises through futexes that ThreadSanitizer does not see, so the hand-over
// is told to it: what the poster did before posting happens before the work runs, and Qt's own
// handling of the posted call, on either thread, is not watched.
extern "C" {
void __tsan_acquire(void* address);
void __tsan_release(void* address);
void AnnotateIgnoreWritesBegin(const char* file, int line);
void AnnotateIgnoreWritesEnd(const char* file, int line);
}
namespace {
char handOver;
}
#endif

namespace MainQueue {

void post(std::function<void()> work)
{
    auto* app = QCoreApplication::instance();
    if (!app) {
        // Without an event loop (a command-line run that never started one) there is no later.
        work();
        return;
    }
#ifdef LENTO_TSAN
    __tsan_release(&handOver);
    AnnotateIgnoreWritesBegin(__FILE__, __LINE__);
    QMetaObject::invokeMethod(app, [work = std::move(work)] {
        __tsan_acquire(&handOver);
        work();
    }, Qt::QueuedConnection);
    AnnotateIgnoreWritesEnd(__FILE__, __LINE__);
#else
    QMetaObject::invokeMethod(app, std::move(work), Qt::QueuedConnection);
#endif
}

bool isMainThread()
{
    auto* app = QCoreApplication::instance();
    return !app || QThread::currentThread() == app->thread();
}

} // namespace MainQueue
