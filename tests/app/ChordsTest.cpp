// Chords over the wave, as a user switches them on, opens tracks and picks the estimator in
// Preferences, and as lento --chords prints them; each estimator keeps its own chord cache entry.
#include "WindowFixture.h"

#include "analysis/NoteAnalysisCache.h"
#include "analysis/PreciseChordEstimator.h"

namespace {

using Triad = std::array<double, 3>;
const Triad C{60, 64, 67}, Am{57, 60, 64}, F{53, 57, 60}, G{55, 59, 62}, E{52, 56, 59};

// Struck triads of tones with overtones, 2 s each, by their notes' MIDI numbers.
QString writeChords(const QString& path, const std::vector<Triad>& chords)
{
    constexpr int rate = 44100;
    const int64_t each = 2 * rate;
    const fixtures::Signal signal = fixtures::synthesise(rate, 2, each * int64_t(chords.size()), [&](int64_t frame, int) {
        const double t = double(frame % each) / rate;
        double sum = 0.0;
        for (double midi : chords[size_t(frame / each)])
            for (int h = 1; h <= 4; ++h)
                sum += std::pow(0.5, h - 1) * std::sin(2.0 * M_PI * 440.0 * std::pow(2.0, (midi - 69) / 12.0) * h * t);
        return float(0.1 * std::exp(-t) * sum);
    });
    EXPECT_TRUE(fixtures::writeWav(path, signal));
    return path;
}

struct ChordsTest : WindowFixture {
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
    std::optional<QList<LTChordSegment>> cached(const QString& path, ChordMethod method)
    {
        NoteAnalysisCache cache(vc->noteAnalysisCachePath());
        cache.load();
        return cache.segmentsForKey(NoteAnalysisCache::cacheKeyForURL(QUrl::fromLocalFile(path), method));
    }
    void choose(const QString& method)
    {
        QComboBox* choice = openPreferences()->chordMethodControl();
        const int index = choice->findData(method);
        ASSERT_GE(index, 0) << method.toStdString();
        choice->setCurrentIndex(index);
        emit choice->activated(index);
    }
};

} // namespace

TEST_F(ChordsTest, ShownChordsAreTheEstimatorsChipsCentredOnTheirSegmentsAtEveryZoom)
{
    ASSERT_FALSE(vc->noteOverlayEnabled()) << "off at first";
    const QString path = writeChords(dir.filePath("progression.wav"), {C, Am, F, G, C, Am, F, G});
    ASSERT_TRUE(load(path));
    EXPECT_FALSE(vc->isNoteAnalysisRunning()) << "no analysis while off";
    EXPECT_TRUE(wave()->noteSegments().isEmpty());
    EXPECT_FALSE(cached(path, vc->chordMethod()).has_value());
    EXPECT_FALSE(vc->chordLabel()->isVisible());

    showChords();
    ASSERT_TRUE(vc->noteOverlayEnabled());
    EXPECT_EQ(vc->chordLabel()->text(), "Finding chords…") << "busy while the worker runs";
    ASSERT_TRUE(analysed());
    settle();
    const QList<LTChordSegment> expected = estimateChordSegments(vc->chordMethod(), QUrl::fromLocalFile(path));
    ASSERT_EQ(wave()->noteSegments(), expected);
    EXPECT_EQ(shownNames().mid(0, 4), (QStringList{"C", "Am", "F", "G"}));
    EXPECT_EQ(vc->chordLabel()->text(), "C") << "the chord under the playhead, in words";

    // Every chip shows when all fits; zoomed in, those in view. Each is centred on its segment.
    for (double zoom : {1.0, 8.0}) {
        vc->waveViewContainer()->waveScrollView()->zoom(zoom);
        settle();
        const auto chips = wave()->noteChipSpans();
        EXPECT_TRUE(zoom > 1.0 ? !chips.isEmpty() : chips.size() == expected.size()) << zoom;
        for (const auto& [left, right] : chips)
            EXPECT_TRUE(right >= vc->waveViewContainer()->waveScrollView()->scrollOffset()
                        && std::any_of(expected.begin(), expected.end(), [&, centre = (left + right) / 2.0](const LTChordSegment& s) {
                               return std::abs(centre - wave()->width() * (s.startSec + s.endSec) / 2.0 / wave()->audioDuration()) < 0.5;
                           }))
                << "a chip from " << left << " at zoom " << zoom;
    }
    EXPECT_TRUE(vc->waveViewContainer()->overView()->noteChipSpans().isEmpty()) << "never on the strip";

    // Off hides them and keeps what was found; the setting holds for the next start.
    showChords();
    EXPECT_TRUE(wave()->noteChipSpans().isEmpty());
    EXPECT_FALSE(vc->chordLabel()->isVisible());
    start();
    EXPECT_FALSE(vc->noteOverlayEnabled());
}

