// Both estimators on recordings written as files and decoded like any track: synthesised notes, and
// MIDI songs rendered by FluidSynth with the General MIDI soundfont.
#include "analysis/LTChordEstimatorInternal.h"
#include "analysis/PreciseChordEstimator.h"
#include "common/Testing.h"

#include <QStandardPaths>
#include <QtEndian>
#include <map>
#include <optional>
#include <random>

using chordconst::kTargetRate;
using precisechord::Options;

namespace {

struct Note { double midi, start, length, level = 0.12; };

// Notes struck and left to ring: harmonic partials whose strength falls by `partialDecay` each, the
// whole note dying away with `ringSeconds`. `side` is added to the left and taken from the right,
// so the channels' mean holds only `notes`.
struct Recording {
    std::vector<Note> notes, side;
    double seconds = 0.0, partialDecay = 0.6, ringSeconds = 1.2, cents = 0.0, noise = 0.0, rate = 44100.0;
    int partials = 8;

    std::vector<float> mono(bool ofSide = false) const
    {
        std::vector<float> out(size_t(seconds * rate), 0.0f);
        for (const Note& note : ofSide ? side : notes) {
            const double hz = 440.0 * std::pow(2.0, (note.midi + cents / 100.0 - 69.0) / 12.0);
            const auto from = int64_t(note.start * rate), to = std::min(int64_t(out.size()), int64_t((note.start + note.length) * rate));
            for (int h = 1; h <= partials && hz * h < 0.45 * rate; ++h)
                for (int64_t n = from; n < to; ++n) {
                    const double t = double(n - from) / rate, envelope = std::min(1.0, t / 0.005) * std::min(1.0, double(to - n) / (0.01 * rate));
                    out[size_t(n)] += float(note.level * std::pow(partialDecay, h - 1) * envelope * std::exp(-t / ringSeconds) * std::sin(2.0 * M_PI * hz * h * t));
                }
        }
        return out;
    }
    fixtures::Signal render() const
    {
        const std::vector<float> m = mono(), s = mono(true);
        std::mt19937 random(7);
        std::normal_distribution<float> gauss(0.0f, float(noise));
        return fixtures::synthesise(int(rate), 2, int64_t(m.size()), [&](int64_t f, int c) {
            return m[size_t(f)] + (c == 0 ? s[size_t(f)] : -s[size_t(f)]) + (noise > 0.0 && c == 0 ? gauss(random) : 0.0f);
        });
    }
};

struct Chord {
    int root; // pitch class
    bool minor;
    double start = 0.0, end = -1.0; // by default, until the next chord or the recording's end
    int index() const { return minor ? 12 + root : root; }
    QString name() const { return LTChordEstimator::chordName(index()); }
    // The triad's notes nearest above `floor`, in close position.
    std::vector<int> voicing(int floor) const
    {
        std::vector<int> keys;
        for (int interval : {0, minor ? 3 : 4, 7})
            keys.push_back(floor + ((root + interval - floor) % 12 + 12) % 12);
        std::sort(keys.begin(), keys.end());
        return keys;
    }
};

double endOf(const std::vector<Chord>& chords, size_t i, double seconds)
{
    return chords[i].end >= 0.0 ? chords[i].end : i + 1 < chords.size() ? chords[i + 1].start : seconds;
}

Recording with(Recording r, const std::function<void(Recording&)>& change) { return change(r), r; }

// Chords struck one after another, each ringing until the next (plus `overlap` seconds); with a
// bass line, the root and then the fifth two octaves down under each.
Recording progression(const std::vector<Chord>& chords, double seconds, bool bassLine = false, double overlap = 0.0)
{
    Recording r{.seconds = seconds};
    for (size_t i = 0; i < chords.size(); ++i) {
        const Chord& c = chords[i];
        const double end = endOf(chords, i, seconds), half = (end - c.start) / 2.0;
        const double base = 60 + c.root - (c.root > 6 ? 12 : 0); // closed position around middle C
        for (double midi : {base, base + (c.minor ? 3 : 4), base + 7})
            r.notes.push_back({midi, c.start, end - c.start + overlap});
        if (bassLine)
            r.notes.insert(r.notes.end(), {{36.0 + c.root, c.start, half}, {43.0 + c.root, c.start + half, half}});
    }
    return r;
}

std::string found(const QList<LTChordSegment>& segments)
{
    std::string out = "found ";
    for (const LTChordSegment& s : segments)
        out += QStringLiteral("%1 %2-%3, ").arg(s.noteName).arg(s.startSec, 0, 'f', 2).arg(s.endSec, 0, 'f', 2).toStdString();
    return out;
}

// "" when the names agree one to one with the chords of a recording `seconds` long and every
// boundary is within `tolerance` seconds.
std::string mismatch(const QList<LTChordSegment>& segments, const std::vector<Chord>& chords, double seconds, double tolerance = 0.1)
{
    bool same = size_t(segments.size()) == chords.size();
    for (size_t i = 0; same && i < chords.size(); ++i) {
        const LTChordSegment& s = segments[qsizetype(i)];
        same = s.noteName == chords[i].name() && std::abs(s.startSec - chords[i].start) <= tolerance && std::abs(s.endSec - endOf(chords, i, seconds)) <= tolerance;
    }
    return same ? std::string() : found(segments);
}

// Mono samples at the target rate, collected as "test.wav" in blocks of 8,192, through the basic estimator's stages.
QList<LTChordSegment> analyse(const std::vector<float>& mono, ChordFrameTrack* track)
{
    ChordSampleStore store;
    ChordSampleCollector collector(kTargetRate, 1, QStringLiteral("test.wav"), store);
    for (int64_t at = 0; at < int64_t(mono.size()); at += 8192)
        collector.appendInterleaved(mono.data() + at, std::min<int64_t>(8192, int64_t(mono.size()) - at));
    return analyseChordSamples(store, QStringLiteral("test.wav"), {}, nullptr, track);
}

struct ChordRecordings : ::testing::Test {
    QTemporaryDir dir;
    int count = 0;

