#include "analysis/PreciseChordAnalyzer.h"

#include <algorithm>
#include <cmath>

using namespace precisechord;

namespace {

// Consumed samples are dropped in chunks, so the buffer is moved seldom.
constexpr int64_t kCompactSamples = 1 << 16;

std::vector<float> periodicHann(int size)
{
    std::vector<float> window(static_cast<size_t>(size));
    for (int n = 0; n < size; ++n)
        window[size_t(n)] = float(0.5 - 0.5 * std::cos(2.0 * M_PI * n / size));
    return window;
}

} // namespace

PreciseChordAnalyzer::PreciseChordAnalyzer(double sampleRate, Options options, int64_t expectedFrames)
    : m_options(options)
    , m_rate(sampleRate)
    , m_fftSize(stftSize(sampleRate))
    , m_hop(m_fftSize / 8)
    , m_fft(m_fftSize)
    , m_onsetFft(kOnsetSize)
    , m_map(sampleRate, m_fftSize)
    , m_window(periodicHann(m_fftSize))
    , m_onsetWindow(periodicHann(kOnsetSize))
    , m_magnitudes(size_t(m_fftSize / 2 + 1))
    , m_onsetMagnitudes(size_t(kOnsetSize / 2 + 1))
    , m_previousOnset(size_t(kOnsetSize / 2 + 1))
    , m_signal(size_t(m_fftSize / 2), 0.0f)
{
    m_onsetTopBin = std::min(kOnsetSize / 2, int(kOnsetTopHz * kOnsetSize / sampleRate));
    m_signal.reserve(size_t(m_fftSize + kCompactSamples + 65536));
    if (expectedFrames > 0) {
        const auto frames = size_t(expectedFrames / m_hop + 2);
        m_spectra.reserve(frames);
        m_onsetFlux.reserve(frames);
        m_rms.reserve(frames);
    }
}

void PreciseChordAnalyzer::appendMono(const float* samples, int64_t count)
{
    m_signal.insert(m_signal.end(), samples, samples + count);
    m_samples += count;
    analyseReadyFrames(INT64_MAX);
}

void PreciseChordAnalyzer::analyseReadyFrames(int64_t lastFrame)
{
    const int64_t available = m_signalStart + int64_t(m_signal.size());
    while (m_nextFrame <= lastFrame && m_nextFrame * m_hop + m_fftSize <= available) {
        analyseFrame(m_signal.data() + (m_nextFrame * m_hop - m_signalStart));
        ++m_nextFrame;
    }
    const int64_t consumed = m_nextFrame * m_hop - m_signalStart;
    if (consumed >= kCompactSamples) {
        m_signal.erase(m_signal.begin(), m_signal.begin() + consumed);
        m_signalStart += consumed;
    }
}

void PreciseChordAnalyzer::analyseFrame(const float* samples)
{
    // Eight partial sums, so the loop vectorises without reordering one long sum.
    std::array<float, 8> squares{};
    float* input = m_fft.input();
    for (int n = 0; n < m_fftSize; n += 8)
        for (int i = 0; i < 8; ++i) {
            squares[size_t(i)] += samples[n + i] * samples[n + i];
            input[n + i] = samples[n + i] * m_window[size_t(n + i)];
        }
    double sum = 0.0;
    for (float s : squares)
        sum += s;
    m_rms.push_back(float(std::sqrt(sum / m_fftSize)));
    m_fft.magnitudes(std::span(m_magnitudes).first(size_t(m_map.usedBins())));
    Spectrum& spectrum = m_spectra.emplace_back();
    m_map.apply(m_magnitudes.data(), spectrum.data());
    for (int k = 0; k < kLogBins; ++k)
        m_spectrumSum[size_t(k)] += spectrum[size_t(k)];

    // Flux of the compressed short-time spectrum on the same centre: how much louder each bin got.
    const float* centred = samples + (m_fftSize - kOnsetSize) / 2;
    float* onsetInput = m_onsetFft.input();
    for (int n = 0; n < kOnsetSize; ++n)
        onsetInput[n] = centred[n] * m_onsetWindow[size_t(n)];
    m_onsetFft.magnitudes(std::span(m_onsetMagnitudes).first(size_t(m_onsetTopBin + 1)));
    float flux = 0.0f;
    for (int k = 1; k <= m_onsetTopBin; ++k) {
        const float level = std::log1p(m_onsetMagnitudes[size_t(k)]);
        flux += std::max(0.0f, level - m_previousOnset[size_t(k)]);
        m_previousOnset[size_t(k)] = level;
    }
    m_onsetFlux.push_back(m_spectra.size() == 1 ? 0.0f : flux);
}

QList<LTChordSegment> PreciseChordAnalyzer::finish(const LTChordEstimator::Progress& progress,
                                                   const std::atomic<bool>* cancel)
{
    // Centred frames: one per hop up to the last sample, the end padded with zeros.
    const int64_t frames = m_samples / m_hop + 1;
    const int64_t needed = (frames - 1) * m_hop + m_fftSize;
    m_signal.resize(size_t(std::max<int64_t>(int64_t(m_signal.size()), needed - m_signalStart)), 0.0f);
    analyseReadyFrames(frames - 1);
    m_signal = {};

    Spectrum mean{};
    for (int k = 0; k < kLogBins; ++k)
        mean[size_t(k)] = float(m_spectrumSum[size_t(k)] / double(std::max<size_t>(1, m_spectra.size())));
    m_tuning = m_options.tuning ? estimateTuning(mean) : 0.0;

    const float loudest = m_rms.empty() ? 0.0f : *std::max_element(m_rms.begin(), m_rms.end());
    const float silence = std::max(float(kDigitalSilenceRms), float(kSilenceBelowLoudest) * loudest);
    const NoteDictionary dictionary(m_rate, m_fftSize, m_map);
    std::vector<Scores> scores(m_spectra.size());
    Spectrum shifted, white;
    Notes notes;
    for (size_t t = 0; t < m_spectra.size(); ++t) {
        if (t % 512 == 0) {
            if (cancel && cancel->load())
                return {};
            if (progress)
                progress(double(t) / double(m_spectra.size()));
        }
        shiftSpectrum(m_spectra[t], m_tuning, shifted);
        whiten(shifted, white);
        if (m_options.transcription)
            dictionary.transcribe(white, notes);
        else
            notesFromSpectrum(white, notes);
        scores[t] = chordScores(chromaFromNotes(notes), m_rms[t] < silence);
    }
    m_spectra = {};

    const double hopSeconds = m_hop / m_rate;
    const std::vector<uint8_t> path =
        m_options.hmm ? viterbi(scores, 1.0 - hopSeconds / kExpectedChordSeconds) : bestPerFrame(scores);
    std::vector<float> confidence(path.size());
    for (size_t t = 0; t < path.size(); ++t)
        confidence[t] = softmaxProbability(scores[t], path[t]);
    const std::vector<int> changes = changeFrames(path);
    const std::vector<int> moved = m_options.onsetSnapping
                                       ? snapToOnsets(changes, m_onsetFlux, int(std::lround(kSnapReachSeconds / hopSeconds)))
                                       : changes;
    return segmentsFromPath(path, changes, moved, confidence, hopSeconds, double(m_samples) / m_rate);
}
