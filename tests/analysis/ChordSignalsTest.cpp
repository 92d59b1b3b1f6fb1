#include "analysis/LTChordEstimatorInternal.h"
#include "common/Testing.h"

#include <array>
#include <iterator>

using chordconst::kTargetRate;

namespace {

struct Chord {
    int root = 0; // pitch class, 0 = C
    bool minor = false;
    double seconds = 1.0;
    int index() const { return minor ? 12 + root : root; }
};

// A triad around middle C: three tones, each a sine with three overtones, at `rate`.
std::vector<float> triad(const Chord& chord, double rate = kTargetRate, float amplitude = 0.1f)
{
    const int tones[3] = {60 + chord.root, 60 + chord.root + (chord.minor ? 3 : 4), 67 + chord.root};
    std::vector<float> out(size_t(std::llround(chord.seconds * rate)));
    for (size_t n = 0; n < out.size(); ++n) {
        double v = 0.0;
        for (int midi : tones)
            for (int h = 0; h < 4; ++h)
                v += std::array{1.0, 0.5, 0.3, 0.2}[size_t(h)] * std::sin(2.0 * M_PI * 440.0 * std::pow(2.0, (midi - 69) / 12.0) * (h + 1) * double(n) / rate);
        out[n] = float(amplitude * v);
    }
    return out;
}

// Mono samples at the target rate collected as "test.wav" in blocks of 8,192.
ChordSampleStore collected(const std::vector<float>& mono)
{
    ChordSampleStore store;
    ChordSampleCollector collector(kTargetRate, 1, QStringLiteral("test.wav"), store);
    for (int64_t at = 0; at < int64_t(mono.size()); at += 8192)
        collector.appendInterleaved(mono.data() + at, std::min<int64_t>(8192, int64_t(mono.size()) - at));
    return store;
}

QList<LTChordSegment> analyse(const std::vector<float>& mono, ChordFrameTrack* track = nullptr)
{
    return analyseChordSamples(collected(mono), QStringLiteral("test.wav"), {}, nullptr, track);
}

} // namespace

TEST(ChordAnalysis, AFileGivesEachChordOfItsChannelsMeanWithItsBoundariesAndProgressToOne)
{
    const std::vector<Chord> chords{{0, false, 2.0}, {9, true, 2.0}, {5, false, 2.0}, {7, false, 2.0}, {4, true, 2.0},
                                    {2, false, 2.0}, {11, true, 2.5}, {1, false, 2.0}, {6, true, 1.5}};
    // Each channel blends the song with another triad; their mean is the song.
    std::vector<float> song;
    for (const Chord& c : chords)
        std::ranges::copy(triad(c, 44100.0), std::back_inserter(song));
    const std::vector<float> other = triad({3, true, 18.0}, 44100.0, 0.15f);
    QTemporaryDir dir;
    const QUrl url = QUrl::fromLocalFile(dir.filePath("song.wav"));
    ASSERT_TRUE(fixtures::writeWav(url.toLocalFile(), fixtures::synthesise(44100, 2, int64_t(song.size()), [&](int64_t f, int c) {
        return song[size_t(f)] + (c == 0 ? 1.0f : -1.0f) * other[size_t(f)];
    }), true));
    std::vector<double> reports;
    const QList<LTChordSegment> segments = LTChordEstimator::estimateChordSegmentsForFileURL(url, [&](double f) { reports.push_back(f); });
    ASSERT_EQ(segments.size(), qsizetype(chords.size()));
    double boundary = 0.0;
    for (size_t i = 0; i < chords.size(); ++i) {
        const LTChordSegment& s = segments[qsizetype(i)];
        EXPECT_EQ(s.midi, chords[i].index()) << i;
        EXPECT_NEAR(s.startSec, boundary, 0.25) << i;
        boundary += chords[i].seconds;
        EXPECT_NEAR(s.endSec, boundary, 0.25) << i;
        EXPECT_GE(s.confidence, 0.8) << i;
    }
    EXPECT_EQ(segments.last().endSec, 18.0);
    EXPECT_TRUE(reports.size() >= 2 && std::is_sorted(reports.begin(), reports.end()) && reports.back() == 1.0);

    std::atomic<bool> cancel{true};
    QString failure = QStringLiteral("stale");
    EXPECT_TRUE(LTChordEstimator::estimateChordSegmentsForFileURL(url, {}, &cancel, &failure).isEmpty());
    EXPECT_TRUE(failure.isEmpty()) << "a cancel is no failure of the file";
}

