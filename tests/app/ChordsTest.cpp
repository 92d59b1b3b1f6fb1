// Chords over the wave, as a user switches them on, opens tracks and picks the estimator in
// Preferences, and as lento --chords prints them.
#include "WindowFixture.h"

#include "analysis/NoteAnalysisCache.h"
#include "analysis/PreciseChordEstimator.h"

#include <QPaintEngine>
#include <QScrollBar>
#include <QThreadPool>

namespace {

using Triad = std::array<double, 3>;
const Triad C{60, 64, 67}, Am{57, 60, 64}, F{53, 57, 60}, G{55, 59, 62}, E{52, 56, 59};

// A surface that keeps only the text drawn on it, each piece with the x of its middle.
struct TextSurface : QPaintDevice, QPaintEngine {
    QSize size;
    QList<std::pair<QString, double>> texts;
    explicit TextSurface(QSize s) : QPaintEngine(AllFeatures), size(s) {}
    QPaintEngine* paintEngine() const override { return const_cast<TextSurface*>(this); }
    int metric(PaintDeviceMetric m) const override
    {
        return m == PdmWidth ? size.width() : m == PdmHeight ? size.height() : m == PdmDevicePixelRatio ? 1
             : m == PdmDevicePixelRatioScaled ? int(devicePixelRatioFScale()) : m == PdmDepth ? 32 : 96;
    }
    bool begin(QPaintDevice*) override { return true; }
    bool end() override { return true; }
    void updateState(const QPaintEngineState&) override {}
    void drawPixmap(const QRectF&, const QPixmap&, const QRectF&) override {}
    void drawPath(const QPainterPath&) override {}
    void drawPolygon(const QPointF*, int, PolygonDrawMode) override {}
    void drawTextItem(const QPointF& p, const QTextItem& item) override { texts.append({item.text(), p.x() + item.width() / 2}); }
    Type type() const override { return User; }
};

} // namespace

using ChordsTest = WindowFixture;

