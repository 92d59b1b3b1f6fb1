#include "analysis/ChordFrameAnalyzer.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

using namespace chordconst;

namespace {

std::array<int8_t, kHighestBin + 1> buildPitchClassTable()
{
    std::array<int8_t, kHighestBin + 1> table{};
    for (int k = kLowestBin; k <= kHighestBin; ++k) {
        const float frequency = (float(k) * kTargetRateF) * (1.0f / 4096.0f);
        const float pitch = std::fmaf(12.0f, log2f(frequency / kTuningHz), kTuningMidi);
        const int midi = int(std::nearbyintf(pitch)); // default rounding: ties to even
        table[size_t(k)] = int8_t(((midi % 12) + 12) % 12);
    }
    return table;
}

float at(const ChordChroma& chroma, int root, int offset)
{
    return chroma[size_t((root + offset) % 12)];
}

} // namespace

int chromaPitchClassOfBin(int bin)
{
    static const auto table = buildPitchClassTable();
    return table[size_t(bin)];
}

ChordTemplateMatch matchChordTemplates(const ChordChroma& chroma)
{
    ChordTemplateMatch m;
    auto consider = [&m](int index, float share, float score) {
        m.scores[size_t(index)] = score;
        m.triadShares[size_t(index)] = share;
        if (score > m.bestScore) {
            m.secondScore = m.bestScore;
            m.bestScore = score;
            m.bestIndex = index;
            m.bestShare = share;
        } else if (score > m.secondScore) {
            m.secondScore = score;
        }
    };
    for (int r = 0; r < 12; ++r) {
        const float majorShare = at(chroma, r, 0) + at(chroma, r, 4) + at(chroma, r, 7);
        const float majorColour = at(chroma, r, 2) + at(chroma, r, 9);
        consider(r, majorShare, majorShare + kMajorColourWeight * majorColour - kOutsidePenalty * (1.0f - majorShare));
        const float minorShare = at(chroma, r, 0) + at(chroma, r, 3) + at(chroma, r, 7);
        const float minorColour = at(chroma, r, 5) + at(chroma, r, 10);
        consider(12 + r, minorShare, minorShare + kMinorColourWeight * minorColour - kOutsidePenalty * (1.0f - minorShare));
    }
    return m;
}

ChordFrameDecision decideChord(const ChordTemplateMatch& match)
{
    const float margin = match.bestScore - match.secondScore;
    if (match.bestIndex < 0 || match.bestShare < kSmallestTriadShare || margin < kSmallestMargin)
        return {};
    const float confidence = kShareSlope * (match.bestShare - kConfidenceOrigin) + kMarginSlope * margin;
    return {match.bestIndex, std::clamp(confidence, 0.0f, 1.0f)};
}

ChordFrameAnalyzer::ChordFrameAnalyzer()
{
    for (int n = 0; n < kFrameSize; ++n)
        m_window[size_t(n)] = float(kHannNorm * (1.0 - std::cos(2.0 * M_PI * double(n) / double(kFrameSize))));
}

bool ChordFrameAnalyzer::passesRmsGate(const float* samples) const
{
    double squares = 0.0;
    for (int n = 0; n < kFrameSize; ++n)
        squares += double(samples[n]) * double(samples[n]);
    return std::sqrt(squares / double(kFrameSize)) >= kRmsGate;
}

bool ChordFrameAnalyzer::foldChroma(const float* spectrum)
{
    m_chroma.fill(0.0f);
    float total = 0.0f;
    for (int k = kLowestBin; k <= kHighestBin; ++k) {
        const float re = spectrum[2 * k] * kFftScale;
        const float im = spectrum[2 * k + 1] * kFftScale;
        const float power = re * re + im * im;
        m_power[size_t(k)] = power;
        if (power > kBinPowerFloor) {
            m_chroma[size_t(chromaPitchClassOfBin(k))] += power;
            total += power;
        }
    }
    if (total < kFrameEnergyFloor)
        return false;
    for (float& c : m_chroma)
        c /= total;
    return true;
}

ChordFrameDecision ChordFrameAnalyzer::analyseFrame(const float* samples)
{
    m_voiced = false;
    m_match = {};
    if (!passesRmsGate(samples))
        return {};
    float* frame = m_fft.input();
    for (int n = 0; n < kFrameSize; ++n)
        frame[n] = samples[n] * m_window[size_t(n)];
    if (!foldChroma(m_fft.transform()))
        return {};
    m_voiced = true;
    m_match = matchChordTemplates(m_chroma);
    return decideChord(m_match);
}
