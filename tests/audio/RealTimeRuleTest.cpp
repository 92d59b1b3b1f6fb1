// Runs the whole graph on a render thread and a device-like consumer thread while the main
// thread schedules, seeks and moves every parameter, and counts heap use on those two threads:
// through operator new, and through the C allocator, which libraries such as Rubber Band call
// directly (glibc lets a program put its own malloc in front of the library's).
#include "audio/AudioRing.h"
#include "audio/Equalizer.h"
#include "audio/MatrixMixer.h"
#include "audio/PlayerNode.h"
#include "audio/TimePitchStage.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cerrno>
#include <cstdlib>
#include <new>
#include <thread>

extern "C" {
void* __libc_malloc(std::size_t);
void* __libc_memalign(std::size_t, std::size_t);
void __libc_free(void*);
}

namespace {

thread_local bool t_realTime = false;
std::atomic<long> g_realTimeAllocations{0};
std::atomic<long> g_realTimeFrees{0};
std::atomic<long> g_realTimeMallocs{0};

void countMalloc()
{
    if (t_realTime)
        g_realTimeMallocs.fetch_add(1, std::memory_order_relaxed);
}

void* allocate(std::size_t n, std::size_t alignment = 0)
{
    if (t_realTime)
        g_realTimeAllocations.fetch_add(1, std::memory_order_relaxed);
    n = n ? n : 1;
    void* p = alignment ? __libc_memalign(alignment, n) : __libc_malloc(n);
    if (!p)
        throw std::bad_alloc();
    return p;
}

void release(void* p) noexcept
{
    if (p && t_realTime)
        g_realTimeFrees.fetch_add(1, std::memory_order_relaxed);
    __libc_free(p);
}

} // namespace

