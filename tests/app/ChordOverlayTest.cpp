// Chords over the wave, as a user switches them on and opens tracks.
#include "WindowFixture.h"

#include "analysis/ChordMethod.h"
#include "analysis/NoteAnalysisCache.h"
#include "loops/WaveViewContainer.h"
#include "waveform/WaveScrollView.h"
#include "waveform/WaveView.h"

#include <QLabel>

namespace {

// Triads of plain sines, 2.5 s each, by the frequencies of their three notes.
QString writeProgression(const QString& path, const std::vector<std::array<double, 3>>& chords)
{
    constexpr int rate = 44100;
    const int64_t each = int64_t(2.5 * rate);
    const fixtures::Signal signal = fixtures::synthesise(rate, 2, each * int64_t(chords.size()), [&](int64_t frame, int) {
        const auto& notes = chords[size_t(frame / each)];
        double sum = 0.0;
        for (double hz : notes)
            sum += std::sin(2.0 * M_PI * hz * double(frame) / rate);
        return float(0.2 * sum);
    });
    EXPECT_TRUE(fixtures::writeWav(path, signal));
    return path;
}

const std::array<double, 3> C{261.63, 329.63, 392.00}, Am{220.00, 261.63, 329.63}, F{174.61, 220.00, 261.63},
    G{196.00, 246.94, 293.66};

struct ChordOverlayTest : WindowFixture {
    WaveView* wave() const { return vc->waveViewContainer()->waveView(); }
    QStringList shownNames() const
    {
        QStringList names;
        for (const LTChordSegment& segment : wave()->noteSegments())
            names << segment.noteName;
        return names;
    }
    void showChords() { itemShowing(menuNamed("View"), "Show Chords")->trigger(); }
    bool analysed() { return waitFor([&] { return !vc->isNoteAnalysisRunning(); }, 60000); }
};

} // namespace

TEST_F(ChordOverlayTest, ShownChordsAreTheEstimatorsChipsCentredOnTheirSegmentsAtEveryZoom)
{
    showChords();
    ASSERT_TRUE(vc->noteOverlayEnabled());
    const QString path = writeProgression(dir.filePath("progression.wav"), {C, Am, F, G, C, Am, F, G});
    ASSERT_TRUE(load(path));
    EXPECT_EQ(vc->chordLabel()->text(), "Finding chords…") << "busy while the worker runs";
    ASSERT_TRUE(analysed());
    settle();
    const QList<LTChordSegment> expected = estimateChordSegments(vc->chordMethod(), QUrl::fromLocalFile(path));
    ASSERT_EQ(wave()->noteSegments(), expected);
    EXPECT_EQ(shownNames().mid(0, 4), (QStringList{"C", "Am", "F", "G"}));
    EXPECT_EQ(vc->chordLabel()->text(), "C") << "the chord under the playhead, in words";

    for (double zoom : {1.0, 8.0}) {
        SCOPED_TRACE(zoom);
        vc->waveViewContainer()->waveScrollView()->zoom(zoom);
        settle();
        const auto chips = wave()->noteChipSpans();
        ASSERT_FALSE(chips.isEmpty());
        const double W = wave()->width();
        for (const auto& [left, right] : chips) {
            const double centre = (left + right) / 2.0;
            const bool onASegment = std::any_of(expected.begin(), expected.end(), [&](const LTChordSegment& s) {
                return std::abs(centre - W * (s.startSec + s.endSec) / 2.0 / wave()->audioDuration()) < 0.5;
            });
            EXPECT_TRUE(onASegment) << "a chip centred at " << centre;
            EXPECT_GE(right, vc->waveViewContainer()->waveScrollView()->scrollOffset()) << "only chips in view";
        }
        EXPECT_EQ(chips.size(), zoom == 1.0 ? expected.size() : chips.size());
    }
    EXPECT_TRUE(vc->waveViewContainer()->overView()->noteChipSpans().isEmpty()) << "never on the strip";

    // Off hides them and keeps what was found; the setting holds for the next start.
    showChords();
    EXPECT_TRUE(wave()->noteChipSpans().isEmpty());
    EXPECT_FALSE(vc->chordLabel()->isVisible());
    start();
    EXPECT_FALSE(vc->noteOverlayEnabled());
}

TEST_F(ChordOverlayTest, WithChordsOffNoAnalysisRunsAndNothingIsCached)
{
    ASSERT_FALSE(vc->noteOverlayEnabled()) << "off at first";
    const QString path = writeProgression(dir.filePath("plain.wav"), {C, G});
    ASSERT_TRUE(load(path));
    EXPECT_FALSE(vc->isNoteAnalysisRunning());
    EXPECT_TRUE(wave()->noteSegments().isEmpty());
    NoteAnalysisCache cache(vc->noteAnalysisCachePath());
    cache.load();
    EXPECT_FALSE(cache.segmentsForKey(NoteAnalysisCache::cacheKeyForURL(QUrl::fromLocalFile(path), vc->chordMethod())).has_value());
    EXPECT_FALSE(vc->chordLabel()->isVisible());
}

TEST_F(ChordOverlayTest, ASecondTrackOpenedDuringTheAnalysisNeverShowsTheFirstTracksChords)
{
    showChords();
    const QString first = writeProgression(dir.filePath("first.wav"), {Am, Am, Am, Am, Am, Am, Am, Am, Am, Am, Am, Am});
    const QString second = writeProgression(dir.filePath("second.wav"), {G, F, G});
    ASSERT_TRUE(load(first));
    ASSERT_TRUE(vc->isNoteAnalysisRunning());
    ASSERT_TRUE(load(second));
    bool sawFirst = false;
    waitFor([&] {
        sawFirst = sawFirst || shownNames().contains("Am");
        return !vc->isNoteAnalysisRunning() && !wave()->noteSegments().isEmpty();
    }, 60000);
    EXPECT_FALSE(sawFirst);
    EXPECT_EQ(shownNames(), (QStringList{"G", "F", "G"}));
}

TEST_F(ChordOverlayTest, TheCacheHoldsWhatTheCommandLineFindsUnderTheFilesKeyAndOpensFromIt)
{
    defaults->setObject(true, QStringLiteral("NoteOverlayEnabled"));
    start();
    ASSERT_TRUE(vc->noteOverlayEnabled()) << "the setting is read at start";
    const QString path = writeProgression(dir.filePath("cached.wav"), {F, G, C});
    ASSERT_TRUE(load(path));
    ASSERT_TRUE(analysed());

    const fixtures::LentoRun run = fixtures::runLento({"--chords", path});
    ASSERT_EQ(run.status, 0);
    const QJsonObject entries = QJsonDocument::fromJson(fixtures::readFile(vc->noteAnalysisCachePath())).object().value("entries").toObject();
    const QString key = NoteAnalysisCache::cacheKeyForURL(QUrl::fromLocalFile(path), vc->chordMethod());
    ASSERT_TRUE(entries.contains(key)) << key.toStdString();
    EXPECT_EQ(entries.value(key).toArray(), QJsonDocument::fromJson(run.out).array());

    // Opened again, the chords come from the cache at once.
    ASSERT_TRUE(load(writeProgression(dir.filePath("other.wav"), {C})));
    ASSERT_TRUE(analysed());
    ASSERT_TRUE(load(path));
    EXPECT_FALSE(vc->isNoteAnalysisRunning());
    EXPECT_EQ(shownNames(), (QStringList{"F", "G", "C"}));
    EXPECT_EQ(vc->chordLabel()->text(), "F") << "and the chord under the playhead shows";
}
