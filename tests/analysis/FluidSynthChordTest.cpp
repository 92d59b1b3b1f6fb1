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
        const int on = int(beat * kTicksPerBeat), off = int((beat + beats) * kTicksPerBeat);
        add(on, 1, {char(0x90 | channel), char(key), char(velocity)});
        add(off, 0, {char(0x80 | channel), char(key), 0});
    }

    QByteArray bytes() const
    {
        std::vector<Event> events = m_events;
        std::stable_sort(events.begin(), events.end(), [](const Event& a, const Event& b) {
            return std::tie(a.tick, a.order) < std::tie(b.tick, b.order);
        });
        QByteArray track;
        const auto variableLength = [&track](uint32_t value) {
            char groups[5];
            int n = 0;
            do {
                groups[n++] = char(value & 0x7F);
                value >>= 7;
            } while (value);
            while (n-- > 0)
                track.append(char(groups[n] | (n ? 0x80 : 0)));
        };
        variableLength(0);
        track.append("\xFF\x51\x03\x07\xA1\x20", 6); // 500,000 µs a beat
        int last = 0;
        for (const Event& e : events) {
            variableLength(uint32_t(e.tick - last));
            track.append(e.bytes);
            last = e.tick;
        }
        variableLength(kTicksPerBeat);
        track.append("\xFF\x2F\x00", 3);
        QByteArray file("MThd\0\0\0\x06\0\0\0\x01", 12);
        file.append(char(kTicksPerBeat >> 8)).append(char(kTicksPerBeat & 0xFF));
        file.append("MTrk", 4);
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
        for (int interval : {0, minor ? 3 : 4, 7}) {
            int key = floor + ((root + interval - floor) % 12 + 12) % 12;
            keys.push_back(key);
        }
        std::sort(keys.begin(), keys.end());
        return keys;
    }
};

// C Am F G Em Am Dm G, a chord a bar.
const std::vector<Chord> kProgression{{0, false}, {9, true}, {5, false}, {7, false}, {4, true}, {9, true}, {2, true}, {7, false}};

using Arrangement = std::function<void(MidiSong&, const Chord&, double firstBeat)>;

void drumKit(MidiSong& song, double bar)
{
    for (int beat = 0; beat < kBeatsPerChord; ++beat) {
        song.note(kDrums, beat % 2 ? 38 : 36, bar + beat, 0.25, 100); // kick and snare
        song.note(kDrums, 42, bar + beat, 0.25, 70);                  // closed hi-hat on the eighths
        song.note(kDrums, 42, bar + beat + 0.5, 0.25, 60);
    }
}

// A melody that walks the chord's tones with a passing note between them.
void melody(MidiSong& song, int channel, const Chord& chord, double bar)
{
    const std::vector<int> tones = chord.voicing(72);
    const int line[] = {tones[0], tones[1], tones[1] + (chord.minor ? 2 : 1), tones[2], tones[1], tones[0] + 12};
    const double at[] = {0.0, 1.0, 1.75, 2.0, 3.0, 3.5};
    for (int i = 0; i < 6; ++i)
        song.note(channel, line[i], bar + at[i], i + 1 < 6 ? at[i + 1] - at[i] : 0.5, 85);
}

struct Piece {
    const char* name;
    std::vector<int> programs; // channel i plays programs[i]
    Arrangement arrange;
};

void PrintTo(const Piece& piece, std::ostream* out)
{
    *out << piece.name;
}

const Piece kPieces[] = {
    {"steel guitar and drums", {25},
     [](MidiSong& song, const Chord& chord, double bar) {
         std::vector<int> strings{40 + (chord.root + 12 - 4) % 12};
         for (int key : chord.voicing(strings[0] + 1))
             strings.push_back(key);
         for (int key : chord.voicing(strings.back() + 1))
             strings.push_back(key);
         for (int beat = 0; beat < kBeatsPerChord; ++beat)
             for (size_t s = 0; s < strings.size(); ++s)
                 song.note(0, strings[s], bar + beat + 0.03 * double(s), 1.0 - 0.03 * double(s), beat % 2 ? 75 : 95);
         drumKit(song, bar);
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
         }
         melody(song, 3, chord, bar);
         drumKit(song, bar);
     }},
};

// The share of the song's time in which the segments name the chord that plays.
double timeWeightedAccuracy(const QList<LTChordSegment>& segments, const std::vector<Chord>& chords)
{
    const double chordSeconds = kBeatsPerChord * kSecondsPerBeat;
    const int steps = int(chords.size() * chordSeconds * 100.0);
    int right = 0;
    for (int i = 0; i < steps; ++i) {
        const double t = (i + 0.5) / 100.0;
        const auto at = std::find_if(segments.begin(), segments.end(), [t](const LTChordSegment& s) { return s.startSec <= t && t < s.endSec; });
        right += at != segments.end() && at->noteName == chords[size_t(t / chordSeconds)].name();
    }
    return double(right) / steps;
}

class FluidSynthChordTest : public ::testing::TestWithParam<Piece> {};

} // namespace

TEST_P(FluidSynthChordTest, ChordsOfARenderedSongAreRightAtLeast93PercentOfTheTime)
{
    const QString fluidsynth = QStandardPaths::findExecutable(QStringLiteral("fluidsynth"));
    if (fluidsynth.isEmpty() || !QFile::exists(kSoundFont))
        GTEST_SKIP() << "needs fluidsynth and fluid-soundfont-gm (scripts/install-deps.sh)";
    const Piece& piece = GetParam();
    MidiSong song;
    for (size_t channel = 0; channel < piece.programs.size(); ++channel)
        song.program(int(channel), piece.programs[channel]);
    for (size_t bar = 0; bar < kProgression.size(); ++bar)
        piece.arrange(song, kProgression[bar], double(bar * kBeatsPerChord));

    QTemporaryDir dir;
    QFile midi(dir.filePath("song.mid"));
    ASSERT_TRUE(midi.open(QIODevice::WriteOnly));
    midi.write(song.bytes());
    midi.close();
    const QString wav = dir.filePath("song.wav");
    QByteArray err;
    ASSERT_EQ(fixtures::runProgram(fluidsynth, {"-ni", "-F", wav, "-r", "44100", kSoundFont, midi.fileName()}, nullptr, &err), 0)
        << err.constData();

    QString failure;
    const QList<LTChordSegment> segments =
        PreciseChordEstimator::estimateChordSegmentsForFileURL(QUrl::fromLocalFile(wav), {}, nullptr, &failure);
    ASSERT_TRUE(failure.isEmpty()) << failure.toStdString();
    std::string found;
    for (const LTChordSegment& s : segments)
        found += QStringLiteral("%1 %2-%3, ").arg(s.noteName).arg(s.startSec, 0, 'f', 2).arg(s.endSec, 0, 'f', 2).toStdString();
    const double accuracy = timeWeightedAccuracy(segments, kProgression);
    RecordProperty("accuracy", QString::number(accuracy, 'f', 3).toStdString());
    EXPECT_GE(accuracy, 0.93) << found;
}

std::string pieceName(const ::testing::TestParamInfo<Piece>& info)
{
    std::string name = info.param.name;
    std::replace(name.begin(), name.end(), ' ', '_');
    return name;
}

INSTANTIATE_TEST_SUITE_P(Pieces, FluidSynthChordTest, ::testing::ValuesIn(kPieces), pieceName);
