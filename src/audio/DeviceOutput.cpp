#include "audio/DeviceOutput.h"

#include <SDL.h>

#include <cstring>

DeviceOutput::~DeviceOutput() { close(); }

bool DeviceOutput::open(double sampleRate, int channels)
{
    close();
    // SDL's own SIGINT and SIGTERM handlers would only post a quit event nobody reads, so Ctrl+C
    // and a logout would no longer end Lento.
    SDL_SetHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");
    if (sampleRate <= 0.0 || channels < 1 || SDL_InitSubSystem(SDL_INIT_AUDIO) != 0)
        return false;
    SDL_AudioSpec want{};
    want.freq = int(sampleRate);
    want.format = AUDIO_F32SYS;
    want.channels = uint8_t(channels);
    want.samples = kBlockFrames;
    want.callback = &DeviceOutput::callback;
    want.userdata = this;
    SDL_AudioSpec have{};
    // No changes allowed: SDL converts, so the callback always sees the stream's own format.
    m_device = SDL_OpenAudioDevice(nullptr, 0, &want, &have, 0);
    if (m_device == 0) {
        SDL_QuitSubSystem(SDL_INIT_AUDIO);
        return false;
    }
    m_sampleRate = sampleRate;
    m_channels = channels;
    // Measured at a PulseAudio sink's monitor: a block reaches the sink one block after our callback
    // filled it, SDL asking the server for no more buffering than that.
    m_deviceFrames = int64_t(have.samples);
    return true;
}

void DeviceOutput::close()
{
    if (m_device == 0)
        return;
    SDL_CloseAudioDevice(m_device);
    SDL_QuitSubSystem(SDL_INIT_AUDIO);
    m_device = 0;
    m_running = false;
    m_channels = 0;
    m_sampleRate = 0.0;
}

bool DeviceOutput::start()
{
    if (m_device == 0)
        return false;
    SDL_PauseAudioDevice(m_device, 0);
    m_running = true;
    return true;
}

void DeviceOutput::stop()
{
    if (m_device != 0)
        SDL_PauseAudioDevice(m_device, 1);
    m_running = false;
}

bool DeviceOutput::isLost() const
{
    return m_device != 0 && SDL_GetAudioDeviceStatus(m_device) == SDL_AUDIO_STOPPED;
}

void DeviceOutput::callback(void* self, uint8_t* stream, int bytes)
{
    auto* output = static_cast<DeviceOutput*>(self);
    const int frames = bytes / int(sizeof(float)) / output->m_channels;
    if (output->m_render)
        output->m_render(reinterpret_cast<float*>(stream), frames);
    else
        std::memset(stream, 0, size_t(bytes));
}
