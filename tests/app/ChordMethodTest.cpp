// The two chord estimators as a user chooses between them: on the command line and in Preferences,
// each with its own entry in the chord cache.
#include "WindowFixture.h"

#include "analysis/NoteAnalysisCache.h"
#include "analysis/PreciseChordEstimator.h"
#include "preferences/PreferencesController.h"
#include "waveform/WaveView.h"
#include "loops/WaveViewContainer.h"

#include <QComboBox>

namespace {

// C, Am, F, G as struck triads of tones with overtones, 2 s each.
QString writeSong(const QString& path)
{
    constexpr int rate = 44100;
    const double chords[4][3] = {{60, 64, 67}, {57, 60, 64}, {53, 57, 60}, {55, 59, 62}};
    const int64_t each = 2 * rate;
    const fixtures::Signal signal = fixtures::synthesise(rate, 2, 4 * each, [&](int64_t frame, int) {
        const double t = double(frame % each) / rate;
        double sum = 0.0;
        for (double midi : chords[frame / each])
            for (int h = 1; h <= 4; ++h)
                sum += std::pow(0.5, h - 1) * std::sin(2.0 * M_PI * 440.0 * std::pow(2.0, (midi - 69) / 12.0) * h * t);
        return float(0.1 * std::exp(-t) * sum);
    });
    EXPECT_TRUE(fixtures::writeWav(path, signal));
    return path;
}

QJsonArray segmentsAsJson(const QByteArray& out)
{
    return QJsonDocument::fromJson(out).array();
}

struct ChordMethodTest : WindowFixture {
    WaveView* wave() const { return vc->waveViewContainer()->waveView(); }
    bool analysed() { return waitFor([&] { return !vc->isNoteAnalysisRunning(); }, 60000); }
    QComboBox* methodChoice()
    {
        itemShowing(menuNamed("Edit"), "Preferences…")->trigger();
        settle();
        auto* prefs = window->findChild<PreferencesController*>();
        return prefs ? prefs->chordMethodControl() : nullptr;
    }
    void choose(QComboBox* choice, const QString& method)
    {
        const int index = choice->findData(method);
        ASSERT_GE(index, 0) << method.toStdString();
        choice->setCurrentIndex(index);
        emit choice->activated(index);
    }
};

} // namespace

TEST(ChordMethodCommandTest, PreciseIsTheDefaultAndMethodBasicGivesTheEarlierEstimator)
{
    QTemporaryDir dir;
    const QString path = writeSong(dir.filePath("song.wav"));
    const QUrl url = QUrl::fromLocalFile(path);
    const QJsonArray precise = chordSegmentsToJson(PreciseChordEstimator::estimateChordSegmentsForFileURL(url));
    const QJsonArray basic = chordSegmentsToJson(LTChordEstimator::estimateChordSegmentsForFileURL(url));
    ASSERT_NE(precise, basic) << "the two must differ for the choice to show";
    QStringList names;
    for (const QJsonValue& segment : precise)
        names << segment.toObject().value("noteName").toString();
    EXPECT_EQ(names, (QStringList{"C", "Am", "F", "G"}));

    const struct {
        QStringList args;
        QJsonArray expected;
    } runs[] = {
        {{"--chords", path}, precise},
        {{"--chords", path, "--method", "precise"}, precise},
        {{"--chords", "--method", "basic", path}, basic},
    };
    for (const auto& run : runs) {
        SCOPED_TRACE(run.args.join(' ').toStdString());
        const fixtures::LentoRun r = fixtures::runLento(run.args);
        ASSERT_EQ(r.status, 0) << r.err.constData();
        EXPECT_EQ(segmentsAsJson(r.out), run.expected);
    }
    for (const QStringList& args : {QStringList{"--chords", path, "--method"}, {"--chords", path, "--method", "fast"}}) {
        const fixtures::LentoRun r = fixtures::runLento(args);
        EXPECT_EQ(r.status, 2);
        EXPECT_TRUE(r.err.contains("--method takes precise or basic")) << r.err.constData();
        EXPECT_TRUE(r.out.isEmpty());
    }
}

TEST_F(ChordMethodTest, ThePreferencesChoiceDecidesTheOverlaysEstimatorAndEachKeepsItsOwnCacheEntry)
{
    defaults->setObject(true, QStringLiteral("NoteOverlayEnabled"));
    start();
    const QString path = writeSong(dir.filePath("song.wav"));
    const QUrl url = QUrl::fromLocalFile(path);
    const QList<LTChordSegment> precise = PreciseChordEstimator::estimateChordSegmentsForFileURL(url);
    const QList<LTChordSegment> basic = LTChordEstimator::estimateChordSegmentsForFileURL(url);
    ASSERT_NE(precise, basic);

    ASSERT_TRUE(load(path));
    ASSERT_TRUE(analysed());
    EXPECT_EQ(wave()->noteSegments(), precise) << "precise unless chosen otherwise";

    QComboBox* choice = methodChoice();
    ASSERT_NE(choice, nullptr);
    EXPECT_EQ(choice->currentData().toString(), "precise");
    choose(choice, "basic");
    EXPECT_EQ(defaults->stringForKey("ChordMethod"), "basic");
    ASSERT_TRUE(analysed());
    EXPECT_EQ(wave()->noteSegments(), basic) << "the open track's chords are found again";

    NoteAnalysisCache cache(vc->noteAnalysisCachePath());
    cache.load();
    EXPECT_EQ(cache.segmentsForKey(NoteAnalysisCache::cacheKeyForURL(url, ChordMethod::Basic)), basic);
    EXPECT_EQ(cache.segmentsForKey(NoteAnalysisCache::cacheKeyForURL(url, ChordMethod::Precise)), precise);
    EXPECT_EQ(NoteAnalysisCache::cacheKeyForURL(url, ChordMethod::Precise),
              NoteAnalysisCache::cacheKeyForURL(url) + "|precise|v1");

    // Back to precise, the entry kept for it answers at once.
    choose(choice, "precise");
    EXPECT_FALSE(vc->isNoteAnalysisRunning());
    EXPECT_EQ(wave()->noteSegments(), precise);
}
