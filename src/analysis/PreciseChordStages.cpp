#include "analysis/PreciseChordStages.h"

#include "analysis/LTChordEstimator.h"

#include <algorithm>
#include <cmath>
#include <complex>

namespace precisechord {

namespace {

constexpr int kHalfOctaveBins = 6 * kBinsPerSemitone;
constexpr double kWhiteningFloor = 0.01; // of the frame's largest bin
// A profile's partials fall by this much each from MIDI 60 up. Below, the decay eases to none at
// MIDI 36: a low string's upper partials are about as strong as its fundamental, and after the
// whitening they stand as high as it up to the top of the axis. Profiles that miss them leave
// them to higher notes; a piano's low root then adds its fifth partial, the major third.
constexpr double kPartialDecay = 0.7;
constexpr double kFlatPartialsBelow = 36.0;
constexpr double kDecayingPartialsFrom = 60.0;

// The bass is what sounds below middle C, where a left hand plays; the treble fades out over
// MIDI 84-96, where most of what the transcription finds is the lower notes' upper partials.
constexpr int kBassBelow = 60;
constexpr double kTrebleFadesFrom = 84.0, kTrebleGoneAt = 96.0;

// Chord tones take 0.75 of a chord's treble profile; the other nine share the rest.
constexpr double kToneShare = 0.25;
constexpr double kOtherShare = 0.25 / 9.0;
// The bass favours the root, then the fifth, then the third.
constexpr double kBassRoot = 0.5, kBassFifth = 0.2, kBassThird = 0.15, kBassOther = 0.15 / 9.0;
constexpr float kForbidden = -1000.0f;

double sinc(double x)
{
    return std::abs(x) < 1e-9 ? 1.0 : std::sin(M_PI * x) / (M_PI * x);
}

// The magnitude a periodic Hann window gives a sinusoid `offset` bins away from a bin's centre,
// relative to its sum: the main lobe, zero from two bins on.
double hannLobe(double offset)
{
    if (std::abs(offset) >= 2.0)
        return 0.0;
    return std::abs(0.5 * sinc(offset) + 0.25 * sinc(offset - 1.0) + 0.25 * sinc(offset + 1.0));
}

double ramp(double x, double from, double to)
{
    return std::clamp((x - from) / (to - from), 0.0, 1.0);
}

} // namespace

int stftSize(double rate)
{
    const double target = kFrameSeconds * rate;
    int size = 1;
    while (size * 2 <= target)
        size *= 2;
    return (target - size < size * 2 - target) ? size : size * 2;
}

double midiToHz(double midi)
{
    return 440.0 * std::pow(2.0, (midi - 69.0) / 12.0);
}

LogFrequencyMap::LogFrequencyMap(double rate, int fftSize)
    : m_stftBins(fftSize / 2 + 1)
{
    const double binHz = rate / fftSize;
    const double thirdOfSemitone = std::pow(2.0, 1.0 / (12.0 * kBinsPerSemitone)) - 1.0;
    for (int k = 0; k < kLogBins; ++k) {
        m_first[size_t(k)] = int(m_taps.size());
        const double centre = midiToHz(kLowestMidi + double(k) / kBinsPerSemitone);
        const double width = std::max(binHz, centre * thirdOfSemitone);
        const int from = std::max(0, int(std::ceil((centre - width) / binHz)));
        const int to = std::min(m_stftBins - 1, int(std::floor((centre + width) / binHz)));
        for (int j = from; j <= to; ++j) {
            const double weight = 1.0 - std::abs(j * binHz - centre) / width;
            if (weight > 0.0)
                m_taps.push_back({j, float(weight)});
        }
    }
    m_first[kLogBins] = int(m_taps.size());
}

void LogFrequencyMap::apply(const float* magnitudes, float* logBins) const
{
    for (int k = 0; k < kLogBins; ++k) {
        float sum = 0.0f;
        for (int t = m_first[size_t(k)]; t < m_first[size_t(k) + 1]; ++t)
            sum += m_taps[size_t(t)].weight * magnitudes[m_taps[size_t(t)].bin];
        logBins[k] = sum;
    }
}

double estimateTuning(const Spectrum& meanSpectrum)
{
    std::complex<double> sum;
    for (int k = 0; k < kLogBins; ++k)
        sum += double(meanSpectrum[size_t(k)]) * std::polar(1.0, -2.0 * M_PI * k / kBinsPerSemitone);
    if (std::abs(sum) < 1e-12)
        return 0.0;
    // Peaks δ bins above the grid turn the sum by −2πδ/3.
    return -std::arg(sum) / (2.0 * M_PI);
}

void shiftSpectrum(const Spectrum& in, double semitones, Spectrum& out)
{
    const double shift = semitones * kBinsPerSemitone;
    for (int k = 0; k < kLogBins; ++k) {
        const double at = k + shift;
        const int below = int(std::floor(at));
        const double above = at - below;
        const auto value = [&in](int i) { return (i >= 0 && i < kLogBins) ? double(in[size_t(i)]) : 0.0; };
        out[size_t(k)] = float((1.0 - above) * value(below) + above * value(below + 1));
    }
}

void whiten(const Spectrum& in, Spectrum& out)
{
    std::array<double, kLogBins + 1> sum{}, squares{};
    for (int k = 0; k < kLogBins; ++k) {
        sum[size_t(k) + 1] = sum[size_t(k)] + in[size_t(k)];
        squares[size_t(k) + 1] = squares[size_t(k)] + double(in[size_t(k)]) * in[size_t(k)];
    }
    // Where nothing sounds, the deviation is that of the file's quantisation noise; dividing by it
    // would raise the noise to the height of notes.
    const double floor = kWhiteningFloor * *std::max_element(in.begin(), in.end());
    for (int k = 0; k < kLogBins; ++k) {
        const int from = std::max(0, k - kHalfOctaveBins);
        const int to = std::min(kLogBins, k + kHalfOctaveBins + 1);
        const double n = to - from;
        const double mean = (sum[size_t(to)] - sum[size_t(from)]) / n;
        const double variance = (squares[size_t(to)] - squares[size_t(from)]) / n - mean * mean;
        const double deviation = std::max(floor, std::sqrt(std::max(0.0, variance)));
        out[size_t(k)] = deviation > 0.0 ? float(std::max(0.0, (in[size_t(k)] - mean) / deviation)) : 0.0f;
    }
}

NoteDictionary::NoteDictionary(double rate, int fftSize, const LogFrequencyMap& map)
    : m_profiles(size_t(kNotes) * kLogBins, 0.0f)
    , m_gram(size_t(kNotes) * kNotes, 0.0f)
{
    const double binHz = rate / fftSize;
    const double topHz = std::min(0.5 * rate, midiToHz(kHighestMidi + 1));
    std::vector<float> line(size_t(map.stftBins()));
    for (int n = 0; n < kNotes; ++n) {
        std::fill(line.begin(), line.end(), 0.0f);
        const double f0 = midiToHz(kLowestNote + n);
        const double decay = 1.0 - (1.0 - kPartialDecay) * ramp(kLowestNote + n, kFlatPartialsBelow, kDecayingPartialsFrom);
        double amplitude = 1.0;
        for (int h = 1; f0 * h < topHz; ++h, amplitude *= decay) {
            const double at = f0 * h / binHz;
            for (int j = std::max(0, int(at) - 2); j <= std::min(map.stftBins() - 1, int(at) + 3); ++j)
                line[size_t(j)] += float(amplitude * hannLobe(j - at));
        }
        float* profile = &m_profiles[size_t(n) * kLogBins];
        map.apply(line.data(), profile);
        double norm = 0.0;
        for (int k = 0; k < kLogBins; ++k)
            norm += double(profile[k]) * profile[k];
        norm = std::sqrt(norm);
        m_firstEntry[size_t(n)] = int(m_entries.size());
        for (int k = 0; k < kLogBins; ++k) {
            profile[k] = norm > 0.0 ? float(profile[k] / norm) : 0.0f;
            if (profile[k] > 0.0f)
                m_entries.push_back({k, profile[k]});
        }
    }
    m_firstEntry[kNotes] = int(m_entries.size());
    for (int a = 0; a < kNotes; ++a)
        for (int b = 0; b < kNotes; ++b) {
            double dot = 0.0;
            for (int k = 0; k < kLogBins; ++k)
                dot += double(profile(a)[k]) * profile(b)[k];
            m_gram[size_t(a) * kNotes + size_t(b)] = float(dot);
        }
}

// Coordinate descent on ½‖P x − s‖² with x ≥ 0: the gradient G x − Pᵀs is kept up to date, so a
// sweep costs one column of G per note that moves.
void NoteDictionary::transcribe(const Spectrum& whitened, Notes& activations) const
{
    Notes gradient;
    for (int n = 0; n < kNotes; ++n) {
        float dot = 0.0f;
        for (int e = m_firstEntry[size_t(n)]; e < m_firstEntry[size_t(n) + 1]; ++e)
            dot += m_entries[size_t(e)].weight * whitened[size_t(m_entries[size_t(e)].bin)];
        gradient[size_t(n)] = -dot;
        activations[size_t(n)] = 0.0f;
    }
    for (int sweep = 0; sweep < kSweeps; ++sweep) {
        bool moved = false;
        for (int n = 0; n < kNotes; ++n) {
            const float* column = &m_gram[size_t(n) * kNotes];
            const float diagonal = column[n];
            if (!(diagonal > 0.0f))
                continue;
            const float next = std::max(0.0f, activations[size_t(n)] - gradient[size_t(n)] / diagonal);
            const float step = next - activations[size_t(n)];
            if (step == 0.0f)
                continue;
            moved = true;
            activations[size_t(n)] = next;
            for (int m = 0; m < kNotes; ++m)
                gradient[size_t(m)] += step * column[m];
        }
        if (!moved)
            break;
    }
}

void notesFromSpectrum(const Spectrum& whitened, Notes& activations)
{
    for (int n = 0; n < kNotes; ++n)
        activations[size_t(n)] = whitened[size_t((kLowestNote + n - kLowestMidi) * kBinsPerSemitone)];
}

Chroma chromaFromNotes(const Notes& activations)
{
    Chroma chroma;
    for (int n = 0; n < kNotes; ++n) {
        const int midi = kLowestNote + n;
        const double treble = ramp(midi, 45.0, 53.0) * (1.0 - ramp(midi, kTrebleFadesFrom, kTrebleGoneAt));
        chroma.treble[size_t(midi % 12)] += float(treble * activations[size_t(n)]);
        if (midi < kBassBelow)
            chroma.bass[size_t(midi % 12)] += activations[size_t(n)];
    }
    return chroma;
}

Scores chordScores(const Chroma& chroma, bool silent)
{
    Scores scores;
    double treble = 0.0, bass = 0.0;
    for (int pc = 0; pc < 12; ++pc) {
        treble += chroma.treble[size_t(pc)];
        bass += chroma.bass[size_t(pc)];
    }
    if (silent || !(treble + bass > 1e-9)) {
        scores.fill(kForbidden);
        scores[kNoChord] = 0.0f;
        return scores;
    }
    const double bassShare = bass / (bass + treble);
    const auto trebleAt = [&](int pc) { return treble > 0.0 ? chroma.treble[size_t(pc % 12)] / treble : 1.0 / 12.0; };
    const auto bassAt = [&](int pc) { return bass > 0.0 ? chroma.bass[size_t(pc % 12)] / bass : 1.0 / 12.0; };
    for (int state = 0; state < kNoChord; ++state) {
        const int root = state % 12;
        const int third = root + (state < 12 ? 4 : 3);
        const int fifth = root + 7;
        const double tones = trebleAt(root) + trebleAt(third) + trebleAt(fifth);
        const double trebleTerm = tones * std::log(kToneShare) + (1.0 - tones) * std::log(kOtherShare);
        const double r = bassAt(root), t = bassAt(third), f = bassAt(fifth);
        const double bassTerm = r * std::log(kBassRoot) + f * std::log(kBassFifth) + t * std::log(kBassThird)
                                + std::max(0.0, 1.0 - r - t - f) * std::log(kBassOther);
        scores[size_t(state)] = float(kScoreScale * (trebleTerm + bassShare * bassTerm));
    }
    scores[kNoChord] = float(kScoreScale * (1.0 + bassShare) * std::log(1.0 / 12.0));
    return scores;
}

std::vector<uint8_t> viterbi(const std::vector<Scores>& scores, double stay)
{
    const size_t frames = scores.size();
    std::vector<uint8_t> path(frames);
    if (frames == 0)
        return path;
    const double logStay = std::log(stay);
    const double logMove = std::log((1.0 - stay) / (kStates - 1));
    std::vector<std::array<uint8_t, kStates>> from(frames);
    std::array<double, kStates> best{};
    for (int s = 0; s < kStates; ++s)
        best[size_t(s)] = scores[0][size_t(s)];
    for (size_t t = 1; t < frames; ++t) {
        // Moves are equally likely, so the best way in from elsewhere is from the best state.
        const auto top = size_t(std::max_element(best.begin(), best.end()) - best.begin());
        std::array<double, kStates> next{};
        for (size_t s = 0; s < kStates; ++s) {
            const double kept = best[s] + logStay;
            const double moved = best[top] + logMove;
            const bool keep = s == top || kept >= moved;
            next[s] = (keep ? kept : moved) + scores[t][s];
            from[t][s] = uint8_t(keep ? s : top);
        }
        best = next;
    }
    path[frames - 1] = uint8_t(std::max_element(best.begin(), best.end()) - best.begin());
    for (size_t t = frames - 1; t > 0; --t)
        path[t - 1] = from[t][path[t]];
    return path;
}

std::vector<uint8_t> bestPerFrame(const std::vector<Scores>& scores)
{
    std::vector<uint8_t> path(scores.size());
    for (size_t t = 0; t < scores.size(); ++t)
        path[t] = uint8_t(std::max_element(scores[t].begin(), scores[t].end()) - scores[t].begin());
    return path;
}

float softmaxProbability(const Scores& scores, int state)
{
    const float top = *std::max_element(scores.begin(), scores.end());
    double sum = 0.0;
    for (float s : scores)
        sum += std::exp(double(s - top));
    return float(std::exp(double(scores[size_t(state)] - top)) / sum);
}

std::vector<int> changeFrames(const std::vector<uint8_t>& path)
{
    std::vector<int> changes;
    for (size_t t = 1; t < path.size(); ++t)
        if (path[t] != path[t - 1])
            changes.push_back(int(t));
    return changes;
}

std::vector<int> snapToOnsets(const std::vector<int>& changes, const std::vector<float>& onsetFlux, int reach)
{
    std::vector<int> moved(changes);
    for (size_t i = 0; i < changes.size(); ++i) {
        const int at = changes[i];
        const int from = std::max({at - reach, i > 0 ? moved[i - 1] + 1 : 1, 1});
        const int to = std::min({at + reach, i + 1 < changes.size() ? changes[i + 1] - 1 : at + reach,
                                 int(onsetFlux.size()) - 1});
        int best = at;
        float strongest = -1.0f;
        for (int t = from; t <= to; ++t) {
            const float flux = onsetFlux[size_t(t)];
            if (flux > strongest || (flux == strongest && std::abs(t - at) < std::abs(best - at))) {
                strongest = flux;
                best = t;
            }
        }
        if (from <= to)
            moved[i] = best;
    }
    return moved;
}

QList<LTChordSegment> segmentsFromPath(const std::vector<uint8_t>& path, const std::vector<int>& changes,
                                       const std::vector<int>& moved, const std::vector<float>& confidence,
                                       double hopSeconds, double durationSeconds)
{
    QList<LTChordSegment> segments;
    const size_t runs = path.empty() ? 0 : changes.size() + 1;
    const auto timeOf = [&](int frame) { return std::clamp((frame - 0.5) * hopSeconds, 0.0, durationSeconds); };
    for (size_t r = 0; r < runs; ++r) {
        const int first = r == 0 ? 0 : changes[r - 1];
        const int end = r < changes.size() ? changes[r] : int(path.size());
        const int state = path[size_t(first)];
        if (state == kNoChord)
            continue;
        double sum = 0.0;
        for (int t = first; t < end; ++t)
            sum += confidence[size_t(t)];
        LTChordSegment segment;
        segment.startSec = r == 0 ? 0.0 : timeOf(moved[r - 1]);
        segment.endSec = r < changes.size() ? timeOf(moved[r]) : durationSeconds;
        segment.midi = state;
        segment.noteName = LTChordEstimator::chordName(state);
        segment.confidence = sum / std::max(1, end - first);
        if (segment.endSec > segment.startSec)
            segments << segment;
    }
    return segments;
}

} // namespace precisechord
