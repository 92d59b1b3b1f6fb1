// The precise estimator on sampled instruments: MIDI songs with known chords, written here,
// rendered by FluidSynth with the General MIDI soundfont, and read back as any track.
#include "common/Testing.h"

#include "analysis/PreciseChordEstimator.h"

#include <QStandardPaths>

namespace {

const QString kSoundFont = QStringLiteral("/usr/share/sounds/sf2/FluidR3_GM.sf2");
constexpr int kTicksPerBeat = 480;
constexpr double kSecondsPerBeat = 0.5; // 120 beats a minute
constexpr int kBeatsPerChord = 4;
constexpr int kDrums = 9;

// A format-0 Standard MIDI File built from notes in beats.
class MidiSong {
public:
    void program(int channel, int number) { add(0, 0, {char(0xC0 | channel), char(number)}); }
    void note(int channel, int key, double beat, double beats, int velocity = 90)
    {
        add(int(beat * kTicksPerBeat), 1, {char(0x90 | channel), char(key), char(velocity)});
        add(int((beat + beats) * kTicksPerBeat), 0, {char(0x80 | channel), char(key), 0});
    }

    QByteArray bytes() const
    {
        std::vector<Event> events = m_events;
        std::stable_sort(events.begin(), events.end(), [](const Event& a, const Event& b) { return std::tie(a.tick, a.order) < std::tie(b.tick, b.order); });
        QByteArray track;
        const auto variableLength = [&track](uint32_t value) {
            char groups[5];
            int n = 0;
            do
                groups[n++] = char(value & 0x7F);
            while (value >>= 7);
            while (n-- > 0)
                track.append(char(groups[n] | (n ? 0x80 : 0)));
        };
        variableLength(0);
        track.append("\xFF\x51\x03\x07\xA1\x20", 6); // 500,000 µs a beat
        int last = 0;
        for (const Event& e : events) {
            variableLength(uint32_t(e.tick - std::exchange(last, e.tick)));
            track.append(e.bytes);
        }
        variableLength(kTicksPerBeat);
        track.append("\xFF\x2F\x00", 3);
        QByteArray file("MThd\0\0\0\x06\0\0\0\x01", 12);
        file.append(char(kTicksPerBeat >> 8)).append(char(kTicksPerBeat & 0xFF)).append("MTrk", 4);
        for (int shift : {24, 16, 8, 0})
            file.append(char((track.size() >> shift) & 0xFF));
        return file + track;
    }

private:
    struct Event {
        int tick;
        int order; // note-offs before note-ons at one tick
        QByteArray bytes;
    };
    void add(int tick, int order, std::initializer_list<char> bytes) { m_events.push_back({tick, order, QByteArray(bytes.begin(), int(bytes.size()))}); }
    std::vector<Event> m_events;
};

struct Chord {
    int root;
    bool minor;
    QString name() const { return LTChordEstimator::chordName(minor ? 12 + root : root); }
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

// C Am F G Em Am Dm G, a chord a bar.
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

void PrintTo(const Piece& piece, std::ostream* out) { *out << piece.name; }

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
             song.note(0, key, bar, 4.0, 80);
         song.note(0, 36 + chord.root, bar, 2.0, 85);
         song.note(0, 48 + chord.root, bar + 2.0, 2.0, 75);
         for (int key : chord.voicing(60))
             song.note(0, key, bar + 2.0, 2.0, 70);
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
         for (int beat = 0; beat < kBeatsPerChord; ++beat) {
             song.note(0, 28 + (chord.root + 8) % 12 + (beat % 2 ? 7 : 0), bar + beat, 0.9, 95); // bass: root, fifth
             if (beat % 2 == 0)
                 for (int key : chord.voicing(60))
                     song.note(1, key, bar + beat + 0.5, 1.0, 70);
             for (int key : chord.voicing(52))
                 song.note(2, key, bar + beat, 0.5, 60);
             song.note(kDrums, beat % 2 ? 38 : 36, bar + beat, 0.25, 100); // kick and snare
             song.note(kDrums, 42, bar + beat, 0.25, 70);                  // closed hi-hat on the eighths
             song.note(kDrums, 42, bar + beat + 0.5, 0.25, 60);
         }
         melody(song, 3, chord, bar);
     }},
};

class FluidSynthChordTest : public ::testing::TestWithParam<Piece> {};

} // namespace

TEST_P(FluidSynthChordTest, ChordsOfARenderedSongAreRightAtLeast93PercentOfTheTime)
{
    const QString fluidsynth = QStandardPaths::findExecutable(QStringLiteral("fluidsynth"));
    if (fluidsynth.isEmpty() || !QFile::exists(kSoundFont))
        GTEST_SKIP() << "needs fluidsynth and fluid-soundfont-gm (scripts/install-deps.sh)";
    MidiSong song;
    for (size_t channel = 0; channel < GetParam().programs.size(); ++channel)
        song.program(int(channel), GetParam().programs[channel]);
    for (size_t bar = 0; bar < kProgression.size(); ++bar)
        GetParam().arrange(song, kProgression[bar], double(bar * kBeatsPerChord));
    QTemporaryDir dir;
    const QString midi = dir.filePath("song.mid"), wav = dir.filePath("song.wav");
    ASSERT_TRUE(fixtures::writeFile(midi, song.bytes()));
    QByteArray err;
    ASSERT_EQ(fixtures::runProgram(fluidsynth, {"-ni", "-F", wav, "-r", "44100", kSoundFont, midi}, nullptr, &err), 0) << err.constData();

    QString failure;
    const QList<LTChordSegment> segments = PreciseChordEstimator::estimateChordSegmentsForFileURL(QUrl::fromLocalFile(wav), {}, nullptr, &failure);
    ASSERT_TRUE(failure.isEmpty()) << failure.toStdString();
    // The share of the song's time, in hundredths of a second, in which the segments name the chord that plays.
    const double chordSeconds = kBeatsPerChord * kSecondsPerBeat;
    const int steps = int(kProgression.size() * chordSeconds * 100.0);
    int right = 0;
    std::string found;
    for (const LTChordSegment& s : segments)
        found += QStringLiteral("%1 %2-%3, ").arg(s.noteName).arg(s.startSec, 0, 'f', 2).arg(s.endSec, 0, 'f', 2).toStdString();
    for (int i = 0; i < steps; ++i) {
        const double t = (i + 0.5) / 100.0;
        const auto at = std::find_if(segments.begin(), segments.end(), [t](const LTChordSegment& s) { return s.startSec <= t && t < s.endSec; });
        right += at != segments.end() && at->noteName == kProgression[size_t(t / chordSeconds)].name();
    }
    RecordProperty("accuracy", QString::number(double(right) / steps, 'f', 3).toStdString());
    EXPECT_GE(double(right) / steps, 0.93) << found;
}

INSTANTIATE_TEST_SUITE_P(Pieces, FluidSynthChordTest, ::testing::ValuesIn(kPieces), [](const auto& info) {
    return QString::fromLatin1(info.param.name).replace(' ', '_').toStdString();
});