TEST(ChordAnalysis, FailuresGiveAnEmptyListWithTheirLine)
{
    // A WAV whose header promises more than the file holds fails while reading.
    QTemporaryDir dir;
    const QUrl cut = QUrl::fromLocalFile(dir.filePath("cut.wav")), missing = QUrl::fromLocalFile(dir.filePath("missing.wav"));
    ASSERT_TRUE(fixtures::writeWav(cut.toLocalFile(), fixtures::synthesise(22050, 1, 66150, [](int64_t f, int) { return float(f % 50) / 100.0f; })));
    ASSERT_TRUE(QFile::resize(cut.toLocalFile(), QFileInfo(cut.toLocalFile()).size() / 2 + 3));
    LogCapture log;
    for (const auto& [url, line, why] : {std::tuple{missing, "cannot open file for note analysis: " + missing.toString() + " error=no such file", "no such file"},
                                         {cut, QString("read error during note analysis: "), "the file is damaged or truncated"}}) {
        log.clear();
        QString failure;
        EXPECT_TRUE(LTChordEstimator::estimateChordSegmentsForFileURL(url, {}, nullptr, &failure).isEmpty());
        EXPECT_TRUE(log.anyStartsWith("[NOTE_DEBUG] " + line)) << log.lines().join('\n').toStdString();
        EXPECT_EQ(failure, why);
    }
}

TEST(ChordAnalysis, SilenceAndTooShortInputGiveNothing)
{
    LogCapture log;
    ChordFrameTrack track;
    std::vector<double> reports;
    // 320 frames
    EXPECT_TRUE(analyseChordSamples(collected(std::vector<float>(4096 + 319 * 1024, 0.0f)), "test.wav", [&](double f) { reports.push_back(f); }, nullptr, &track).isEmpty());
    EXPECT_EQ(track.labels, std::vector<int>(320, -1));
    EXPECT_EQ(reports, (std::vector<double>{0.0, 256.0 / 320.0})); // every 256 frames
    EXPECT_EQ(log.lines(), QStringList{"[NOTE_DEBUG] chord segments=0 file=test.wav"});

    // 8,192 samples make five frames; one fewer is not analysed at all.
    const std::vector<float> chord = triad({7, false, 1.0});
    ChordFrameTrack shortest, tooShort;
    analyse({chord.begin(), chord.begin() + 8192}, &shortest);
    EXPECT_EQ(shortest.labels, std::vector<int>(5, 7));
    EXPECT_TRUE(analyse({chord.begin(), chord.begin() + 8191}, &tooShort).isEmpty());
    EXPECT_TRUE(tooShort.labels.empty());
}

TEST(ChordAnalysis, UndecidedFramesStillFeedTheWholeFileFallback)
{
    // C, E, G and a slightly weaker A: C major and A minor score within the smallest margin, so no
    // frame is decided, but the mean chroma leans to C major.
    std::vector<float> x(size_t(5 * kTargetRate));
    for (size_t n = 0; n < x.size(); ++n) {
        double v = 0.0;
        for (auto [midi, share] : {std::pair{60, 0.2525}, {64, 0.2525}, {67, 0.25}, {69, 0.245}})
            v += 0.2 * std::sqrt(share) * std::sin(2.0 * M_PI * 440.0 * std::pow(2.0, (midi - 69) / 12.0) * double(n) / kTargetRate);
        x[n] = float(v);
    }
    ChordFrameTrack track;
    EXPECT_EQ(analyse(x, &track), (QList<LTChordSegment>{{0.0, 5.0, 0.0, 0, "C", 0.2}}));
    EXPECT_EQ(track.labels, std::vector<int>(104, -1));
    EXPECT_EQ(track.voicedFrames, 104);
}
