#include "audio/PlayerNode.h"

#include "common/Testing.h"

#include <numeric>

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

struct CodedSource : FrameSource {
    explicit CodedSource(int64_t length) : length(length) {}
    int64_t read(int64_t start, int64_t count, float* const* out) const override
    {
        const int64_t n = std::clamp<int64_t>(length - start, 0, count);
        for (int c = 0; c < 2; ++c)
            for (int64_t i = 0; i < n; ++i)
                out[c][i] = code(start + i, c);
        return n;
    }
    int64_t length;
};

// Pulls `total` frames in blocks of `block` and returns them per channel.
std::vector<std::vector<float>> pull(PlayerNode& node, int64_t total, int block)
{
    // Filled with a value no frame has, so a frame the node leaves unwritten shows.
    std::vector<std::vector<float>> result(2, std::vector<float>(size_t(total + block), -1.0f));
    for (int64_t done = 0; done < total; done += block) {
        float* out[2] = {result[0].data() + done, result[1].data() + done};
        node.render(out, int(std::min<int64_t>(block, total - done)));
    }
    for (auto& c : result)
        c.resize(size_t(total));
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

// Ranges of one frame and more, with and without a head, in blocks that straddle every edge.
INSTANTIATE_TEST_SUITE_P(RangesAndBlocks, GaplessLoop,
                         ::testing::Values(LoopCase{10, 1, 0, 512}, LoopCase{10, 1, 1, 7}, LoopCase{100, 3, 2, 512},
                                           LoopCase{100, 5, 0, 4}, LoopCase{1000, 5000, 0, 512}, LoopCase{1000, 5000, 1234, 512},
                                           LoopCase{0, 4097, 4000, 1000}, LoopCase{7, 700, 699, 333}));

// The run of source frames [first, first + count).
std::vector<int64_t> run(int64_t first, int64_t count)
{
    std::vector<int64_t> frames(static_cast<size_t>(count));
    std::iota(frames.begin(), frames.end(), first);
    return frames;
}

TEST(PlayerNode, itemsPlayInOrderAndReportTheirEndOffTheRenderCall)
{
    PlayerNode node;
    std::vector<int64_t> endedAt;
    const auto record = [&](const PlayerNode::Ended& ended) {
        EXPECT_EQ(ended.how, PlayerNode::Ending::Consumed);
        endedAt.push_back(ended.sampleTime);
    };
    // 300 frames asked, only 100 exist after frame 900.
    node.scheduleSegment(std::make_shared<CodedSource>(1000), 900, 300, 0, record);
    auto buffer = codedBuffer(5000, 50);
    std::weak_ptr<AudioBuffer> watch = buffer;
    node.scheduleBuffer(std::move(buffer), 0, record);
    node.play();

    auto expected = run(900, 100);
    const auto tail = run(5000, 50);
    expected.insert(expected.end(), tail.begin(), tail.end());
    const auto got = pull(node, 200, 64);
    EXPECT_EQ(firstMismatch(got, expected), -1);
    EXPECT_EQ(got[0][199], 0.0f) << "silence after the schedule runs dry";
    EXPECT_FALSE(watch.expired()) << "the render call must not release the buffer";
    EXPECT_EQ(node.processCompletions(), 2);
    EXPECT_TRUE(watch.expired());
    EXPECT_EQ(endedAt, (std::vector<int64_t>{100, 150})) << "each at the time line of its last frame";
}

TEST(PlayerNode, stopAndInterruptsDropWhatWasScheduledAndPauseKeepsTheTimeLine)
{
    PlayerNode node;
    std::vector<PlayerNode::Ending> endings;
    auto record = [&](const PlayerNode::Ended& ended) { endings.push_back(ended.how); };
    node.scheduleBuffer(codedBuffer(0, 10), PlayerNode::Loops, record);
    node.play();
    pull(node, 25, 8);
    EXPECT_EQ(node.sampleTime(), 25);
    node.pause();
    EXPECT_EQ(pull(node, 100, 100)[0][0], 0.0f) << "a paused node is silent";
    node.play();
    EXPECT_EQ(pull(node, 1, 1)[0][0], code(5, 0)) << "pause keeps the place in the schedule";
    EXPECT_EQ(node.sampleTime(), 26);

    node.scheduleBuffer(codedBuffer(50, 10), 0, record); // queued, never reached the render side
    node.stop();
    EXPECT_FALSE(node.isPlaying());
    EXPECT_EQ(node.sampleTime(), 0) << "before the render thread has seen the stop";
    // Scheduled after the stop: survives it, until an interrupting item replaces it.
    node.scheduleBuffer(codedBuffer(700, 1000), 0, record);
    node.play();
    EXPECT_EQ(firstMismatch(pull(node, 10, 10), run(700, 10)), -1);
    node.scheduleBuffer(codedBuffer(9000, 20), PlayerNode::Interrupts);
    EXPECT_EQ(firstMismatch(pull(node, 20, 20), run(9000, 20)), -1);
    node.processCompletions();
    EXPECT_EQ(endings, std::vector<PlayerNode::Ending>(3, PlayerNode::Ending::Dropped));
}

} // namespace
