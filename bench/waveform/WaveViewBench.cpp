// The wave views' per-frame costs on real widgets, offscreen: one repaint of the visible main wave
// at the deepest zoom, one zoom step, and one tick of the playhead timer while a track plays.
// The main wave shows 72,000 bins, as a long track has, in a window 1280 wide.
#include "audio/AudioEngine.h"
#include "audio/VirtualOutput.h"
#include "audio/WavWriter.h"
#include "loops/MainController.h"
#include "loops/SelectionView.h"
#include "loops/WaveViewContainer.h"
#include "preferences/ColorTheme.h"
#include "waveform/WaveScrollView.h"
#include "waveform/WaveView.h"
#include "waveform/WaveViewHost.h"
#include "waveform/WaveformData.h"

#include <QApplication>
#include <QImage>
#include <QScrollBar>
#include <QTemporaryDir>
#include <QThread>
#include <QUrl>

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <memory>
#include <vector>

namespace {

constexpr int kBins = 72000;
constexpr int kWindowWidth = 1280;
constexpr int kWaveAreaHeight = 480;

// Music-like: noise under a slow swell, so neighbouring points differ as a real track's do.
std::vector<float> music(int64_t frames, uint32_t seed)
{
    std::vector<float> v(static_cast<size_t>(frames));
    for (size_t i = 0; i < v.size(); ++i) {
        seed = seed * 1664525u + 1013904223u;
        const double noise = double(seed >> 8) / double(1u << 24) * 2.0 - 1.0;
        const double swell = 0.55 + 0.45 * std::sin(double(i) * 6.283185307179586 / 9000.0);
        v[i] = float(0.9 * swell * noise);
    }
    return v;
}

// The bins the engine would have made, one per frame of the music above.
void fillBins(WaveformData& data)
{
    const std::vector<float> left = music(kBins, 1);
    const std::vector<float> right = music(kBins, 2);
    const float* channels[] = {left.data(), right.data()};
    data.setBinSize(1);
    data.preprocessAudioData(channels, 2, kBins);
}

// A track is loaded; nothing else the views report goes anywhere.
struct LoadedHost : WaveViewHost {
    double cursor = 0.5;
    bool audioLoaded() const override { return true; }
    void setViewPosition(float) override {}
    void setLoop(bool) override {}
    void selectionChanged() override {}
    void setZoom(double) override {}
    bool loadAudioFromURL(const QUrl&) override { return false; }
    void setSelection(const LoopPair&) override {}
    void updateCursorWithProgress(double) override {}
    double cursorPosition() const override { return cursor; }
};

// The window's wave area alone: a shown top-level holding the scroll view, its wave loaded.
struct WaveArea {
    WaveformData data;
    LoadedHost host;
    QWidget window;
    WaveScrollView* scroll = nullptr;