    QUrl write(const Recording& recording)
    {
        const QString path = dir.filePath(QStringLiteral("take%1.wav").arg(++count));
        EXPECT_TRUE(fixtures::writeWav(path, recording.render(), true));
        return QUrl::fromLocalFile(path);
    }
    static QList<LTChordSegment> precise(const QUrl& url, Options options = {})
    {
        QString failure;
        const auto segments = PreciseChordEstimator::estimateChordSegmentsForFileURL(url, {}, nullptr, &failure, options);
        EXPECT_TRUE(failure.isEmpty()) << failure.toStdString();
        return segments;
    }
};

// C Am F G C at uneven times.
const std::vector<Chord> kPopSong{{0, false, 0.0}, {9, true, 1.7}, {5, false, 3.9}, {7, false, 5.6}, {0, false, 7.5}};
constexpr double kPopSongSeconds = 9.5;

} // namespace

TEST_F(ChordRecordings, TheBasicEstimatorGivesEachChordOfTheChannelsMeanWithItsBoundariesProgressAndCancel)
{
    const std::vector<Chord> chords{{0, false, 0.0}, {9, true, 2.0}, {5, false, 4.0}, {7, false, 6.0}, {4, true, 8.0},
                                    {2, false, 10.0}, {11, true, 12.0}, {1, false, 14.5}, {6, true, 16.5}};
    const QUrl url = write(with(progression(chords, 18.0), [](Recording& r) {
        r.ringSeconds = 1e9, r.partials = 4, r.side = {{63, 0.0, 18.0, 0.18}, {66, 0.0, 18.0, 0.18}, {70, 0.0, 18.0, 0.18}};
    }));
    std::vector<double> reports;
    const QList<LTChordSegment> segments = LTChordEstimator::estimateChordSegmentsForFileURL(url, [&](double f) { reports.push_back(f); });
    EXPECT_EQ(mismatch(segments, chords, 18.0, 0.25), "");
    for (const LTChordSegment& s : segments)
        EXPECT_GE(s.confidence, 0.8) << s.noteName.toStdString();
    EXPECT_EQ(segments.value(segments.size() - 1).endSec, 18.0);
    EXPECT_TRUE(reports.size() >= 2 && std::is_sorted(reports.begin(), reports.end()) && reports.back() == 1.0);

    std::atomic<bool> cancel{true};
    QString failure = QStringLiteral("stale");
    EXPECT_TRUE(LTChordEstimator::estimateChordSegmentsForFileURL(url, {}, &cancel, &failure).isEmpty());
    EXPECT_TRUE(failure.isEmpty()) << "a cancel is no failure of the file";

    // A WAV whose header promises more than the file holds fails while reading.
    ASSERT_TRUE(QFile::resize(url.toLocalFile(), QFileInfo(url.toLocalFile()).size() / 2 + 3));
    ASSERT_TRUE(fixtures::writeFile(dir.filePath("notes.wav"), "bars 9-16: watch the bass\n"));
    for (const auto& [file, why] : {std::pair{dir.filePath("missing.wav"), "no such file"}, {dir.filePath("notes.wav"), "no decodable audio stream"},
                                    {url.toLocalFile(), "the file is damaged or truncated"}}) {
        EXPECT_TRUE(LTChordEstimator::estimateChordSegmentsForFileURL(QUrl::fromLocalFile(file), {}, nullptr, &failure).isEmpty());
        EXPECT_EQ(failure, why);
    }
}

