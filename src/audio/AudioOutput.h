#pragma once

#include <cstdint>
#include <functional>

// Where the graph's sound goes: a device, or a test's deterministic pull.
class AudioOutput {
public:
    // Fills `frames` interleaved frames of channelCount() channels. Called on the output's own
    // thread (a device's callback), so it must be real-time safe.
    using RenderCallback = std::function<void(float* interleaved, int frames)>;

    virtual ~AudioOutput() = default;

    // Before open().
    void setRenderCallback(RenderCallback callback) { m_render = std::move(callback); }

    virtual bool open(double sampleRate, int channels) = 0;
    virtual void close() = 0;
    virtual bool start() = 0;
    virtual void stop() = 0;
    virtual bool isRunning() const = 0;
    // True when the device went away (unplugged, server gone) after it was opened.
    virtual bool isLost() const { return false; }
    // Frames between the callback and the ear.
    virtual int64_t latencyFrames() const = 0;
    // Whether the callback is called at the clock's pace on its own, as a device does.
    virtual bool isClocked() const { return true; }

    double sampleRate() const { return m_sampleRate; }
    int channelCount() const { return m_channels; }

protected:
    RenderCallback m_render;
    double m_sampleRate = 0.0;
    int m_channels = 0;
};
