#pragma once

#include <atomic>
#include <cstdint>

// Two inputs by two outputs: out[o] = master · outVolume[o] · Σi inVolume[i] · cross[i][o] · in[i].
// Parameters are addressed by scope and element, as the engine's volume and solo code does:
//   global, 0xFFFFFFFF      master
//   global, i · 65536 + o   crosspoint from input i to output o
//   input,  i               input volume
//   output, o               output volume
// They start at unity: master, volumes and the two straight crosspoints 1, the others 0.
//
// A mono stream is presented as both inputs carrying the same channel, so it sounds on both
// sides with no solo and stays audible under either solo.
//
// Setters may run on any thread; process() runs on the render thread and moves from the gains
// of its last block to the current ones across one block, so a change makes no click.
class MatrixMixer {
public:
    enum Scope : uint32_t { Global = 0, Input = 1, Output = 2 };
    static constexpr uint32_t kMasterElement = 0xFFFFFFFF;
    static constexpr int kChannels = 2;

    MatrixMixer();

    // False for an address the mixer does not have.
    bool setParameter(uint32_t scope, uint32_t element, float value);
    // 0 for an address the mixer does not have.
    float parameter(uint32_t scope, uint32_t element) const;

    // `in` holds 1 or 2 channels; `out` 2. `out` may be `in`.
    void process(const float* const* in, int inChannels, float* const* out, int frames);

private:
    std::atomic<float>* slot(uint32_t scope, uint32_t element);
    const std::atomic<float>* slot(uint32_t scope, uint32_t element) const;

    std::atomic<float> m_master{1.0f};
    std::atomic<float> m_cross[kChannels][kChannels];
    std::atomic<float> m_inVolume[kChannels];
    std::atomic<float> m_outVolume[kChannels];

    // Render side: the gains the last block ended with.
    float m_gain[kChannels][kChannels];
    bool m_started = false;
};
