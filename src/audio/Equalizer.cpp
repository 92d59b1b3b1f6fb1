#include "audio/Equalizer.h"

#include <algorithm>
#include <cassert>
#include <cmath>

Equalizer::Equalizer()
{
    setType(0, FilterType::BandPass);
    setBandwidth(0, 3.0f);
    setSampleRate(44100.0);
}

void Equalizer::setSampleRate(double sampleRate)
{
    m_sampleRate = sampleRate > 0.0 ? sampleRate : 44100.0;
    for (int b = 0; b < kBands; ++b) {
        m_bands[b] = Band{};
        // Start settled on the current settings: no fade from an unset filter.
        m_bands[b].current.c = design(m_settings[b]);
        m_bands[b].current.bypass = m_settings[b].bypass.load();
        m_bands[b].seenVersion = m_settings[b].version.load();
    }
}

void Equalizer::setType(int band, FilterType type)
{
    if (!valid(band))
        return;
    m_settings[band].type.store(int(type), std::memory_order_relaxed);
    m_settings[band].version.fetch_add(1, std::memory_order_release);
}

void Equalizer::setFrequency(int band, float hz)
{
    if (!valid(band))
        return;
    m_settings[band].frequency.store(hz, std::memory_order_relaxed);
    m_settings[band].version.fetch_add(1, std::memory_order_release);
}

void Equalizer::setBandwidth(int band, float octaves)
{
    if (!valid(band))
        return;
    m_settings[band].bandwidth.store(octaves, std::memory_order_relaxed);
    m_settings[band].version.fetch_add(1, std::memory_order_release);
}

void Equalizer::setGain(int band, float dB)
{
    if (!valid(band))
        return;
    m_settings[band].gain.store(dB, std::memory_order_relaxed);
    m_settings[band].version.fetch_add(1, std::memory_order_release);
}

void Equalizer::setBypass(int band, bool bypass)
{
    if (!valid(band))
        return;
    m_settings[band].bypass.store(bypass, std::memory_order_relaxed);
    m_settings[band].version.fetch_add(1, std::memory_order_release);
}

// Read off the audio threads, by callers that know the bands.
const Equalizer::Settings& Equalizer::settings(int index) const
{
    assert(valid(index));
    return m_settings[size_t(index)];
}
Equalizer::FilterType Equalizer::type(int index) const { return FilterType(settings(index).type.load()); }
float Equalizer::frequency(int index) const { return settings(index).frequency.load(); }
float Equalizer::bandwidth(int index) const { return settings(index).bandwidth.load(); }
float Equalizer::gain(int index) const { return settings(index).gain.load(); }
bool Equalizer::isBypassed(int index) const { return settings(index).bypass.load(); }

// The cookbook formulas, with the bandwidth in octaves between the -3 dB points (band pass) or
// the half-gain points (peaking).
Equalizer::Coefficients Equalizer::design(const Settings& s) const
{
    const double nyquist = m_sampleRate / 2.0;
    const double f = std::clamp(double(s.frequency.load(std::memory_order_relaxed)), 10.0, 0.95 * nyquist);
    const double bw = std::clamp(double(s.bandwidth.load(std::memory_order_relaxed)), 0.05, 5.0);
    const double w0 = 2.0 * M_PI * f / m_sampleRate;
    const double sinW = std::sin(w0), cosW = std::cos(w0);
    const double alpha = sinW * std::sinh(std::log(2.0) / 2.0 * bw * w0 / sinW);

    double b0, b1, b2, a0, a1, a2;
    if (FilterType(s.type.load(std::memory_order_relaxed)) == FilterType::BandPass) {
        b0 = alpha, b1 = 0.0, b2 = -alpha;
        a0 = 1.0 + alpha, a1 = -2.0 * cosW, a2 = 1.0 - alpha;
    } else {
        const double A = std::pow(10.0, double(s.gain.load(std::memory_order_relaxed)) / 40.0);
        b0 = 1.0 + alpha * A, b1 = -2.0 * cosW, b2 = 1.0 - alpha * A;
        a0 = 1.0 + alpha / A, a1 = -2.0 * cosW, a2 = 1.0 - alpha / A;
    }
    return Coefficients{b0 / a0, b1 / a0, b2 / a0, a1 / a0, a2 / a0};
}

void Equalizer::pickUpChanges(int band)
{
    Band& b = m_bands[band];
    const Settings& s = m_settings[band];
    const uint32_t version = s.version.load(std::memory_order_acquire);
    // A change during a fade waits for it to end, so no fade is ever cut short.
    if (version == b.seenVersion || b.fadeLeft > 0)
        return;
    b.seenVersion = version;
    b.previous = b.current;
    b.current.c = design(s);
    b.current.bypass = s.bypass.load(std::memory_order_relaxed);
    b.fadeLeft = kFadeFrames;
}

double Equalizer::run(const Coefficients& c, State& s, double x)
{
    const double y = c.b0 * x + s.z1;
    s.z1 = c.b1 * x - c.a1 * y + s.z2;
    s.z2 = c.b2 * x - c.a2 * y;
    return y;
}

void Equalizer::process(float* const* io, int channels, int frames)
{
    channels = std::min(channels, kMaxChannels);
    for (int band = 0; band < kBands; ++band) {
        pickUpChanges(band);
        Band& b = m_bands[band];
        const int fadeLeft = b.fadeLeft;
        for (int ch = 0; ch < channels; ++ch) {
            float* x = io[ch];
            int left = fadeLeft;
            for (int n = 0; n < frames; ++n) {
                const double in = x[n];
                const double wet = run(b.current.c, b.current.state[ch], in);
                double y = b.current.bypass ? in : wet;
                if (left > 0) {
                    const double old = run(b.previous.c, b.previous.state[ch], in);
                    const double g = double(left) / double(kFadeFrames + 1);
                    y = g * (b.previous.bypass ? in : old) + (1.0 - g) * y;
                    --left;
                }
                x[n] = float(y);
            }
        }
        b.fadeLeft = std::max(0, fadeLeft - frames);
    }
}
