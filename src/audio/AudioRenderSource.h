#pragma once

// Anything a later stage of the graph pulls planar audio from, on the render thread.
class AudioRenderSource {
public:
    virtual ~AudioRenderSource() = default;
    virtual int channelCount() const = 0;
    // Fills out[0..channelCount()) with `frames` frames. Real-time: no lock, allocation or I/O.
    virtual void render(float* const* out, int frames) = 0;
};
