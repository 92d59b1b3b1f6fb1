#include "audio/PlayerNode.h"

#include "common/Testing.h"

namespace {

// Every sample names its source frame and channel, so the output tells exactly what was played.
float code(int64_t frame, int channel) { return float(frame * 4 + channel); }

// Frames [first, first + count) of the coded source.
std::shared_ptr<AudioBuffer> codedBuffer(int64_t first, int64_t count)
{
    auto b = std::make_shared<AudioBuffer>(2, count);
    for (int c = 0; c < 2; ++c)
        for (int64_t i = 0; i < count; ++i)
            b->channel(c)[i] = code(first + i, c);
    return b;
}

struct LoopCase {
    int64_t from, length, head; // frames of the head before the loop, 0 for none
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
    // Pulled in blocks into buffers holding a value no frame has, so a frame left unwritten shows.
    const auto total = int64_t(expected.size());
    std::vector<float> out[2] = {std::vector<float>(size_t(total), -1.0f), std::vector<float>(size_t(total), -1.0f)};
    for (int64_t done = 0; done < total; done += p.block) {
        float* io[2] = {out[0].data() + done, out[1].data() + done};
        node.render(io, int(std::min<int64_t>(p.block, total - done)));
    }
    for (int64_t i = 0; i < total; ++i)
        for (int c = 0; c < 2; ++c)
            ASSERT_EQ(out[c][size_t(i)], code(expected[size_t(i)], c)) << "frame " << i << ", channel " << c;
    EXPECT_EQ(node.sampleTime(), total);
}

// Ranges of one frame and more, with and without a head, in blocks that straddle every edge.
INSTANTIATE_TEST_SUITE_P(RangesAndBlocks, GaplessLoop,
                         ::testing::Values(LoopCase{10, 1, 0, 512}, LoopCase{10, 1, 1, 7}, LoopCase{100, 3, 2, 512},
                                           LoopCase{100, 5, 0, 4}, LoopCase{1000, 5000, 0, 512}, LoopCase{1000, 5000, 1234, 512},
                                           LoopCase{0, 4097, 4000, 1000}, LoopCase{7, 700, 699, 333}));

} // namespace
