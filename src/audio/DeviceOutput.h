#pragma once

#include "audio/AudioOutput.h"

#include <cstdint>

// The system's default output through SDL2 audio: float32 at the stream's rate, 512-frame
// blocks. The render callback runs on SDL's audio thread and must only copy (from the ring).
class DeviceOutput : public AudioOutput {
public:
    static constexpr int kBlockFrames = 512;

    DeviceOutput() = default;
    ~DeviceOutput() override;
    DeviceOutput(const DeviceOutput&) = delete;
    DeviceOutput& operator=(const DeviceOutput&) = delete;

    // False when SDL has no device to open: there is no output.
    bool open(double sampleRate, int channels) override;
    void close() override;
    bool start() override;
    void stop() override;
    bool isRunning() const override { return m_running; }
    // What SDL and the sound server hold between our callback and the sink.
    int64_t latencyFrames() const override { return m_deviceFrames; }
    // True when the device went away (unplugged, server gone) after it was opened.
    bool isLost() const override;

private:
    static void callback(void* self, uint8_t* stream, int bytes);

    uint32_t m_device = 0;
    bool m_running = false;
    int64_t m_deviceFrames = 0;
};