TEST_F(ChordsTest, TheMethodChosenOnTheCommandLineOrInPreferencesDecidesTheEstimatorEachIsCachedApartAndOnlyTheOpenTracksChordsShow)
{
    defaults->setObject(true, QStringLiteral("NoteOverlayEnabled"));
    start();
    ASSERT_TRUE(vc->noteOverlayEnabled()) << "the setting is read at start";
    const QString path = writeChords(dir.filePath("song.wav"), {C, Am, F, G});
    const QUrl url = QUrl::fromLocalFile(path);
    const QList<LTChordSegment> precise = PreciseChordEstimator::estimateChordSegmentsForFileURL(url);
    const QList<LTChordSegment> basic = LTChordEstimator::estimateChordSegmentsForFileURL(url);
    ASSERT_NE(precise, basic) << "the two must differ for the choice to show";

    // lento --chords: precise unless --method basic.
    for (const auto& [args, expected] : {std::pair{QStringList{"--chords", path}, precise},
                                         {{"--chords", path, "--method", "precise"}, precise},
                                         {{"--chords", "--method", "basic", path}, basic}}) {
        SCOPED_TRACE(args.join(' ').toStdString());
        const fixtures::LentoRun r = fixtures::runLento(args);
        ASSERT_EQ(r.status, 0) << r.err.constData();
        EXPECT_EQ(QJsonDocument::fromJson(r.out).array(), chordSegmentsToJson(expected));
    }

    // A track opened while another's chords are still being found never shows those.
    ASSERT_TRUE(load(writeChords(dir.filePath("first.wav"), std::vector<Triad>(12, E))));
    ASSERT_TRUE(vc->isNoteAnalysisRunning());
    ASSERT_TRUE(load(path));
    bool sawFirst = false;
    ASSERT_TRUE(waitFor([&] {
        sawFirst = sawFirst || shownNames().contains("E");
        return !vc->isNoteAnalysisRunning();
    }, 60000));
    EXPECT_FALSE(sawFirst);
    EXPECT_EQ(wave()->noteSegments(), precise) << "precise unless chosen otherwise";
    choose("basic");
    EXPECT_EQ(defaults->stringForKey("ChordMethod"), "basic");
    ASSERT_TRUE(analysed());
    EXPECT_EQ(wave()->noteSegments(), basic) << "the open track's chords are found again";
    EXPECT_EQ(cached(path, ChordMethod::Basic), basic);
    EXPECT_EQ(cached(path, ChordMethod::Precise), precise);
    // Back to precise, the entry kept for it answers at once.
    choose("precise");
    EXPECT_FALSE(vc->isNoteAnalysisRunning());
    EXPECT_EQ(wave()->noteSegments(), precise);

    // Opened again, the chords come from the cache at once, the one under the playhead shown.
    ASSERT_TRUE(load(writeChords(dir.filePath("other.wav"), {G})));
    ASSERT_TRUE(analysed());
    ASSERT_TRUE(load(path));
    EXPECT_FALSE(vc->isNoteAnalysisRunning());
    EXPECT_EQ(wave()->noteSegments(), precise);
    EXPECT_EQ(vc->chordLabel()->text(), "C");
}
