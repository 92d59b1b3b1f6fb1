// The precise estimator on synthesised recordings written as WAV files and decoded like any track:
// the chords and their boundaries, and for each stage a recording that goes wrong without it.
#include "common/Testing.h"

#include "analysis/PreciseChordEstimator.h"

#include <optional>
#include <random>

using precisechord::Options;

namespace {

constexpr int kRate = 44100;

struct Note {
    double midi;
    double start; // seconds
    double length;
    double level = 0.12;
};

// Notes struck and left to ring: harmonic partials whose strength falls by `partialDecay` each,
// the whole note dying away with `ringSeconds`.
struct Recording {
    std::vector<Note> notes;
    double seconds = 0.0;
    double partialDecay = 0.6;
    int partials = 8;
    double ringSeconds = 1.2;
    double cents = 0.0;
    double noise = 0.0;

    fixtures::Signal render() const
    {
        std::vector<float> mono(size_t(seconds * kRate), 0.0f);
        for (const Note& note : notes) {
            const double hz = 440.0 * std::pow(2.0, (note.midi + cents / 100.0 - 69.0) / 12.0);
            const auto from = int64_t(note.start * kRate), to = std::min(int64_t(mono.size()), int64_t((note.start + note.length) * kRate));
            for (int h = 1; h <= partials && hz * h < 0.45 * kRate; ++h)
                for (int64_t n = from; n < to; ++n) {
                    const double t = double(n - from) / kRate, envelope = std::min(1.0, t / 0.005) * std::min(1.0, double(to - n) / (0.01 * kRate));
                    mono[size_t(n)] += float(note.level * std::pow(partialDecay, h - 1) * envelope * std::exp(-t / ringSeconds) * std::sin(2.0 * M_PI * hz * h * t));
                }
        }
        std::mt19937 random(7);
        std::normal_distribution<float> gauss(0.0f, float(noise));
        return fixtures::synthesise(kRate, 2, int64_t(mono.size()), [&](int64_t frame, int channel) {
            return mono[size_t(frame)] + (noise > 0.0 && channel == 0 ? gauss(random) : 0.0f);
        });
    }
};

struct Expected {
    QString name;
    double start;
    double end;
};

struct Chord {
    int root; // pitch class
    bool minor;
    double start;
    QString name() const { return LTChordEstimator::chordName(minor ? 12 + root : root); }
};

// Chords struck one after another, each ringing until the next (plus `overlap` seconds); with a
// bass line, the root and then the fifth two octaves down under each.
Recording progression(const std::vector<Chord>& chords, double seconds, bool bassLine = false, double overlap = 0.0)
{
    Recording r;
    r.seconds = seconds;
    for (size_t i = 0; i < chords.size(); ++i) {
        const Chord& c = chords[i];
        const double end = i + 1 < chords.size() ? chords[i + 1].start : seconds;
        const double base = 60 + c.root - (c.root > 6 ? 12 : 0); // closed position around middle C
        for (double midi : {base, base + (c.minor ? 3 : 4), base + 7})
            r.notes.push_back({midi, c.start, end - c.start + overlap});
        if (bassLine) {
            const double half = (end - c.start) / 2.0;
            r.notes.push_back({36.0 + c.root, c.start, half, 0.12});
            r.notes.push_back({43.0 + c.root, c.start + half, half, 0.12});
        }
    }
    return r;
}

std::vector<Expected> expectedOf(const std::vector<Chord>& chords, double seconds)
{
    std::vector<Expected> expected;
    for (size_t i = 0; i < chords.size(); ++i)
        expected.push_back({chords[i].name(), chords[i].start, i + 1 < chords.size() ? chords[i + 1].start : seconds});
    return expected;
}

// What differs between the segments and the chords expected, or "" when the names agree one to
// one and every boundary is within `tolerance` seconds.
std::string mismatch(const QList<LTChordSegment>& segments, const std::vector<Expected>& expected, double tolerance = 0.1)
{
    std::string found;
    for (const LTChordSegment& s : segments)
        found += QStringLiteral("%1 %2-%3, ").arg(s.noteName).arg(s.startSec, 0, 'f', 2).arg(s.endSec, 0, 'f', 2).toStdString();
    bool same = size_t(segments.size()) == expected.size();
    for (size_t i = 0; same && i < expected.size(); ++i) {
        const LTChordSegment& s = segments[qsizetype(i)];
        same = s.noteName == expected[i].name && std::abs(s.startSec - expected[i].start) <= tolerance
               && std::abs(s.endSec - expected[i].end) <= tolerance;
    }
    return same ? std::string() : "found " + found;
}

// C Am F G C at uneven times.
const std::vector<Chord> kPopSong{{0, false, 0.0}, {9, true, 1.7}, {5, false, 3.9}, {7, false, 5.6}, {0, false, 7.5}};
constexpr double kPopSongSeconds = 9.5;

struct PreciseChordEstimatorTest : ::testing::Test {
    QTemporaryDir dir;
    int count = 0;

