#pragma once

#include <cstdint>

// Random access to a track's decoded planar frames. Read from the render thread, so an
// implementation must be plain memory access (a mapped cache is fine): no file I/O, no lock, no
// allocation.
class FrameSource {
public:
    virtual ~FrameSource() = default;
    // Copies up to `count` frames from `start` into one array per channel of the source; returns
    // how many were copied, fewer (or 0) at the end of the source.
    virtual int64_t read(int64_t start, int64_t count, float* const* out) const = 0;
    // Off the render thread: makes frames [start, start + count) resident ahead of their read.
    virtual void prefetch(int64_t /*start*/, int64_t /*count*/) const {}
    // Off the render thread: frames [start, start + count) are not needed soon; memory may let them go.
    virtual void release(int64_t /*start*/, int64_t /*count*/) const {}
};
