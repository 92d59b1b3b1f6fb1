#include "audio/PlayerNode.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

namespace {

// Every sample names its source frame and channel, so the output tells exactly what was played.
float code(int64_t frame, int channel) { return float(frame * 4 + channel); }

// Frames [first, first + count) of the coded source.
std::shared_ptr<AudioBuffer> codedBuffer(int64_t first, int64_t count, int channels = 2)
{
    auto b = std::make_shared<AudioBuffer>(channels, count);
    for (int c = 0; c < channels; ++c)
        for (int64_t i = 0; i < count; ++i)
            b->channel(c)[i] = code(first + i, c);
    return b;
}

class CodedSource : public FrameSource {
public:
    explicit CodedSource(int64_t length) : m_length(length) {}
    int64_t read(int64_t start, int64_t count, float* const* out) const override
    {
        const int64_t n = std::clamp<int64_t>(m_length - start, 0, count);
        for (int c = 0; c < 2; ++c)
            for (int64_t i = 0; i < n; ++i)
                out[c][i] = code(start + i, c);
        return n;
    }

private:
    int64_t m_length;
};

// Pulls `total` frames in blocks of `block` and returns them per channel.
std::vector<std::vector<float>> pull(PlayerNode& node, int64_t total, int block)
{
    std::vector<std::vector<float>> result(2);
    std::vector<float> l(static_cast<size_t>(block)), r(static_cast<size_t>(block));
    float* out[2] = {l.data(), r.data()};
    for (int64_t done = 0; done < total; done += block) {
        const int n = int(std::min<int64_t>(block, total - done));
        node.render(out, n);
        result[0].insert(result[0].end(), l.begin(), l.begin() + n);
        result[1].insert(result[1].end(), r.begin(), r.begin() + n);
    }
    return result;
}

// The first frame where the output differs from the expected source frames, or -1.
int64_t firstMismatch(const std::vector<std::vector<float>>& got, const std::vector<int64_t>& frames)
{
    for (size_t i = 0; i < frames.size(); ++i)
        for (int c = 0; c < 2; ++c)
            if (got[size_t(c)][i] != code(frames[i], c))
                return int64_t(i);
    return -1;
}

struct LoopCase {
    int64_t from;
    int64_t length;
    int64_t head; // frames of the head before the loop, 0 for none
    int block;
};

class GaplessLoop : public ::testing::TestWithParam<LoopCase> {};

TEST_P(GaplessLoop, samplesAreTheSourceFramesInOrderAcrossHeadAndSeams)
{
    const LoopCase p = GetParam();
    PlayerNode node;
    const int64_t headStart = p.from + p.length - p.head;
    if (p.head > 0)
        node.scheduleBuffer(codedBuffer(headStart, p.head), PlayerNode::Interrupts);
    node.scheduleBuffer(codedBuffer(p.from, p.length), PlayerNode::Loops);
    node.play();

    std::vector<int64_t> expected;
    for (int64_t i = 0; i < p.head; ++i)
        expected.push_back(headStart + i);
    while (expected.size() < size_t(p.head + 3 * p.length + 2 * p.block + 17))
        for (int64_t i = 0; i < p.length; ++i)
            expected.push_back(p.from + i);

    const auto got = pull(node, int64_t(expected.size()), p.block);
    EXPECT_EQ(firstMismatch(got, expected), -1);
    EXPECT_EQ(node.sampleTime(), int64_t(expected.size()));
}

INSTANTIATE_TEST_SUITE_P(RangesAndBlocks, GaplessLoop,
                         ::testing::Values(LoopCase{10, 1, 0, 512}, LoopCase{10, 1, 1, 7},
                                           LoopCase{100, 3, 2, 512}, LoopCase{100, 5, 0, 4},
                                           LoopCase{1000, 5000, 0, 512}, LoopCase{1000, 5000, 1234, 512},
                                           LoopCase{0, 4097, 4000, 1000}, LoopCase{7, 700, 699, 333}),
                         [](const ::testing::TestParamInfo<LoopCase>& info) {
                             const LoopCase& c = info.param;
                             return "range" + std::to_string(c.length) + "_head" + std::to_string(c.head) + "_block" +
                                    std::to_string(c.block);
                         });

TEST(PlayerNode, segmentThenBufferPlayInOrderAndASegmentEndsAtTheSourceEnd)
{
    PlayerNode node;
    auto source = std::make_shared<CodedSource>(1000);
    std::vector<PlayerNode::Ending> endings;
    // 300 frames asked, only 100 exist after frame 900.
    node.scheduleSegment(source, 900, 300, 0, [&](const PlayerNode::Ended& ended) { const auto e = ended.how; endings.push_back(e); });
    node.scheduleBuffer(codedBuffer(5000, 50));
    node.play();

    std::vector<int64_t> expected;
    for (int64_t i = 900; i < 1000; ++i)
        expected.push_back(i);
    for (int64_t i = 5000; i < 5050; ++i)
        expected.push_back(i);
    const auto got = pull(node, 200, 64);
    EXPECT_EQ(firstMismatch(got, expected), -1);
    for (size_t i = expected.size(); i < 200; ++i)
        ASSERT_EQ(got[0][i], 0.0f) << "silence after the schedule runs dry, at " << i;
    node.processCompletions();
    EXPECT_EQ(endings, std::vector<PlayerNode::Ending>{PlayerNode::Ending::Consumed});
}

TEST(PlayerNode, completionsReportConsumedInOrderAndReleaseBuffersOffTheRenderCall)
{
    PlayerNode node;
    std::vector<int> order;
    auto a = codedBuffer(0, 100);
    std::weak_ptr<AudioBuffer> watchA = a;
    node.scheduleBuffer(std::move(a), 0, [&](const PlayerNode::Ended& ended) { const auto e = ended.how;
        EXPECT_EQ(e, PlayerNode::Ending::Consumed);
        order.push_back(1);
    });
    node.scheduleBuffer(codedBuffer(100, 100), 0, [&](const PlayerNode::Ended& ended) { const auto e = ended.how;
        EXPECT_EQ(e, PlayerNode::Ending::Consumed);
        order.push_back(2);
    });
    node.play();

    pull(node, 99, 99);
    EXPECT_EQ(node.processCompletions(), 0) << "nothing has been consumed yet";
    pull(node, 50, 50);
    EXPECT_FALSE(watchA.expired()) << "the render call must not release the buffer";
    EXPECT_EQ(node.processCompletions(), 1);
    EXPECT_TRUE(watchA.expired());
    pull(node, 51, 51);
    node.processCompletions();
    EXPECT_EQ(order, (std::vector<int>{1, 2}));
}

TEST(PlayerNode, stopDropsEverythingScheduledIncludingItemsTheRenderThreadHasNotSeen)
{
    PlayerNode node;
    std::vector<PlayerNode::Ending> endings;
    auto record = [&](const PlayerNode::Ended& ended) { const auto e = ended.how; endings.push_back(e); };
    node.scheduleBuffer(codedBuffer(0, 10), PlayerNode::Loops, record);
    node.play();
    pull(node, 25, 8);
    node.scheduleBuffer(codedBuffer(50, 10), 0, record); // queued, never reached the render side
    node.stop();
    EXPECT_FALSE(node.isPlaying());

    // Scheduled after the stop: must survive it.
    node.scheduleBuffer(codedBuffer(700, 10), 0, record);
    node.play();
    const auto got = pull(node, 10, 10);
    std::vector<int64_t> expected;
    for (int64_t i = 700; i < 710; ++i)
        expected.push_back(i);
    EXPECT_EQ(firstMismatch(got, expected), -1);
    node.processCompletions();
    EXPECT_EQ(endings, (std::vector<PlayerNode::Ending>{PlayerNode::Ending::Dropped, PlayerNode::Ending::Dropped,
                                                         PlayerNode::Ending::Consumed}));
}

TEST(PlayerNode, interruptsReplacesTheScheduleAtOnce)
{
    PlayerNode node;
    int dropped = 0;
    node.scheduleBuffer(codedBuffer(0, 1000), 0, [&](const PlayerNode::Ended& ended) { const auto e = ended.how; dropped += e == PlayerNode::Ending::Dropped; });
    node.scheduleBuffer(codedBuffer(2000, 10), 0, [&](const PlayerNode::Ended& ended) { const auto e = ended.how; dropped += e == PlayerNode::Ending::Dropped; });
    node.play();
    pull(node, 100, 100);
    node.scheduleBuffer(codedBuffer(9000, 20), PlayerNode::Interrupts);
    const auto got = pull(node, 20, 20);
    std::vector<int64_t> expected;
    for (int64_t i = 9000; i < 9020; ++i)
        expected.push_back(i);
    EXPECT_EQ(firstMismatch(got, expected), -1);
    node.processCompletions();
    EXPECT_EQ(dropped, 2);
}

TEST(PlayerNode, sampleTimeSurvivesPauseAndResetsOnStop)
{
    PlayerNode node;
    node.scheduleBuffer(codedBuffer(0, 10000));
    EXPECT_FALSE(node.hasTimeline());
    node.play();
    pull(node, 300, 100);
    EXPECT_EQ(node.sampleTime(), 300);

    node.pause();
    EXPECT_FALSE(node.isPlaying());
    const auto paused = pull(node, 200, 100);
    EXPECT_EQ(paused[0][0], 0.0f) << "a paused node is silent";
    EXPECT_EQ(node.sampleTime(), 300);
    EXPECT_TRUE(node.hasTimeline());

    node.play();
    const auto resumed = pull(node, 100, 100);
    EXPECT_EQ(resumed[0][0], code(300, 0)) << "pause keeps the place in the schedule";
    EXPECT_EQ(node.sampleTime(), 400);

    node.stop();
    EXPECT_EQ(node.sampleTime(), 0) << "before the render thread has seen the stop";
    EXPECT_FALSE(node.hasTimeline());
    pull(node, 100, 100);
    EXPECT_EQ(node.sampleTime(), 0);
    node.play();
    pull(node, 64, 64);
    EXPECT_EQ(node.sampleTime(), 64);
}

TEST(PlayerNode, theCompletionThreadRunsHandlersOffTheCallingThread)
{
    PlayerNode node;
    node.startCompletionThread();
    std::atomic<bool> done{false};
    std::thread::id handlerThread;
    node.scheduleBuffer(codedBuffer(0, 10), 0, [&](const PlayerNode::Ended&) {
        handlerThread = std::this_thread::get_id();
        done = true;
    });
    node.play();
    pull(node, 20, 20);
    for (int i = 0; i < 500 && !done; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    node.stopCompletionThread();
    ASSERT_TRUE(done);
    EXPECT_NE(handlerThread, std::this_thread::get_id());
}

TEST(PlayerNode, refusesMoreOutstandingItemsThanItCanHold)
{
    PlayerNode node(2, 4);
    for (int i = 0; i < 4; ++i)
        EXPECT_TRUE(node.scheduleBuffer(codedBuffer(0, 1)));
    EXPECT_FALSE(node.scheduleBuffer(codedBuffer(0, 1)));
    node.play();
    pull(node, 4, 4);
    node.processCompletions();
    EXPECT_TRUE(node.scheduleBuffer(codedBuffer(0, 1)));
}

} // namespace
