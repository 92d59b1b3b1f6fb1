// Chords over the wave, as a user switches them on, opens tracks and picks the estimator in
// Preferences, and as lento --chords prints them.
#include "WindowFixture.h"

#include "analysis/NoteAnalysisCache.h"
#include "analysis/PreciseChordEstimator.h"

namespace {

using Triad = std::array<double, 3>;
const Triad C{60, 64, 67}, Am{57, 60, 64}, F{53, 57, 60}, G{55, 59, 62}, E{52, 56, 59};

struct ChordsTest : WindowFixture {
    // Struck triads of tones with overtones, 2 s each, by their notes' MIDI numbers.
    QString writeChords(const QString& name, const std::vector<Triad>& chords)
    {
        const int64_t each = 2 * 44100;
        return writeTrack(name, fixtures::synthesise(44100, 2, each * int64_t(chords.size()), [&](int64_t frame, int) {
            const double t = double(frame % each) / 44100;
            double sum = 0.0;
            for (double midi : chords[size_t(frame / each)])
                for (int h = 1; h <= 4; ++h)
                    sum += std::pow(0.5, h - 1) * std::sin(2.0 * M_PI * 440.0 * std::pow(2.0, (midi - 69) / 12.0) * h * t);
            return float(0.1 * std::exp(-t) * sum);
        }));
    }
    WaveView* wave() const { return vc->waveViewContainer()->waveView(); }
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

TEST_F(ChordsTest, TheChosenEstimatorsChordsShowForTheOpenTrackOnlyAndEachMethodIsCachedApart)
{
    ASSERT_FALSE(vc->noteOverlayEnabled()) << "off at first";
    const QString path = writeChords("song.wav", {C, Am, F, G});
    const QUrl url = QUrl::fromLocalFile(path);
    const QList<LTChordSegment> precise = PreciseChordEstimator::estimateChordSegmentsForFileURL(url);
    const QList<LTChordSegment> basic = LTChordEstimator::estimateChordSegmentsForFileURL(url);
    ASSERT_NE(precise, basic) << "the two must differ for the choice to show";

    // A track opened while another's chords are still being found never shows those.
    ASSERT_TRUE(load(writeChords("first.wav", std::vector<Triad>(12, E))));
    EXPECT_FALSE(vc->isNoteAnalysisRunning()) << "no analysis while off";
    EXPECT_FALSE(vc->chordLabel()->isVisible());
    showChords();
    EXPECT_EQ(vc->chordLabel()->text(), "Finding chords…") << "busy while the worker runs";
    ASSERT_TRUE(vc->isNoteAnalysisRunning());
    ASSERT_TRUE(load(path));
    bool sawFirst = false;
    ASSERT_TRUE(waitFor([&] {
        for (const LTChordSegment& segment : wave()->noteSegments())
            sawFirst = sawFirst || segment.noteName == "E";
        return !vc->isNoteAnalysisRunning();
    }, 60000));
    EXPECT_FALSE(sawFirst);
    settle();
    EXPECT_EQ(wave()->noteSegments(), precise) << "precise unless chosen otherwise";
    EXPECT_EQ(vc->chordLabel()->text(), "C") << "the chord under the playhead, in words";
    EXPECT_EQ(wave()->noteChipSpans().size(), precise.size()) << "a chip for each when all fits";
    EXPECT_TRUE(vc->waveViewContainer()->overView()->noteChipSpans().isEmpty()) << "never on the strip";

    choose("basic");
    EXPECT_EQ(defaults->stringForKey("ChordMethod"), "basic");
    ASSERT_TRUE(analysed());
    EXPECT_EQ(wave()->noteSegments(), basic) << "the open track's chords are found again";
    EXPECT_EQ(cached(path, ChordMethod::Basic), basic);
    EXPECT_EQ(cached(path, ChordMethod::Precise), precise);
    choose("precise");
    EXPECT_FALSE(vc->isNoteAnalysisRunning()) << "the entry kept for it answers at once";
    EXPECT_EQ(wave()->noteSegments(), precise);

    start();
    ASSERT_TRUE(vc->noteOverlayEnabled()) << "the setting lasts";
    ASSERT_TRUE(load(path));
    EXPECT_FALSE(vc->isNoteAnalysisRunning()) << "opened again, the chords come from the cache";
    EXPECT_EQ(wave()->noteSegments(), precise);
    EXPECT_EQ(vc->chordLabel()->text(), "C");
    showChords();
    EXPECT_TRUE(wave()->noteChipSpans().isEmpty()) << "off hides them";
    EXPECT_FALSE(vc->chordLabel()->isVisible());
    start();
    EXPECT_FALSE(vc->noteOverlayEnabled());

    // lento --chords: precise unless --method basic.
    for (const auto& [args, expected] : {std::pair{QStringList{"--chords", path}, precise},
                                         {{"--chords", path, "--method", "precise"}, precise},
                                         {{"--chords", "--method", "basic", path}, basic}}) {
        SCOPED_TRACE(args.join(' ').toStdString());
        const fixtures::LentoRun r = fixtures::runLento(args);
        ASSERT_EQ(r.status, 0) << r.err.constData();
        EXPECT_EQ(QJsonDocument::fromJson(r.out).array(), chordSegmentsToJson(expected));
    }
}
