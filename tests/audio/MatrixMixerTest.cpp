#include "audio/MatrixMixer.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace {

constexpr uint32_t cross(uint32_t i, uint32_t o) { return i * 65536 + o; }

// The engine's solo tables: crosspoints then final input volumes.
void applySolo(MatrixMixer& m, int solo)
{
    const float table[3][6] = {{1, 0, 0, 1, 1, 1}, {1, 1, 0, 1, 1, 0}, {1, 0, 1, 1, 0, 1}};
    const float* t = table[solo];
    m.setParameter(MatrixMixer::Global, cross(0, 0), t[0]);
    m.setParameter(MatrixMixer::Global, cross(0, 1), t[1]);
    m.setParameter(MatrixMixer::Global, cross(1, 0), t[2]);
    m.setParameter(MatrixMixer::Global, cross(1, 1), t[3]);
    m.setParameter(MatrixMixer::Input, 0, t[4]);
    m.setParameter(MatrixMixer::Input, 1, t[5]);
}

struct Stereo {
    std::vector<float> l, r;
};

// Two blocks through the mixer: the first absorbs the change, the second is steady.
Stereo mix(MatrixMixer& m, const std::vector<float>& l, const std::vector<float>* r)
{
    Stereo out{std::vector<float>(l.size()), std::vector<float>(l.size())};
    const float* in[2] = {l.data(), r ? r->data() : nullptr};
    float* o[2] = {out.l.data(), out.r.data()};
    m.process(in, r ? 2 : 1, o, int(l.size()));
    m.process(in, r ? 2 : 1, o, int(l.size()));
    return out;
}

std::vector<float> ramp(float scale)
{
    std::vector<float> v(256);
    for (size_t i = 0; i < v.size(); ++i)
        v[i] = scale * float(i + 1);
    return v;
}

TEST(MatrixMixer, aMonoStreamSoundsOnBothSidesUnderEverySolo)
{
    const auto mono = ramp(0.25f);
    for (int solo : {0, 1, 2}) {
        MatrixMixer m;
        applySolo(m, solo);
        const Stereo out = mix(m, mono, nullptr);
        EXPECT_EQ(out.l, mono) << "solo " << solo;
        EXPECT_EQ(out.r, mono) << "solo " << solo;
    }
}

TEST(MatrixMixer, aChangeRampsAcrossOneBlockInsteadOfJumping)
{
    const std::vector<float> ones(100, 1.0f);
    MatrixMixer m;
    Stereo out{std::vector<float>(100), std::vector<float>(100)};
    const float* in[2] = {ones.data(), ones.data()};
    float* o[2] = {out.l.data(), out.r.data()};
    m.process(in, 2, o, 100);
    m.setParameter(MatrixMixer::Global, MatrixMixer::kMasterElement, 0.0f);
    m.process(in, 2, o, 100);
    EXPECT_NEAR(out.l.front(), 0.99f, 1e-5f);
    EXPECT_NEAR(out.l[49], 0.5f, 1e-5f);
    EXPECT_EQ(out.l.back(), 0.0f);
    for (size_t i = 1; i < 100; ++i)
        EXPECT_LT(out.l[i], out.l[i - 1]);
}

TEST(MatrixMixer, addressesOnlyTheElementsItHas)
{
    MatrixMixer m;
    EXPECT_TRUE(m.setParameter(MatrixMixer::Global, cross(1, 0), 0.25f));
    EXPECT_EQ(m.parameter(MatrixMixer::Global, cross(1, 0)), 0.25f);
    EXPECT_EQ(m.parameter(MatrixMixer::Global, cross(0, 1)), 0.0f);
    EXPECT_TRUE(m.setParameter(MatrixMixer::Output, 1, 0.5f));
    EXPECT_EQ(m.parameter(MatrixMixer::Output, 1), 0.5f);
    EXPECT_EQ(m.parameter(MatrixMixer::Input, 1), 1.0f);
    EXPECT_FALSE(m.setParameter(MatrixMixer::Global, cross(2, 0), 1.0f));
    EXPECT_FALSE(m.setParameter(MatrixMixer::Global, cross(0, 2), 1.0f));
    EXPECT_FALSE(m.setParameter(MatrixMixer::Input, 2, 1.0f));
    EXPECT_FALSE(m.setParameter(3, 0, 1.0f));
}

} // namespace