TEST(ChordAnalysis, TooShortInputGivesNothingAndUndecidedFramesTheWholeFileFallback)
{
    ChordFrameTrack track;
    // 8,192 samples make five frames; one fewer is not analysed at all.
    const std::vector<float> chord = with(progression({{7, false}}, 1.0), [](Recording& r) { r.rate = kTargetRate; }).mono();
    analyse({chord.begin(), chord.begin() + 8192}, &track);
    EXPECT_EQ(track.labels, std::vector<int>(5, 7));
    track = {};
    EXPECT_TRUE(analyse({chord.begin(), chord.begin() + 8191}, &track).isEmpty());
    EXPECT_TRUE(track.labels.empty());

    // C, E, G and a slightly weaker A: C major and A minor score within the smallest margin, so no
    // frame is decided, but the mean chroma leans to C major.
    const Recording x{.notes = {{60, 0, 5, 0.2 * std::sqrt(0.2525)}, {64, 0, 5, 0.2 * std::sqrt(0.2525)}, {67, 0, 5, 0.1}, {69, 0, 5, 0.2 * std::sqrt(0.245)}},
                      .seconds = 5.0, .ringSeconds = 1e9, .rate = kTargetRate, .partials = 1};
    EXPECT_EQ(analyse(x.mono(), &track), (QList<LTChordSegment>{{0.0, 5.0, 0.0, 0, "C", 0.2}}));
    EXPECT_EQ(track.labels, std::vector<int>(104, -1));
    EXPECT_EQ(track.voicedFrames, 104);
}

