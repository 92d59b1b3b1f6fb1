#pragma once

#include <cstdint>
#include <memory>
#include <vector>

// Mono samples in fixed chunks of 1 MiB. Growing never moves what is stored, so a store near its
// 212 MB cap never needs a second copy of itself.
class ChordSampleStore {
public:
    static constexpr int64_t kChunkSamples = 262'144;

    void append(float sample)
    {
        const int64_t offset = m_size % kChunkSamples;
        if (offset == 0)
            m_chunks.push_back(std::make_unique_for_overwrite<float[]>(size_t(kChunkSamples)));
        m_chunks.back()[size_t(offset)] = sample;
        ++m_size;
    }

    int64_t size() const { return m_size; }
    int64_t byteCount() const { return m_size * int64_t(sizeof(float)); }
    float at(int64_t index) const { return m_chunks[size_t(index / kChunkSamples)][size_t(index % kChunkSamples)]; }

    // Copies samples [start, start + count) to out; the range must lie inside the store.
    void copy(int64_t start, int64_t count, float* out) const;

private:
    std::vector<std::unique_ptr<float[]>> m_chunks;
    int64_t m_size = 0;
};
