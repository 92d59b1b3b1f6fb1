#include "ChordTestSignals.h"

namespace chordtest {

std::vector<float> triad(const Chord& chord, double rate, float amplitude)
{
    const int root = 60 + chord.root;
    const int tones[3] = {root, root + (chord.minor ? 3 : 4), root + 7};
    const double overtones[4] = {1.0, 0.5, 0.3, 0.2};
    const auto frames = size_t(std::llround(chord.seconds * rate));
    std::vector<float> out(frames);
    for (size_t n = 0; n < frames; ++n) {
        double v = 0.0;
        for (int midi : tones) {
            const double hz = 440.0 * std::pow(2.0, (midi - 69) / 12.0);
            for (int h = 0; h < 4; ++h)
                v += overtones[h] * std::sin(2.0 * M_PI * hz * (h + 1) * double(n) / rate);
        }
        out[n] = float(amplitude * v);
    }
    return out;
}

void collect(ChordSampleStore& store, const std::vector<float>& mono)
{
    constexpr int64_t blockFrames = 8192;
    ChordSampleCollector collector(chordconst::kTargetRate, 1, QStringLiteral("test.wav"), store);
    for (int64_t at = 0; at < int64_t(mono.size()); at += blockFrames)
        collector.appendInterleaved(mono.data() + at, std::min<int64_t>(blockFrames, int64_t(mono.size()) - at));
}

QList<LTChordSegment> analyse(const std::vector<float>& mono, ChordFrameTrack* track)
{
    ChordSampleStore store;
    collect(store, mono);
    return analyseChordSamples(store, QStringLiteral("test.wav"), {}, nullptr, track);
}

} // namespace chordtest
