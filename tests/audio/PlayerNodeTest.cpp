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

} // namespace
