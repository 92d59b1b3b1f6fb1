// The precise estimator on synthesised recordings written as WAV files and decoded like any track:
// the chords and their boundaries, and for each stage a recording that goes wrong without it.
#include "common/Testing.h"

#include "analysis/PreciseChordEstimator.h"

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
            const auto from = int64_t(note.start * kRate);
            const auto to = std::min(int64_t(mono.size()), int64_t((note.start + note.length) * kRate));
            for (int h = 1; h <= partials && hz * h < 0.45 * kRate; ++h) {
                const double amplitude = note.level * std::pow(partialDecay, h - 1);
                const double step = 2.0 * M_PI * hz * h / kRate;
                for (int64_t n = from; n < to; ++n) {
                    const double t = double(n - from) / kRate;
                    const double attack = std::min(1.0, t / 0.005), release = std::min(1.0, double(to - n) / (0.01 * kRate));
                    mono[size_t(n)] += float(amplitude * attack * release * std::exp(-t / ringSeconds) * std::sin(step * double(n - from)));
                }
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

// Triad notes on a root (pitch class) around middle C, closed position.
std::vector<double> triad(int root, bool minor)
{
    const double base = 60 + root - (root > 6 ? 12 : 0);
    return {base, base + (minor ? 3 : 4), base + 7};
}

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
        for (double midi : triad(c.root, c.minor))
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
    if (size_t(segments.size()) != expected.size())
        return "found " + found;
    for (size_t i = 0; i < expected.size(); ++i) {
        const LTChordSegment& s = segments[qsizetype(i)];
        if (s.noteName != expected[i].name || std::abs(s.startSec - expected[i].start) > tolerance
            || std::abs(s.endSec - expected[i].end) > tolerance)
            return "found " + found;
    }
    return {};
}

// C Am F G C at uneven times.
const std::vector<Chord> kPopSong{{0, false, 0.0}, {9, true, 1.7}, {5, false, 3.9}, {7, false, 5.6}, {0, false, 7.5}};
constexpr double kPopSongSeconds = 9.5;

class PreciseChordEstimatorTest : public ::testing::Test {
protected:
    QTemporaryDir dir;

    QList<LTChordSegment> estimate(const Recording& recording, Options options = {})
    {
        const QString path = dir.filePath(QStringLiteral("take%1.wav").arg(++m_count));
        EXPECT_TRUE(fixtures::writeWav(path, recording.render()));
        QString failure;
        const QList<LTChordSegment> segments =
            PreciseChordEstimator::estimateChordSegmentsForFileURL(QUrl::fromLocalFile(path), {}, nullptr, &failure, options);
        EXPECT_TRUE(failure.isEmpty()) << failure.toStdString();
        return segments;
    }

private:
    int m_count = 0;
};

} // namespace

struct RecordingCase {
    const char* what;
    Recording recording;
    std::vector<Expected> expected;
};

TEST_F(PreciseChordEstimatorTest, SynthesisedRecordingsReadAsTheirChordsWithBoundariesWithinATenthOfASecond)
{
    Recording detunedUp = progression(kPopSong, kPopSongSeconds), detunedDown = detunedUp, rich = detunedUp;
    detunedUp.cents = 40.0;
    detunedDown.cents = -40.0;
    rich.partialDecay = 0.9;
    rich.partials = 12;
    const std::vector<Chord> minors{{4, true, 0.0}, {11, true, 2.4}, {2, false, 4.1}, {4, true, 5.3}};
    const RecordingCase cases[] = {
        {"decaying triads", progression(kPopSong, kPopSongSeconds), expectedOf(kPopSong, kPopSongSeconds)},
        {"with a bass line on root and fifth", progression(kPopSong, kPopSongSeconds, true), expectedOf(kPopSong, kPopSongSeconds)},
        {"40 cents sharp", detunedUp, expectedOf(kPopSong, kPopSongSeconds)},
        {"40 cents flat", detunedDown, expectedOf(kPopSong, kPopSongSeconds)},
        {"strong upper partials", rich, expectedOf(kPopSong, kPopSongSeconds)},
        {"minor chords and a short one", progression(minors, 7.0, true), expectedOf(minors, 7.0)},
    };
    for (const RecordingCase& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(mismatch(estimate(c.recording), c.expected), "");
    }
}

TEST_F(PreciseChordEstimatorTest, SilenceHasNoChordsAndAPauseLeavesAGap)
{
    EXPECT_TRUE(estimate(Recording{{}, 4.0}).isEmpty());
    Recording pause = progression({{7, false, 0.0}, {0, false, 4.0}}, 6.0);
    pause.notes[0].length = 2.5; // G rings 2.5 s, then 1.5 s of silence
    pause.notes[1].length = pause.notes[2].length = 2.5;
    EXPECT_EQ(mismatch(estimate(pause), {{"G", 0.0, 2.5}, {"C", 4.0, 6.0}}), "");
}

struct StageCase {
    const char* stage;
    Options without;
    Recording recording;
    std::vector<Expected> expected;
};

// Each recording is read right by the whole estimator and wrong without one stage.
TEST_F(PreciseChordEstimatorTest, EachStageMendsWhatGoesWrongWithoutIt)
{
    Recording detuned = progression(kPopSong, kPopSongSeconds);
    detuned.cents = 45.0; // nearer the semitone above than 40 cents: read wrong without tuning

    // A loud bass with strong partials: its fifth partial is the major third of the chord above it.
    const std::vector<Chord> minors{{9, true, 0.0}, {2, true, 2.1}, {4, true, 4.0}, {9, true, 6.2}};
    Recording overBass = progression(minors, 8.0);
    overBass.partialDecay = 0.85;
    overBass.partials = 14;
    for (const Chord& c : minors)
        overBass.notes.push_back({36.0 + c.root + (c.root < 4 ? 12 : 0), c.start, 2.0, 0.5});

    Recording noisy = progression(kPopSong, kPopSongSeconds);
    noisy.noise = 0.05;

    // Plucked chords that ring on under the next: the long frames hear the change early.
    Recording plucked = progression(kPopSong, kPopSongSeconds, false, 1.0);
    plucked.ringSeconds = 0.5;

    const StageCase cases[] = {
        {"tuning", {.tuning = false}, detuned, expectedOf(kPopSong, kPopSongSeconds)},
        {"transcription", {.transcription = false}, overBass, expectedOf(minors, 8.0)},
        {"hmm", {.hmm = false}, noisy, expectedOf(kPopSong, kPopSongSeconds)},
        {"onset snapping", {.onsetSnapping = false}, plucked, expectedOf(kPopSong, kPopSongSeconds)},
    };
    for (const StageCase& c : cases) {
        SCOPED_TRACE(c.stage);
        EXPECT_EQ(mismatch(estimate(c.recording), c.expected), "");
        EXPECT_NE(mismatch(estimate(c.recording, c.without), c.expected), "");
    }
}
