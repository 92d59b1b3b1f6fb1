// Plays through the engine's render thread into a paced output while the main thread sets ranges,
// stops, pauses and moves every parameter, and counts heap use on the render and output threads
// (known by their names) through the C allocator, which operator new and libraries such as Rubber
// Band call (glibc lets a program put its own malloc in front of the library's).
// Under AddressSanitizer or ThreadSanitizer the allocator is the sanitizer's: the hooks are left
// out there and these tests skip.
#include "EngineHarness.h"

#include <atomic>
#include <cerrno>
#include <cstring>
#include <pthread.h>
#include <thread>

static std::atomic<long> g_realTimeHeapUse{0};

#if !LENTO_SANITIZER_OWNS_THE_HEAP

extern "C" {
void* __libc_malloc(std::size_t);
void* __libc_calloc(std::size_t, std::size_t);
void* __libc_realloc(void*, std::size_t);
void* __libc_memalign(std::size_t, std::size_t);
void __libc_free(void*);
}

namespace {

// Asked at every use of the heap: a thread takes such a name once started and gives it up before
// its own teardown.
bool onRealTimeThread()
{
    char name[16] = {};
    pthread_getname_np(pthread_self(), name, sizeof name);
    return std::strcmp(name, "lento-render") == 0 || std::strcmp(name, "lento-output") == 0;
}

void countMalloc()
{
    if (onRealTimeThread())
        g_realTimeHeapUse.fetch_add(1, std::memory_order_relaxed);
}

} // namespace

extern "C" {
void* malloc(std::size_t n) { return countMalloc(), __libc_malloc(n); }
void* calloc(std::size_t count, std::size_t n) { return countMalloc(), __libc_calloc(count, n); }
void* realloc(void* p, std::size_t n) { return countMalloc(), __libc_realloc(p, n); }
void* aligned_alloc(std::size_t alignment, std::size_t n) { return countMalloc(), __libc_memalign(alignment, n); }
void* memalign(std::size_t alignment, std::size_t n) { return countMalloc(), __libc_memalign(alignment, n); }
int posix_memalign(void** p, std::size_t alignment, std::size_t n)
{
    countMalloc();
    *p = __libc_memalign(alignment, n);
    return *p ? 0 : ENOMEM;
}
void free(void* p)
{
    if (p)
        countMalloc();
    __libc_free(p);
}
}

#endif

namespace {

TEST(RealTimeRule, theRenderAndOutputThreadsNeverTouchTheHeap)
{
    if (LENTO_SANITIZER_OWNS_THE_HEAP)
        GTEST_SKIP() << "the sanitizer owns the allocator here, so the heap is not watched";
    // The hook sees the heap on a thread of such a name, and only there.
    long before = g_realTimeHeapUse.load();
    std::thread([] {
        pthread_setname_np(pthread_self(), "lento-render");
        // Called directly: a new-expression may be optimised away.
        ::operator delete(::operator new(24));
        void* q = nullptr;
        if (posix_memalign(&q, 64, 100) == 0)
            free(q);
        pthread_setname_np(pthread_self(), "lento-ended");
    }).join();
    ::operator delete(::operator new(24));
    ASSERT_EQ(g_realTimeHeapUse.load() - before, 4);

    EngineHarness h(EngineHarness::pacedOutput());
    AudioEngine& engine = h.engine;
    unsigned seed = 7;
    ASSERT_TRUE(h.load(fixtures::synthesise(44100, 2, 4 * 44100, [&](int64_t, int) {
        seed = seed * 1664525u + 1013904223u;
        return float(seed >> 8) / float(1u << 24) - 0.5f;
    }), QStringLiteral("noise.wav")));
    before = g_realTimeHeapUse.load();
    const auto until = std::chrono::steady_clock::now() + std::chrono::milliseconds(2000);
    for (int step = 0; std::chrono::steady_clock::now() < until; ++step) {
        if (step % 6 == 0 || step % 6 == 3) { // a loop with a head, as a click inside a selection makes; the track's end once
            engine.stop();
            engine.setLoop(step % 6 == 0);
            step % 6 ? engine.fillBufferFrom(0.9f, 1.0f, 0.9f) : engine.fillBufferFrom(0.2f, 0.3f, 0.25f);
        } else if (step % 6 == 1) {
            engine.setSpeed(0.25f + 0.05f * float(step % 25));
            engine.setPitch(-1200.0f + 97.0f * float(step % 25));
            engine.pitchEnable(step % 4 != 1);
        } else if (step % 6 == 2) {
            engine.setFilter(float(100 + 37 * step % 9000));
            engine.filterEnable(step % 4 < 2);
            engine.setVolume(float(step % 10) / 10.0f);
            step % 3 ? engine.soloLeft(true) : engine.soloRight(step % 2);
        } else { // pause and resume, which stop and start both threads
            engine.playPause();
        }
        if (!engine.isPlaying() && step % 6 < 4)
            engine.playPause();
        EngineHarness::runFor(15);
    }
    engine.stop();
    EXPECT_GT(h.output().framesPulled(), 40 * 512);
    EXPECT_EQ(g_realTimeHeapUse.load() - before, 0);
}

} // namespace