    WaveArea()
    {
        fillBins(data);
        window.resize(kWindowWidth, kWaveAreaHeight);
        scroll = new WaveScrollView(&window);
        scroll->setGeometry(0, 0, kWindowWidth, kWaveAreaHeight);
        scroll->setContainer(&host);
        scroll->waveView()->setWaveData(&data);
        scroll->waveView()->setFillColor(QColor(35, 210, 90));
        scroll->waveView()->setBackgroundColor(QColor(40, 53, 64));
        window.show();
        QApplication::processEvents();
    }
    WaveView* wave() const { return scroll->waveView(); }
    // What the viewport shows of the wave, in the wave's own coordinates.
    QRect visible() const
    {
        return {int(scroll->scrollOffset()), 0, scroll->viewport()->width(), wave()->height()};
    }
};

// Renders the part of the wave in view, as the viewport's paint after a scroll or a zoom does.
void paintVisible(const WaveArea& area, QImage& target)
{
    const QRect shown = area.visible();
    area.wave()->render(&target, QPoint(), QRegion(shown), QWidget::DrawWindowBackground | QWidget::DrawChildren);
}

void repaintMainWaveAt25x(benchmark::State& state)
{
    WaveArea area;
    area.scroll->zoom(25.0);
    area.scroll->scrollPoint(area.wave()->width() * 0.4);
    QImage target(area.visible().size(), QImage::Format_ARGB32_Premultiplied);
    for (auto _ : state) {
        paintVisible(area, target);
        benchmark::DoNotOptimize(target.constBits());
    }
    state.counters["points"] = area.data.numPoints();
    state.counters["waveWidth"] = area.wave()->width();
}
BENCHMARK(repaintMainWaveAt25x)->Unit(benchmark::kMillisecond);

// The chord chips over the same view: 500 segments over the track, of which those in view are
// laid out and drawn on each repaint.
void repaintChordChipsAt25x(benchmark::State& state)
{
    WaveArea area;
    QList<LTChordSegment> segments;
    const QStringList names{"C", "Am", "F", "G", "Dm", "E", "Bbm", "F#"};
    for (int i = 0; i < 500; ++i) {
        LTChordSegment segment;
        segment.startSec = i * 1.2;
        segment.endSec = (i + 1) * 1.2;
        segment.noteName = names[i % names.size()];
        segments << segment;
    }
    area.wave()->setNoteSegments(segments);
    area.wave()->setAudioDuration(600.0);
    area.wave()->setShowsNoteOverlay(true);
    area.scroll->zoom(25.0);
    area.scroll->scrollPoint(area.wave()->width() * 0.4);
    QImage target(area.visible().size(), QImage::Format_ARGB32_Premultiplied);
    for (auto _ : state) {
        paintVisible(area, target);
        benchmark::DoNotOptimize(target.constBits());
    }
    state.counters["chips"] = area.wave()->noteChipSpans().size();
}
BENCHMARK(repaintChordChipsAt25x)->Unit(benchmark::kMillisecond);

// m to m + 1 for every m from 1 to 24 in turn; the way back to 1x is not timed.
void zoomOneStep(benchmark::State& state)
{
    WaveArea area;
    QImage target(area.visible().size(), QImage::Format_ARGB32_Premultiplied);
    double m = 1.0;
    for (auto _ : state) {
        area.scroll->zoom(m + 1.0);
        paintVisible(area, target);
        benchmark::DoNotOptimize(target.constBits());
        m += 1.0;
        if (m >= WaveScrollView::kMaxMagnification) {
            state.PauseTiming();
            area.scroll->zoom(1.0);
            m = 1.0;
            state.ResumeTiming();
        }
    }
}
BENCHMARK(zoomOneStep)->Unit(benchmark::kMillisecond);

// The window's controller as the coordinator uses it, over a real engine that plays into an
// output taking blocks at the clock's pace. The time label is the real controller's one extra.
class PlayingController : public MainController {
public:
    explicit PlayingController(AudioEngine* engine) : m_engine(engine), m_colors(ColorTheme::forTheme(1)) {}
    AudioEngine* player() const override { return m_engine; }
    const ColorTheme& colors() const override { return m_colors; }
    bool openDroppedURL(const QUrl&) override { return false; }
    void setLoop(bool) override {}
    void setZoom(double) override {}
    void updateTime() override {}
    float viewWidth() const override { return float(kWindowWidth); }
    void captureLoopSelectionWithPlayhead(QObject*) override {}
    bool isLoopCapturePending() const override { return false; }
    float loopCaptureStartPosition() const override { return 0.0f; }

private:
    AudioEngine* m_engine;
    ColorTheme m_colors;
};

bool writeMusic(const QString& path, int seconds)
{
    const int64_t frames = int64_t(seconds) * 44100;
    const std::vector<float> left = music(frames, 3);
    const std::vector<float> right = music(frames, 4);
    const float* planar[] = {left.data(), right.data()};
    WavWriter writer;
    return writer.open(path, 44100.0, 2, int(frames)) && writer.write(planar, int(frames)) && writer.commit();
}

// One playhead tick at 25x while a ten-minute track plays: the tick itself (a) and the tick with
// the repaint it asks for (b).
void playheadTick(benchmark::State& state, bool withRepaint)
{
    QTemporaryDir dir;
    const QString track = dir.filePath(QStringLiteral("music.wav"));
    if (!writeMusic(track, 600)) {
        state.SkipWithError("could not write the track");
        return;
    }
    AudioEngine engine({[] { return std::make_unique<VirtualOutput>(512, 0, VirtualOutput::Pacing::RealTime); },
                        AudioGraph::Rendering::OnRenderThread, false});
    if (!engine.readAudioDataFromURL(QUrl::fromLocalFile(track))) {
        state.SkipWithError("could not load the track");
        return;
    }
    PlayingController controller(&engine);
    QWidget window;
    window.resize(kWindowWidth, kWaveAreaHeight + 64);
    auto* overview = new WaveView(&window);
    overview->setGeometry(0, 0, kWindowWidth, 56);
    auto* scroll = new WaveScrollView(&window);
    scroll->setGeometry(0, 64, kWindowWidth, kWaveAreaHeight);
    WaveViewContainer container;
    container.setViewController(&controller);
    container.setWaveScrollView(scroll);
    container.setOverView(overview);
    container.setupContainer();
    scroll->waveView()->setWaveData(engine.waveData());
    overview->setWaveData(engine.waveData());
    container.setAudioLoaded(true);
    window.show();
    container.resetView();
    QApplication::processEvents();
    scroll->zoom(25.0);
    container.setSelection({0.40, 0.45});
    container.selectionChanged();
    engine.playPause();
    QThread::msleep(200);
    QApplication::processEvents();
    if (!engine.isPlaying()) {
        state.SkipWithError("the engine does not play");
        return;
    }
    for (auto _ : state) {
        container.updateCursor();
        if (withRepaint)
            QApplication::sendPostedEvents(nullptr, QEvent::UpdateRequest);
        // A tick finds the playhead moved on: the clock runs between ticks as it does in the app.
        state.PauseTiming();
        QThread::usleep(2000);
        if (!withRepaint)
            QApplication::sendPostedEvents(nullptr, QEvent::UpdateRequest);
        state.ResumeTiming();
    }
    engine.stop();
}
BENCHMARK_CAPTURE(playheadTick, alone, false)->Iterations(100)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(playheadTick, withRepaint, true)->Iterations(100)->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
