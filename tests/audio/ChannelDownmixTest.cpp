#include "audio/ChannelDownmix.h"

#include "common/Testing.h"

namespace {

constexpr uint64_t kFivePointOne = 0x60F; // front left, right, centre, LFE, side left, right

// A 5.1 source folds by its layout whether the file states it, states nothing, or states one that
// does not fit its channel count.
TEST(ChannelDownmix, FiveOneFoldsByItsLayoutAndStereoAndMonoPassThrough)
{
    for (uint64_t stated : {kFivePointOne, uint64_t(0), uint64_t(0x3)}) {
        SCOPED_TRACE(stated);
        ChannelDownmix downmix;
        downmix.configure(6, stated, 512);
        ASSERT_EQ(downmix.channelCount(), 2);
        for (int side : {0, 1}) {
            EXPECT_NEAR(downmix.weight(side, side), 1.0, 1e-6) << "its own front";
            EXPECT_EQ(downmix.weight(side, 1 - side), 0.0f) << "not the other front";
            EXPECT_NEAR(downmix.weight(side, 2), M_SQRT1_2, 1e-6) << "the centre at -3 dB";
            EXPECT_EQ(downmix.weight(side, 3), 0.0f) << "no LFE";
            EXPECT_NEAR(downmix.weight(side, 4 + side), M_SQRT1_2, 1e-6) << "its surround at -3 dB";
        }
    }
    for (int channels : {1, 2}) {
        ChannelDownmix downmix;
        downmix.configure(channels, 0, 512);
        ASSERT_EQ(downmix.channelCount(), channels);
        for (int o = 0; o < channels; ++o)
            for (int i = 0; i < channels; ++i)
                EXPECT_EQ(downmix.weight(o, i), o == i ? 1.0f : 0.0f);
    }
}

} // namespace