TEST_F(ChordsTest, TheChosenEstimatorsChordsShowForTheOpenTrackOnlyAndEachMethodIsCachedApart)
{
    // Struck triads of tones with overtones, 2 s each, by their notes' MIDI numbers, last changed
    // at 1700000000 s.
    const auto writeChords = [&](const QString& name, const std::vector<Triad>& chords) {
        const int64_t each = 2 * 44100;
        const QString path = writeTrack(name, fixtures::synthesise(44100, 2, each * int64_t(chords.size()), [&](int64_t frame, int) {
            const double t = double(frame % each) / 44100;
            double sum = 0.0;
            for (double midi : chords[size_t(frame / each)])
                for (int h = 1; h <= 4; ++h)
                    sum += std::pow(0.5, h - 1) * std::sin(2.0 * M_PI * 440.0 * std::pow(2.0, (midi - 69) / 12.0) * h * t);
            return float(0.1 * std::exp(-t) * sum);
        }));
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::Append) && file.setFileTime(QDateTime::fromSecsSinceEpoch(1700000000), QFileDevice::FileModificationTime));
        return path;
    };
    const auto wave = [&] { return vc->waveViewContainer()->waveView(); };
    const auto showChords = [&] { itemShowing(menuNamed("View"), "Show Chords")->trigger(); };
    const auto analysed = [&] { return waitFor([&] { return !vc->isNoteAnalysisRunning(); }, 60000); };
    // What the cache file holds for the file at `path` as it is now, under "path|size|second|v6".
    const auto cached = [&](const QString& path, const QString& method = {}) {
        const QString key = QString("%1|%2|1700000000|v6%3").arg(path).arg(QFileInfo(path).size()).arg(method);
        return QJsonDocument::fromJson(fixtures::readFile(vc->noteAnalysisCachePath())).object()["entries"].toObject()[key].toArray();
    };
    // The chips the main wave draws, left to right: each one's name and the x of its middle.
    const auto drawnChips = [&] {
        TextSurface surface(wave()->size());
        wave()->render(&surface, {}, {}, QWidget::RenderFlags());
        return surface.texts;
    };
    const auto choose = [&](const QString& method) {
        QComboBox* choice = openPreferences()->chordMethodControl();
        const int index = choice->findData(method);
        ASSERT_GE(index, 0) << method.toStdString();
        choice->setCurrentIndex(index);
        emit choice->activated(index);
    };
    ASSERT_FALSE(vc->noteOverlayEnabled()) << "off at first";
    const QString path = writeChords("song.wav", {C, Am, F, G});
    const QList<LTChordSegment> precise = PreciseChordEstimator::estimateChordSegmentsForFileURL(QUrl::fromLocalFile(path));
    const QList<LTChordSegment> basic = LTChordEstimator::estimateChordSegmentsForFileURL(QUrl::fromLocalFile(path));
    ASSERT_NE(precise, basic) << "the two must differ for the choice to show";

    // A track opened while another's chords are still being found never shows those.
    const QString first = writeChords("first.wav", std::vector<Triad>(12, E));
    ASSERT_TRUE(load(first));
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
    EXPECT_EQ(accessible(vc->chordLabel()), "C") << "heard as the chord itself";
    EXPECT_TRUE(window->grab().save(LENTO_ARTIFACTS_DIR "/chords.png"));

    // Each chip names its chord over the middle of it: all at 1x, and zoomed in the one in view.
    QScrollBar* scroll = vc->waveViewContainer()->waveScrollView()->horizontalScrollBar();
    const auto middle = [&](const LTChordSegment& s) { return wave()->waveWidth() * (s.startSec + s.endSec) / 2 / 8.0; };
    for (const double zoom : {1.0, 8.0}) {
        clickAt(vc->zoomSlider(), zoom);
        for (const LTChordSegment& chord : precise) {
            scroll->setValue(int(middle(chord)) - scroll->pageStep() / 2);
            settle();
            const QList<LTChordSegment> inView = zoom == 1.0 ? precise : QList{chord};
            const QList<std::pair<QString, double>> chips = drawnChips();
            ASSERT_EQ(chips.size(), inView.size()) << zoom << "x, " << chord.noteName.toStdString();
            for (qsizetype i = 0; i < chips.size(); ++i) {
                EXPECT_EQ(chips[i].first, inView[i].noteName) << zoom << "x";
                EXPECT_NEAR(chips[i].second, middle(inView[i]), 1.0) << zoom << "x, " << chips[i].first.toStdString();
            }
        }
    }

    choose("basic");
    EXPECT_EQ(defaults->stringForKey("ChordMethod"), "basic");
    ASSERT_TRUE(analysed());
    EXPECT_EQ(wave()->noteSegments(), basic) << "the open track's chords are found again";
    EXPECT_EQ(cached(path, "|basic"), chordSegmentsToJson(basic));
    EXPECT_EQ(cached(path), chordSegmentsToJson(precise));
    choose("precise");
    EXPECT_FALSE(vc->isNoteAnalysisRunning()) << "the entry kept for it answers at once";
    EXPECT_EQ(wave()->noteSegments(), precise);

    // A cached track opened while another's chords are being found shows its own at once, and
    // the other's late result is dropped.
    ASSERT_TRUE(load(first));
    ASSERT_TRUE(vc->isNoteAnalysisRunning());
    ASSERT_TRUE(load(path));
    EXPECT_EQ(vc->chordLabel()->text(), "C") << "not still busy";
    QThreadPool::globalInstance()->waitForDone();
    settle();
    EXPECT_EQ(wave()->noteSegments(), precise);
    EXPECT_EQ(vc->chordLabel()->text(), "C");

    // On from the start: a track never opened before has its chords found and kept under its key.
    const QString later = writeChords("later.wav", {F, G, C});
    start();
    ASSERT_TRUE(vc->noteOverlayEnabled()) << "the setting lasts";
    ASSERT_TRUE(load(later));
    ASSERT_TRUE(analysed());
    ASSERT_TRUE(load(path));
    EXPECT_FALSE(vc->isNoteAnalysisRunning()) << "opened again, the chords come from the cache";
    EXPECT_EQ(wave()->noteSegments(), precise);
    EXPECT_EQ(vc->chordLabel()->text(), "C");
    showChords();
    EXPECT_TRUE(wave()->noteChipSpans().isEmpty()) << "off hides them";
    EXPECT_FALSE(vc->chordLabel()->isVisible());
    // Off, an uncached track has no chords found and the cache file stays as it was.
    const QByteArray kept = fixtures::readFile(vc->noteAnalysisCachePath());
    ASSERT_TRUE(load(writeChords("off.wav", {G})));
    EXPECT_FALSE(vc->isNoteAnalysisRunning());
    QThreadPool::globalInstance()->waitForDone();
    settle();
    EXPECT_EQ(fixtures::readFile(vc->noteAnalysisCachePath()), kept);
    start();
    EXPECT_FALSE(vc->noteOverlayEnabled());

    // lento --chords prints what the window keeps: precise unless --method basic.
    for (const auto& [args, expected] : {std::pair{QStringList{"--chords", path}, chordSegmentsToJson(precise)},
                                         {{"--chords", path, "--method", "precise"}, chordSegmentsToJson(precise)},
                                         {{"--chords", "--method", "basic", path}, chordSegmentsToJson(basic)},
                                         {{"--chords", later}, cached(later)}}) {
        SCOPED_TRACE(args.join(' ').toStdString());
        const fixtures::LentoRun r = fixtures::runLento(args);
        ASSERT_EQ(r.status, 0) << r.err.constData();
        EXPECT_EQ(QJsonDocument::fromJson(r.out).array(), expected);
    }
    EXPECT_FALSE(cached(later).isEmpty());
}
