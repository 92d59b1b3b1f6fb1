#pragma once

#include "analysis/ChordConstants.h"
#include "audio/RealFft.h"

#include <array>

using ChordChroma = std::array<float, 12>;

// How the 24 triad templates scored one chroma vector.
struct ChordTemplateMatch {
    std::array<float, chordconst::kChordCount> scores{};
    std::array<float, chordconst::kChordCount> triadShares{};
    float bestScore = chordconst::kScoreStart;
    float secondScore = chordconst::kScoreStart;
    float bestShare = 0.0f;
    int bestIndex = -1;
};

struct ChordFrameDecision {
    int label = -1;
    float confidence = 0.0f;
};

// Pitch class (0 = C) that the power of an FFT bin is folded into.
int chromaPitchClassOfBin(int bin);

ChordTemplateMatch matchChordTemplates(const ChordChroma& chroma);
ChordFrameDecision decideChord(const ChordTemplateMatch& match);

// The per-frame decision: RMS gate, windowed FFT, chroma, templates. Owns its FFT and work arrays
// for the life of one analysis; one instance per thread.
class ChordFrameAnalyzer {
public:
    ChordFrameAnalyzer();

    bool isValid() const { return m_fft.isValid(); }

    // samples: kFrameSize values. After the call, lastFrameVoiced() tells whether the frame had a
    // chroma (which then counts towards the whole-file mean).
    ChordFrameDecision analyseFrame(const float* samples);

    bool lastFrameVoiced() const { return m_voiced; }
    const ChordChroma& lastChroma() const { return m_chroma; }
    const ChordTemplateMatch& lastMatch() const { return m_match; }
    // Power of a bin in the visited range, valid when the last frame passed the RMS gate.
    float binPower(int bin) const { return m_power[size_t(bin)]; }
    float windowAt(int n) const { return m_window[size_t(n)]; }

private:
    bool passesRmsGate(const float* samples) const;
    // spectrum: kBinCount + 1 interleaved complex values.
    bool foldChroma(const float* spectrum);

    RealFft m_fft{chordconst::kFrameSize};
    std::array<float, chordconst::kFrameSize> m_window{};
    std::array<float, chordconst::kBinCount> m_power{};
    ChordChroma m_chroma{};
    ChordTemplateMatch m_match;
    bool m_voiced = false;
};