extern "C" {
void* __libc_malloc(std::size_t);
void* __libc_calloc(std::size_t, std::size_t);
void* __libc_realloc(void*, std::size_t);
void* __libc_memalign(std::size_t, std::size_t);
void __libc_free(void*);

void* malloc(std::size_t n)
{
    countMalloc();
    return __libc_malloc(n);
}
void* calloc(std::size_t count, std::size_t n)
{
    countMalloc();
    return __libc_calloc(count, n);
}
void* realloc(void* p, std::size_t n)
{
    countMalloc();
    return __libc_realloc(p, n);
}
void* aligned_alloc(std::size_t alignment, std::size_t n)
{
    countMalloc();
    return __libc_memalign(alignment, n);
}
void* memalign(std::size_t alignment, std::size_t n)
{
    countMalloc();
    return __libc_memalign(alignment, n);
}
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

void* operator new(std::size_t n) { return allocate(n); }
void* operator new[](std::size_t n) { return allocate(n); }
void* operator new(std::size_t n, std::align_val_t a) { return allocate(n, std::size_t(a)); }
void* operator new[](std::size_t n, std::align_val_t a) { return allocate(n, std::size_t(a)); }
void operator delete(void* p) noexcept { release(p); }
void operator delete[](void* p) noexcept { release(p); }
void operator delete(void* p, std::size_t) noexcept { release(p); }
void operator delete[](void* p, std::size_t) noexcept { release(p); }
void operator delete(void* p, std::align_val_t) noexcept { release(p); }
void operator delete[](void* p, std::align_val_t) noexcept { release(p); }
void operator delete(void* p, std::size_t, std::align_val_t) noexcept { release(p); }
void operator delete[](void* p, std::size_t, std::align_val_t) noexcept { release(p); }

namespace {

constexpr int kBlock = 512;

std::shared_ptr<AudioBuffer> noise(int64_t frames, unsigned seed)
{
    auto b = std::make_shared<AudioBuffer>(2, frames);
    for (int c = 0; c < 2; ++c)
        for (int64_t i = 0; i < frames; ++i) {
            seed = seed * 1664525u + 1013904223u;
            b->channel(c)[i] = float(seed >> 8) / float(1u << 24) - 0.5f;
        }
    return b;
}

class BufferSource : public FrameSource {
public:
    explicit BufferSource(std::shared_ptr<AudioBuffer> b) : m_buffer(std::move(b)) {}
    int64_t read(int64_t start, int64_t count, float* const* out) const override
    {
        const int64_t n = std::clamp<int64_t>(m_buffer->frameCount() - start, 0, count);
        for (int c = 0; c < 2; ++c)
            std::copy_n(m_buffer->channel(c) + start, n, out[c]);
        return n;
    }

private:
    std::shared_ptr<AudioBuffer> m_buffer;
};

TEST(RealTimeRule, theRenderAndDeviceThreadsNeverTouchTheHeap)
{
    PlayerNode node(2);
    TimePitchStage stage;
    ASSERT_TRUE(stage.prepare(44100.0, 2));
    stage.setInput(&node);
    MatrixMixer mixer;
    Equalizer eq;
    eq.setSampleRate(44100.0);
    AudioRing ring(2, 4410);
    node.startCompletionThread();

    std::atomic<bool> running{true};
    std::atomic<long> blocksRendered{0}, blocksPlayed{0};
    std::thread render([&] {
        float l[kBlock], r[kBlock];
        float* planar[2] = {l, r};
        t_realTime = true;
        while (running.load()) {
            if (ring.writableFrames() < kBlock) {
                std::this_thread::sleep_for(std::chrono::microseconds(500));
                continue;
            }
            stage.render(planar, kBlock);
            mixer.process(planar, 2, planar, kBlock);
            eq.process(planar, 2, kBlock);
            ring.write(planar, kBlock);
            blocksRendered.fetch_add(1);
        }
        t_realTime = false;
    });
    std::thread device([&] {
        float interleaved[2 * kBlock];
        t_realTime = true;
        while (running.load()) {
            ring.readPadded(interleaved, kBlock);
            blocksPlayed.fetch_add(1);
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        t_realTime = false;
    });

    auto track = noise(44100 * 4, 7);
    auto source = std::make_shared<BufferSource>(track);
    std::atomic<int> completions{0};
    auto count = [&](const PlayerNode::Ended&) { completions.fetch_add(1); };
    const auto until = std::chrono::steady_clock::now() + std::chrono::milliseconds(1500);
    for (int step = 0; std::chrono::steady_clock::now() < until; ++step) {
        switch (step % 6) {
        case 0: // a new range with a head, as a click inside a loop makes
            node.stop();
            ring.flush();
            stage.requestReset();
            node.scheduleBuffer(noise(3000, unsigned(step)), PlayerNode::Interrupts, count);
            node.scheduleBuffer(noise(5000, unsigned(step) + 1), PlayerNode::Loops, count);
            node.play();
            break;
        case 1:
            stage.setRate(0.25 + 0.05 * (step % 25));
            stage.setPitch(-1200.0 + 97.0 * (step % 25));
            break;
        case 2:
            eq.setFrequency(step % 2, float(100 + 37 * step % 9000));
            eq.setGain(1, float(step % 12));
            eq.setBypass(step % 2, step % 4 < 2);
            mixer.setParameter(MatrixMixer::Global, MatrixMixer::kMasterElement, float(step % 10) / 10.0f);
            mixer.setParameter(MatrixMixer::Input, unsigned(step) % 2, float(step % 3) / 2.0f);
            break;
        case 3: // segment playback of a long track
            node.stop();
            node.scheduleSegment(source, (step * 1000) % 100000, 20000, 0, count);
            node.scheduleBuffer(std::make_shared<AudioBuffer>(2, 100), 0, count);
            node.play();
            break;
        case 4:
            node.pause();
            break;
        case 5:
            node.play();
            stage.setBypass(step % 12 == 5);
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(15));
    }
    running = false;
    render.join();
    device.join();
    node.stopCompletionThread();

    std::printf("%ld blocks rendered, %ld played, %d completions, %llu underruns\n", blocksRendered.load(),
                blocksPlayed.load(), completions.load(), (unsigned long long)ring.underruns());
    EXPECT_GT(blocksRendered.load(), 20);
    EXPECT_GT(blocksPlayed.load(), 20);
    EXPECT_GT(completions.load(), 10);
    EXPECT_EQ(g_realTimeAllocations.load(), 0);
    EXPECT_EQ(g_realTimeFrees.load(), 0);
    EXPECT_EQ(g_realTimeMallocs.load(), 0);
}

TEST(RealTimeRule, theHookSeesAnAllocationOnAFlaggedThread)
{
    const long allocations = g_realTimeAllocations.load(), frees = g_realTimeFrees.load();
    const long mallocs = g_realTimeMallocs.load();
    std::thread([] {
        t_realTime = true;
        // Called directly: a new-expression may be optimised away.
        void* p = ::operator new(24);
        ::operator delete(p);
        void* q = nullptr;
        if (posix_memalign(&q, 64, 100) == 0)
            free(q);
        t_realTime = false;
    }).join();
    void* q = ::operator new(24); // not flagged
    ::operator delete(q);
    EXPECT_EQ(g_realTimeAllocations.load() - allocations, 1);
    EXPECT_EQ(g_realTimeFrees.load() - frees, 1);
    EXPECT_EQ(g_realTimeMallocs.load() - mallocs, 2) << "posix_memalign and free";
}

} // namespace
