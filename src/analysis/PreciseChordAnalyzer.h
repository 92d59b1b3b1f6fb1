#pragma once

#include "analysis/LTChordEstimator.h"
#include "analysis/PreciseChordStages.h"
#include "audio/RealFft.h"

#include <atomic>
#include <memory>
#include <vector>

// The precise estimator on a stream of samples: frames are transformed as the samples arrive, so
// only the log-frequency spectra (259 floats a frame, about 80 MB for an hour at 44.1 kHz) and
// one frame's worth of samples are held; everything that needs the whole file runs in finish().
class PreciseChordAnalyzer {
public:
    explicit PreciseChordAnalyzer(double sampleRate, precisechord::Options options = {}, int64_t expectedFrames = 0);

    bool isValid() const { return m_fft.isValid() && m_onsetFft.isValid(); }
    void appendMono(const float* samples, int64_t count);

    // The segments of everything appended; empty on a cancel. Call once.
    QList<LTChordSegment> finish(const LTChordEstimator::Progress& progress = {},
                                 const std::atomic<bool>* cancel = nullptr);

    int fftSize() const { return m_fftSize; }
    int hop() const { return m_hop; }
    // The offset finish() found, in semitones.
    double tuning() const { return m_tuning; }

private:
    void analyseReadyFrames(int64_t lastFrame);
    void analyseFrame(const float* samples);

    precisechord::Options m_options;
    double m_rate;
    int m_fftSize;
    int m_hop;
    RealFft m_fft;
    RealFft m_onsetFft;
    precisechord::LogFrequencyMap m_map;
    std::vector<float> m_window, m_onsetWindow, m_magnitudes, m_onsetMagnitudes, m_previousOnset;
    int m_onsetTopBin = 0;

    // Samples from m_signalStart on, counted with the N/2 zeros that centre the first frame.
    std::vector<float> m_signal;
    int64_t m_signalStart = 0;
    int64_t m_samples = 0;
    int64_t m_nextFrame = 0;

    std::vector<precisechord::Spectrum> m_spectra;
    std::array<double, precisechord::kLogBins> m_spectrumSum{};
    std::vector<float> m_onsetFlux;
    std::vector<float> m_rms;
    double m_tuning = 0.0;
};