// Each recording reads as its chords with the whole precise estimator; a recording with a stage
// switched off reads wrong without that stage.
TEST_F(ChordRecordings, ThePreciseEstimatorReadsEachWithinATenthOfASecondAndEachStageMendsItsCase)
{
    const auto pop = [](const std::function<void(Recording&)>& change) { return with(progression(kPopSong, kPopSongSeconds), change); };
    const std::vector<Chord> minors{{4, true, 0.0}, {11, true, 2.4}, {2, false, 4.1}, {4, true, 5.3}};
    // A loud bass with strong partials: its fifth partial is the major third of the chord above it.
    const std::vector<Chord> overBassChords{{9, true, 0.0}, {2, true, 2.1}, {4, true, 4.0}, {9, true, 6.2}};
    Recording overBass = with(progression(overBassChords, 8.0), [](Recording& r) { r.partialDecay = 0.85, r.partials = 14; });
    for (const Chord& c : overBassChords)
        overBass.notes.push_back({36.0 + c.root + (c.root < 4 ? 12 : 0), c.start, 2.0, 0.5});

    const struct {
        const char* what;
        Recording recording;
        std::vector<Chord> expected;
        std::optional<Options> without = std::nullopt;
    } cases[] = {
        {"decaying triads", progression(kPopSong, kPopSongSeconds), kPopSong},
        {"with a bass line on root and fifth", progression(kPopSong, kPopSongSeconds, true), kPopSong},
        {"40 cents flat", pop([](Recording& r) { r.cents = -40.0; }), kPopSong},
        {"strong upper partials", pop([](Recording& r) { r.partialDecay = 0.9, r.partials = 12; }), kPopSong},
        {"minor chords and a short one", progression(minors, 7.0, true), minors},
        {"silence", Recording{.seconds = 4.0}, {}},
        // G rings 2.5 s, then 1.5 s of silence.
        {"a pause leaves a gap", progression({{7, false, 0.0, 2.5}, {0, false, 4.0}}, 6.0), {{7, false, 0.0, 2.5}, {0, false, 4.0}}},
        // 45 cents: nearer the semitone above than 40, so read wrong without tuning.
        {"tuning", pop([](Recording& r) { r.cents = 45.0; }), kPopSong, Options{.tuning = false}},
        {"transcription", overBass, overBassChords, Options{.transcription = false}},
        {"hmm", pop([](Recording& r) { r.noise = 0.05; }), kPopSong, Options{.hmm = false}},
        // Plucked chords that ring on under the next: the long frames hear the change early.
        {"onset snapping", with(progression(kPopSong, kPopSongSeconds, false, 1.0), [](Recording& r) { r.ringSeconds = 0.5; }), kPopSong, Options{.onsetSnapping = false}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const QUrl url = write(c.recording);
        EXPECT_EQ(mismatch(precise(url), c.expected, c.recording.seconds), "");
        if (c.without)
            EXPECT_NE(mismatch(precise(url, *c.without), c.expected, c.recording.seconds), "");
    }
}

namespace {

// A format-0 Standard MIDI File at 480 ticks a beat and 120 beats a minute.
struct MidiSong {
    std::multimap<int, std::string> events; // by 2 × tick, + 1 for note-ons: offs before ons at one tick

    void program(int channel, int number) { events.insert({0, {char(0xC0 | channel), char(number)}}); }
    void note(int channel, int key, double beat, double beats, int velocity)
    {
        events.insert({int(beat * 480) * 2 + 1, {char(0x90 | channel), char(key), char(velocity)}});
        events.insert({int((beat + beats) * 480) * 2, {char(0x80 | channel), char(key), 0}});
    }
    QByteArray bytes() const
    {
        std::string track("\0\xFF\x51\x03\x07\xA1\x20", 7); // 500,000 µs a beat
        const auto delta = [&track](int ticks) { // never 2^14 ticks apart
            if (ticks >= 128)
                track += char(0x80 | ticks >> 7);
            track += char(ticks & 0x7F);
        };
        int last = 0;
        for (const auto& [key, data] : events)
            delta(key / 2 - std::exchange(last, key / 2)), track += data;
        delta(480);
        track.append("\xFF\x2F\x00", 3);
        QByteArray file("MThd\0\0\0\x06\0\0\0\x01\x01\xE0MTrk\0\0\0\0", 22);
        qToBigEndian(quint32(track.size()), file.data() + 18);
        return file + QByteArray::fromStdString(track);
    }
};

// C Am F G Em Am Dm G, a chord a bar of four beats.
const std::vector<Chord> kProgression{{0, false}, {9, true}, {5, false}, {7, false}, {4, true}, {9, true}, {2, true}, {7, false}};

// A melody that walks the chord's tones with a passing note between them.
void melody(MidiSong& song, int channel, const Chord& chord, double bar)
{
    const std::vector<int> tones = chord.voicing(72);
    const int line[] = {tones[0], tones[1], tones[1] + (chord.minor ? 2 : 1), tones[2], tones[1], tones[0] + 12};
    const double at[] = {0.0, 1.0, 1.75, 2.0, 3.0, 3.5, 4.0};
    for (int i = 0; i < 6; ++i)
        song.note(channel, line[i], bar + at[i], at[i + 1] - at[i], 85);
}

struct Piece {
    const char* name;
    std::vector<int> programs; // channel i plays programs[i]
    std::function<void(MidiSong&, const Chord&, double bar)> arrange;
};

// The arrangements with the least margin: held strings under a melody, a band with drums, and a
// piano with a low root, whose fifth partial is the major third that a minor chord lacks.
const Piece kPieces[] = {
    {"piano with the root in octaves", {0},
     [](MidiSong& song, const Chord& chord, double bar) {
         for (int key : chord.voicing(60))
             song.note(0, key, bar, 4.0, 80);
         song.note(0, 36 + chord.root, bar, 4.0, 85);
         song.note(0, 48 + chord.root, bar, 4.0, 70);
     }},
    {"piano with a moving left hand", {0},
     [](MidiSong& song, const Chord& chord, double bar) {
         for (int key : chord.voicing(60))
             song.note(0, key, bar, 4.0, 80), song.note(0, key, bar + 2.0, 2.0, 70);
         song.note(0, 36 + chord.root, bar, 2.0, 85);
         song.note(0, 48 + chord.root, bar + 2.0, 2.0, 75);
     }},
    {"strings and a melody", {48, 73},
     [](MidiSong& song, const Chord& chord, double bar) {
         for (int key : chord.voicing(55))
             song.note(0, key, bar, 4.0, 70);
         song.note(0, 36 + chord.root, bar, 4.0, 75);
         melody(song, 1, chord, bar);
     }},
    {"a band", {33, 4, 27, 65},
     [](MidiSong& song, const Chord& chord, double bar) {
         for (int beat = 0; beat < 4; ++beat) {
             song.note(0, 28 + (chord.root + 8) % 12 + (beat % 2 ? 7 : 0), bar + beat, 0.9, 95); // bass: root, fifth
             for (int key : chord.voicing(60))
                 if (beat % 2 == 0)
                     song.note(1, key, bar + beat + 0.5, 1.0, 70);
             for (int key : chord.voicing(52))
                 song.note(2, key, bar + beat, 0.5, 60);
             song.note(9, beat % 2 ? 38 : 36, bar + beat, 0.25, 100); // drums: kick and snare,
             song.note(9, 42, bar + beat, 0.25, 70);                  // closed hi-hat on the eighths
             song.note(9, 42, bar + beat + 0.5, 0.25, 60);
         }
         melody(song, 3, chord, bar);
     }},
};

} // namespace

TEST_F(ChordRecordings, ChordsOfRenderedSongsAreRightAtLeast93PercentOfTheTime)
{
    const QString fluidsynth = QStandardPaths::findExecutable("fluidsynth"), soundFont = "/usr/share/sounds/sf2/FluidR3_GM.sf2";
    if (fluidsynth.isEmpty() || !QFile::exists(soundFont))
        GTEST_SKIP() << "needs fluidsynth and fluid-soundfont-gm (scripts/install-deps.sh)";
    for (const Piece& piece : kPieces) {
        SCOPED_TRACE(piece.name);
        MidiSong song;
        for (size_t channel = 0; channel < piece.programs.size(); ++channel)
            song.program(int(channel), piece.programs[channel]);
        for (size_t bar = 0; bar < kProgression.size(); ++bar)
            piece.arrange(song, kProgression[bar], double(bar * 4));
        const QString midi = dir.filePath("song.mid"), wav = dir.filePath("song.wav");
        ASSERT_TRUE(fixtures::writeFile(midi, song.bytes()));
        QByteArray err;
        ASSERT_EQ(fixtures::runProgram(fluidsynth, {"-ni", "-F", wav, "-r", "44100", soundFont, midi}, nullptr, &err), 0) << err.constData();
        const QList<LTChordSegment> segments = precise(QUrl::fromLocalFile(wav));
        // The share of the song's hundredths of a second in which the segments name the chord that plays (2 s a bar).
        int right = 0;
        for (int i = 0; i < 1600; ++i) {
            const double t = (i + 0.5) / 100.0;
            const auto at = std::find_if(segments.begin(), segments.end(), [t](const LTChordSegment& s) { return s.startSec <= t && t < s.endSec; });
            right += at != segments.end() && at->noteName == kProgression[size_t(t / 2.0)].name();
        }
        RecordProperty(QString("accuracy of %1").arg(piece.name).toStdString(), QString::number(right / 1600.0, 'f', 3).toStdString());
        EXPECT_GE(right / 1600.0, 0.93) << found(segments);
    }
}
