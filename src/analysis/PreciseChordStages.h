#pragma once

// The precise estimator's stages, each small enough to test alone; not part of the public API.

#include "analysis/LTChordSegment.h"

#include <QList>

#include <array>
#include <cstdint>
#include <vector>

namespace precisechord {

// The log-frequency axis: three bins per semitone, bin 3 × (m − 20) centred on MIDI note m.
constexpr int kBinsPerSemitone = 3;
constexpr int kLowestMidi = 20;
constexpr int kHighestMidi = 106;
constexpr int kLogBins = (kHighestMidi - kLowestMidi) * kBinsPerSemitone + 1;

// The notes the transcription knows.
constexpr int kLowestNote = 24;
constexpr int kHighestNote = 100;
constexpr int kNotes = kHighestNote - kLowestNote + 1;

// 0-11 major on C..B, 12-23 minor, then no chord: the chord index of LTChordSegment, extended.
constexpr int kStates = 25;
constexpr int kNoChord = 24;

constexpr double kFrameSeconds = 0.37;
// A frame this far below the file's loudest is near silence: 0.002 of full scale in a mastered
// recording, whose loudest frames reach about 0.3. Relative, because a quiet recording (a
// synthesiser's render at its default gain peaks near −22 dBFS) holds whole decaying chords below
// that absolute level.
constexpr double kSilenceBelowLoudest = 0.0067;
constexpr double kDigitalSilenceRms = 1e-5;
constexpr double kScoreScale = 10.0;
constexpr double kExpectedChordSeconds = 2.0; // the HMM leaves a chord once per this, on average
constexpr double kSnapReachSeconds = 0.2;
constexpr int kOnsetSize = 2048;
constexpr double kOnsetTopHz = 6000.0;

// Switches for the stages that can be left out, so that each one's worth can be measured.
struct Options {
    bool tuning = true;
    bool transcription = true; // off: the whitened spectrum at each note's centre stands for the note
    bool hmm = true;           // off: each frame's best state
    bool onsetSnapping = true;
};

using Spectrum = std::array<float, kLogBins>;
using Notes = std::array<float, kNotes>;
using Scores = std::array<float, kStates>;

// The power of two nearest 0.37 s at `rate` (16,384 at 44.1 and 48 kHz).
int stftSize(double rate);
double midiToHz(double midi);

// The sparse triangular mapping of STFT magnitudes onto the log-frequency bins: each bin gathers
// the STFT bins within its width, the larger of one STFT bin and a third of a semitone.
class LogFrequencyMap {
public:
    LogFrequencyMap(double rate, int fftSize);
    // magnitudes: fftSize / 2 + 1 values.
    void apply(const float* magnitudes, float* logBins) const;
    int stftBins() const { return m_stftBins; }
    // One past the highest STFT bin any log bin reads.
    int usedBins() const { return m_taps.empty() ? 0 : m_taps.back().bin + 1; }

private:
    struct Tap {
        int bin;
        float weight;
    };
    int m_stftBins;
    std::array<int, kLogBins + 1> m_first{}; // taps of log bin k: m_taps[m_first[k] .. m_first[k + 1])
    std::vector<Tap> m_taps;
};

// How far the spectrum's peaks sit from the equal-tempered grid, in semitones (−0.5 .. 0.5), from
// the phase of the mean spectrum's period of three bins.
double estimateTuning(const Spectrum& meanSpectrum);
// Reads the spectrum `semitones` higher, so a recording that is sharp by that much reads in tune.
void shiftSpectrum(const Spectrum& in, double semitones, Spectrum& out);

// Subtracts the running mean over half an octave either side, divides by the running standard
// deviation there (at least a hundredth of the largest bin), and clips what falls below zero.
void whiten(const Spectrum& in, Spectrum& out);

// The profiles of the 77 notes (partials up to the top of the axis, decaying by 0.7 each from
// MIDI 60 up and less below, mapped like the spectrum, unit norm)
// and their Gram matrix, for the non-negative least-squares transcription.
class NoteDictionary {
public:
    NoteDictionary(double rate, int fftSize, const LogFrequencyMap& map);
    void transcribe(const Spectrum& whitened, Notes& activations) const;
    const float* profile(int note) const { return &m_profiles[size_t(note) * kLogBins]; }

    static constexpr int kSweeps = 30;

private:
    struct Entry {
        int bin;
        float weight;
    };
    std::vector<float> m_profiles; // kNotes × kLogBins
    std::vector<float> m_gram;     // kNotes × kNotes
    // The profiles' nonzero bins, note after note: a profile is its partials' few bins.
    std::vector<Entry> m_entries;
    std::array<int, kNotes + 1> m_firstEntry{};
};

// Without the transcription: each note is the whitened spectrum at its centre bin.
void notesFromSpectrum(const Spectrum& whitened, Notes& activations);

struct Chroma {
    std::array<float, 12> treble{};
    std::array<float, 12> bass{};
};
Chroma chromaFromNotes(const Notes& activations);

// Log-likelihoods of the 25 states, scaled; a silent frame is no chord whatever it holds.
Scores chordScores(const Chroma& chroma, bool silent);

// The state sequence that best explains the scores under a self-transition of `stay` and equal
// moves to every other state.
std::vector<uint8_t> viterbi(const std::vector<Scores>& scores, double stay);
std::vector<uint8_t> bestPerFrame(const std::vector<Scores>& scores);

// The probability of `state` among all states, by the softmax of the scores.
float softmaxProbability(const Scores& scores, int state);

// Frames where the path changes state, each the first frame of the new state; snapped, each moves
// to the frame of the strongest onset within `reach` frames, staying after the previous change and
// before the next.
std::vector<int> changeFrames(const std::vector<uint8_t>& path);
std::vector<int> snapToOnsets(const std::vector<int>& changes, const std::vector<float>& onsetFlux, int reach);

// Runs of one chord between the changes, as segments; no-chord runs give none. Each run takes its
// state and its confidence (the mean over its frames) from the path as decoded, its times from
// `moved` (the changes after snapping, or the changes themselves): a change at frame t is at
// (t − 0.5) hops, the middle between the frame centres.
QList<LTChordSegment> segmentsFromPath(const std::vector<uint8_t>& path, const std::vector<int>& changes,
                                       const std::vector<int>& moved, const std::vector<float>& confidence,
                                       double hopSeconds, double durationSeconds);

} // namespace precisechord
