#include "audio/AudioRing.h"
#include "audio/DeviceOutput.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <thread>
#include <vector>

namespace {

// SDL's dummy driver runs the real device path, callback thread and all, with no sound server.
class DeviceOutputTest : public ::testing::Test {
protected:
    void SetUp() override { setenv("SDL_AUDIODRIVER", "dummy", 1); }
};

TEST_F(DeviceOutputTest, theCallbackCopiesFromTheRingInBlocksWhileStarted)
{
    AudioRing ring(2, 44100);
    std::vector<float> l(30000), r(30000);
    for (size_t i = 0; i < l.size(); ++i)
        l[i] = r[i] = float(i);
    const float* planar[2] = {l.data(), r.data()};
    ring.write(planar, 30000);

    DeviceOutput output;
    std::atomic<int> calls{0}, frames{0};
    std::atomic<bool> inOrder{true};
    float next = 0.0f; // touched by the callback thread only
    output.setRenderCallback([&](float* interleaved, int n) {
        ring.readPadded(interleaved, n);
        for (int i = 0; i < n; ++i, next += 1.0f)
            if (interleaved[2 * i] != next || interleaved[2 * i + 1] != next)
                inOrder = false;
        calls.fetch_add(1);
        frames.fetch_add(n);
    });
    ASSERT_TRUE(output.open(44100.0, 2));
    // An open device must leave Ctrl+C and a logout to the application.
    for (int signal : {SIGINT, SIGTERM}) {
        struct sigaction action {};
        sigaction(signal, nullptr, &action);
        EXPECT_EQ(action.sa_handler, SIG_DFL) << "signal " << signal;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(calls.load(), 0) << "nothing is pulled before start";

    ASSERT_TRUE(output.start());
    for (int i = 0; i < 200 && frames.load() < 4096; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    output.stop();
    const int afterStop = calls.load();
    EXPECT_GE(frames.load(), 4096);
    EXPECT_EQ(frames.load() % DeviceOutput::kBlockFrames, 0);
    EXPECT_TRUE(inOrder.load());
    EXPECT_EQ(ring.readableFrames(), 30000 - frames.load());
    EXPECT_FALSE(output.isLost());

    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(calls.load(), afterStop) << "a stopped device pulls nothing";
    output.close();
}

TEST_F(DeviceOutputTest, refusesAFormatItCannotOpen)
{
    DeviceOutput output;
    EXPECT_FALSE(output.open(0.0, 2));
    EXPECT_FALSE(output.open(44100.0, 0));
    EXPECT_FALSE(output.start());
}

} // namespace