    QList<LTChordSegment> estimate(const Recording& recording, Options options = {})
    {
        const QString path = dir.filePath(QStringLiteral("take%1.wav").arg(++count));
        EXPECT_TRUE(fixtures::writeWav(path, recording.render()));
        QString failure;
        const auto segments = PreciseChordEstimator::estimateChordSegmentsForFileURL(QUrl::fromLocalFile(path), {}, nullptr, &failure, options);
        EXPECT_TRUE(failure.isEmpty()) << failure.toStdString();
        return segments;
    }
};

} // namespace

// Each recording reads as its chords with the whole estimator; a recording with a stage switched
// off reads wrong without that stage.
TEST_F(PreciseChordEstimatorTest, RecordingsReadAsTheirChordsWithBoundariesWithinATenthOfASecondAndEachStageMendsItsCase)
{
    const std::vector<Expected> popSong = expectedOf(kPopSong, kPopSongSeconds);
    Recording detunedUp = progression(kPopSong, kPopSongSeconds), detunedDown = detunedUp, rich = detunedUp, detuned = detunedUp;
    detunedUp.cents = 40.0;
    detunedDown.cents = -40.0;
    rich.partialDecay = 0.9;
    rich.partials = 12;
    detuned.cents = 45.0; // nearer the semitone above than 40 cents: read wrong without tuning
    const std::vector<Chord> minors{{4, true, 0.0}, {11, true, 2.4}, {2, false, 4.1}, {4, true, 5.3}};
    Recording pause = progression({{7, false, 0.0}, {0, false, 4.0}}, 6.0);
    for (int i : {0, 1, 2})
        pause.notes[size_t(i)].length = 2.5; // G rings 2.5 s, then 1.5 s of silence

    // A loud bass with strong partials: its fifth partial is the major third of the chord above it.
    const std::vector<Chord> overBassChords{{9, true, 0.0}, {2, true, 2.1}, {4, true, 4.0}, {9, true, 6.2}};
    Recording overBass = progression(overBassChords, 8.0);
    overBass.partialDecay = 0.85;
    overBass.partials = 14;
    for (const Chord& c : overBassChords)
        overBass.notes.push_back({36.0 + c.root + (c.root < 4 ? 12 : 0), c.start, 2.0, 0.5});
    Recording noisy = progression(kPopSong, kPopSongSeconds);
    noisy.noise = 0.05;
    // Plucked chords that ring on under the next: the long frames hear the change early.
    Recording plucked = progression(kPopSong, kPopSongSeconds, false, 1.0);
    plucked.ringSeconds = 0.5;

    const struct {
        const char* what;
        Recording recording;
        std::vector<Expected> expected;
        std::optional<Options> without = std::nullopt;
    } cases[] = {
        {"decaying triads", progression(kPopSong, kPopSongSeconds), popSong},
        {"with a bass line on root and fifth", progression(kPopSong, kPopSongSeconds, true), popSong},
        {"40 cents sharp", detunedUp, popSong},
        {"40 cents flat", detunedDown, popSong},
        {"strong upper partials", rich, popSong},
        {"minor chords and a short one", progression(minors, 7.0, true), expectedOf(minors, 7.0)},
        {"silence", Recording{{}, 4.0}, {}},
        {"a pause leaves a gap", pause, {{"G", 0.0, 2.5}, {"C", 4.0, 6.0}}},
        {"tuning", detuned, popSong, Options{.tuning = false}},
        {"transcription", overBass, expectedOf(overBassChords, 8.0), Options{.transcription = false}},
        {"hmm", noisy, popSong, Options{.hmm = false}},
        {"onset snapping", plucked, popSong, Options{.onsetSnapping = false}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(mismatch(estimate(c.recording), c.expected), "");
        if (c.without) {
            EXPECT_NE(mismatch(estimate(c.recording, *c.without), c.expected), "");
        }
    }
}
