#pragma once

#include <atomic>
#include <cstdint>

// Two RBJ biquad bands in series, each with its own type, frequency, bandwidth in octaves, gain
// and bypass. Both start bypassed, so the unit starts as an identity.
//
// Setters may run on any thread. The render thread picks a band's new settings up at its next
// block and fades from the old filter's output to the new one's over kFadeFrames, so changes and
// bypass switches make no click. Filters run while bypassed to keep their state current.
class Equalizer {
public:
    // Numbered as the band types the engine sets.
    enum class FilterType : int { Parametric = 0, BandPass = 5 };
    static constexpr int kBands = 2;
    static constexpr int kMaxChannels = 8;
    static constexpr int kFadeFrames = 256;

    Equalizer();

    // Main thread, while nothing renders: sets the rate and clears the filters' state.
    void setSampleRate(double sampleRate);
    double sampleRate() const { return m_sampleRate; }

    void setType(int band, FilterType type);
    void setFrequency(int band, float hz);
    void setBandwidth(int band, float octaves);
    void setGain(int band, float dB);
    void setBypass(int band, bool bypass);

    FilterType type(int band) const;
    float frequency(int band) const;
    float bandwidth(int band) const;
    float gain(int band) const;
    bool isBypassed(int band) const;

    // In place, up to kMaxChannels channels.
    void process(float* const* io, int channels, int frames);

private:
    struct Coefficients {
        double b0 = 1, b1 = 0, b2 = 0, a1 = 0, a2 = 0;
    };
    struct State {
        double z1 = 0, z2 = 0;
    };
    struct Settings {
        std::atomic<int> type{int(FilterType::Parametric)};
        std::atomic<float> frequency{2000.0f};
        std::atomic<float> bandwidth{2.0f};
        std::atomic<float> gain{0.0f};
        std::atomic<bool> bypass{true};
        std::atomic<uint32_t> version{1};
    };
    struct Filter {
        Coefficients c;
        bool bypass = true;
        State state[kMaxChannels];
    };
    struct Band {
        Filter current;
        Filter previous; // faded out while fadeLeft > 0
        int fadeLeft = 0;
        uint32_t seenVersion = 0;
    };

    Coefficients design(const Settings& s) const;
    void pickUpChanges(int band);
    static double run(const Coefficients& c, State& s, double x);
    bool valid(int band) const { return band >= 0 && band < kBands; }
    const Settings& settings(int band) const;

    double m_sampleRate = 44100.0;
    Settings m_settings[kBands];
    Band m_bands[kBands];
};
