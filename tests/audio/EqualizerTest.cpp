#include "audio/Equalizer.h"

#include "common/Testing.h"

#include <complex>

namespace {

constexpr double kRate = 44100.0;

// |H(e^jw)| of the cookbook band pass (0 dB peak) or peaking filter, worked out here from the
// textbook formulas.
double cookbookMagnitude(bool bandPass, double f0, double octaves, double gainDb, double f)
{
    const double w0 = 2 * M_PI * f0 / kRate;
    const double alpha = std::sin(w0) * std::sinh(std::log(2.0) / 2 * octaves * w0 / std::sin(w0));
    const double A = std::pow(10.0, gainDb / 40);
    std::complex<double> b[3], a[3];
    if (bandPass) {
        b[0] = alpha, b[1] = 0, b[2] = -alpha;
        a[0] = 1 + alpha, a[1] = -2 * std::cos(w0), a[2] = 1 - alpha;
    } else {
        b[0] = 1 + alpha * A, b[1] = -2 * std::cos(w0), b[2] = 1 - alpha * A;
        a[0] = 1 + alpha / A, a[1] = -2 * std::cos(w0), a[2] = 1 - alpha / A;
    }
    const std::complex<double> z1 = std::polar(1.0, -2 * M_PI * f / kRate);
    const std::complex<double> z2 = z1 * z1;
    return std::abs((b[0] + b[1] * z1 + b[2] * z2) / (a[0] + a[1] * z1 + a[2] * z2));
}

// Steady amplitude of a unit sine at `hz` after the filter has settled.
double measuredGain(Equalizer& eq, double hz)
{
    const int frames = int(kRate);
    std::vector<float> l(frames), r(frames);
    for (int n = 0; n < frames; ++n)
        l[size_t(n)] = r[size_t(n)] = float(std::sin(2 * M_PI * hz * n / kRate));
    float* io[2] = {l.data(), r.data()};
    for (int done = 0; done < frames; done += 500) {
        float* block[2] = {io[0] + done, io[1] + done};
        eq.process(block, 2, std::min(500, frames - done));
    }
    EXPECT_EQ(l, r) << "both channels are filtered alike";
    return measure::sineAmplitude(l, size_t(frames / 2), size_t(frames / 2 + 44100 / 10 * 4));
}

double dB(double x) { return 20 * std::log10(x); }

// The band pass alone, then in series with the peaking band the engine sets beside it.
TEST(Equalizer, responseIsTheCookbookFilters)
{
    for (double gain : {0.0, 12.0 - 1520.0 / 300.0})
        for (double hz : {1520.0, 190.0, 6000.0, 400.0}) {
            Equalizer eq;
            eq.setFrequency(0, 1520.0f);
            eq.setFrequency(1, 1520.0f);
            eq.setBandwidth(1, 2.0f);
            eq.setBypass(0, false);
            eq.setBypass(1, gain == 0.0);
            measuredGain(eq, hz);
            eq.setGain(1, float(gain)); // alone, as a drag of the gain sets it
            const double computed = cookbookMagnitude(true, 1520.0, 3.0, 0.0, hz) * cookbookMagnitude(false, 1520.0, 2.0, gain, hz);
            EXPECT_NEAR(dB(measuredGain(eq, hz)), dB(computed), 0.05) << hz << " Hz, gain " << gain;
        }
}

TEST(Equalizer, changesAndBypassSwitchesWhilePlayingMakeNoClick)
{
    Equalizer eq;
    eq.setBypass(1, false);
    // Blocks shorter than a fade, so that changes also arrive while one runs.
    const int block = 128, blocks = 800;
    std::vector<float> out, buffer(block);
    float* io[1] = {buffer.data()};
    for (int b = 0; b < blocks; ++b) {
        for (int n = 0; n < block; ++n)
            buffer[size_t(n)] = 0.3f * float(std::sin(2 * M_PI * 440.0 * (b * block + n) / kRate));
        eq.setFrequency(1, float(200.0 + 5.0 * b));
        eq.setGain(1, float(12.0 * std::sin(b * 0.05)));
        if (b % 100 == 0)
            eq.setBypass(0, (b / 100) % 2 == 0);
        eq.process(io, 1, block);
        out.insert(out.end(), buffer.begin(), buffer.end());
    }
    // A 440 Hz sine boosted at most 12 dB moves by at most 0.3 · 4 · 0.063 per sample.
    EXPECT_LT(measure::largestStep(out), 0.08f);
}

} // namespace
