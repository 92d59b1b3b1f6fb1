#include "analysis/ChordSampleStore.h"

#include <algorithm>
#include <cstring>

void ChordSampleStore::copy(int64_t start, int64_t count, float* out) const
{
    while (count > 0) {
        const int64_t chunk = start / kChunkSamples;
        const int64_t offset = start % kChunkSamples;
        const int64_t n = std::min(count, kChunkSamples - offset);
        std::memcpy(out, m_chunks[size_t(chunk)].get() + offset, size_t(n) * sizeof(float));
        out += n;
        start += n;
        count -= n;
    }
}
