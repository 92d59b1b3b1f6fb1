#include "loops/WaveViewContainer.h"

#include "audio/AudioEngine.h"
#include "loops/MainController.h"
#include "loops/SelectionView.h"
#include "preferences/ColorTheme.h"
#include "waveform/CursorView.h"
#include "waveform/WaveScrollView.h"
#include "waveform/WaveView.h"

#include <cmath>

WaveViewContainer::WaveViewContainer(QObject* parent)
    : QObject(parent)
    , m_loopStore(std::make_unique<LoopDataStore>())
{
    m_cursorUpdateTimer.setInterval(kCursorIntervalMs);
    // Coarse: the tick may drift by a few milliseconds, as a playhead can.
    m_cursorUpdateTimer.setTimerType(Qt::CoarseTimer);
    connect(&m_cursorUpdateTimer, &QTimer::timeout, this, &WaveViewContainer::updateCursor);
}

WaveViewContainer::~WaveViewContainer() = default;

WaveView* WaveViewContainer::waveView() const
{
    return m_waveScrollView ? m_waveScrollView->waveView() : nullptr;
}

void WaveViewContainer::setLoopStore(std::unique_ptr<LoopDataStore> store)
{
    m_loopStore = std::move(store);
}

void WaveViewContainer::setupContainer()
{
    if (!m_overView || !m_waveScrollView)
        return;
    m_overView->setContainer(this);
    m_overView->setIsOverview(true);
    m_overView->setScrollView(m_waveScrollView);
    if (!m_cursorView) {
        m_cursorView = new CursorView;
        m_overView->addOverlay(m_cursorView);
    }
    m_waveScrollView->setContainer(this);
    m_waveScrollView->setOverview(m_overView);
    if (!m_selectionView) {
        m_selectionView = new SelectionView;
        m_selectionView->setWaveScrollView(m_waveScrollView);
        m_selectionView->setContainer(this);
        waveView()->addOverlay(m_selectionView);
    }
    setColorTheme();
}

void WaveViewContainer::setColorTheme()
{
    if (!m_viewController || !m_overView || !m_waveScrollView || !m_selectionView)
        return;
    const ColorTheme& colors = m_viewController->colors();
    waveView()->setFillColor(colors.wave);
    waveView()->setBackgroundColor(colors.background);
    m_selectionView->setSelectionColor(colors.selection);
    m_waveScrollView->setBackgroundColor(colors.background);
    m_overView->setFillColor(colors.wave);
    m_overView->setBackgroundColor(colors.background);
}

void WaveViewContainer::resetView()
{
    const float width = m_viewController->viewWidth();
    waveFormWithSize(width);
    overViewWithSize(width);
    m_waveScrollView->resetMagnification();
    m_overView->setOverviewSelection(0.0, 0.0);
    m_overView->setOverviewZoomRange(0.0, 1.0);
}

void WaveViewContainer::waveFormWithSize(float width)
{
    m_viewController->player()->waveData()->makeWaveformOfWidth(width);
    waveView()->update();
}

void WaveViewContainer::overViewWithSize(float width)
{
    m_viewController->player()->waveData()->makeOverviewOfWidth(width);
    m_waveScrollView->updateOverview();
}

void WaveViewContainer::setAudioLoaded(bool loaded)
{
    m_audioLoaded = loaded;
    if (waveView())
        waveView()->update();
    if (m_overView)
        m_overView->update();
}

// --- Playhead ---

void WaveViewContainer::startCursor()
{
    // One timer at a time: the graph starts again at every play.
    m_cursorUpdateTimer.start();
}

void WaveViewContainer::stopCursor()
{
    m_cursorUpdateTimer.stop();
}

void WaveViewContainer::updateCursor()
{
    AudioEngine* player = m_viewController->player();
    const double progress = player->progress();
    if (progress < 0.0)
        return;
    const bool playing = player->isPlaying();
    if (playing) {
        m_selectionView->updateCursorWithProgress(progress);
        m_cursorView->updateCursorWithProgress(progress);
    }
    WaveView* wave = waveView();
    if (playing && !wave->overrideAutoPos()) {
        // The view jumps by pages: once the playhead has left it, it comes back in the middle.
        const float wv = float(wave->width());
        const float sv = float(m_waveScrollView->width());
        const double x = progress * wv;
        const double shown = wave->mapTo(m_waveScrollView, QPointF(x, 0.0)).x() / sv;
        if (shown >= 1.0 || shown < 0.0)
            m_waveScrollView->scrollPoint(x - sv * 0.5);
    }
    m_viewController->updateTime();
}

void WaveViewContainer::setPlayPosition(float position)
{
    m_selectionView->updateCursorWithProgress(position);
    m_cursorView->updateCursorWithProgress(position);
    m_overView->update();
    m_selectionView->setLoopWith({position, position});
    if (position == 0.0f)
        m_waveScrollView->scrollPoint(0.0);
}

// --- What the views report ---

void WaveViewContainer::setViewPosition(float position)
{
    waveView()->setOverrideAutoPos(true);
    m_waveScrollView->scrollPoint(float(waveView()->waveWidth() * position));
}

void WaveViewContainer::setLoop(bool loop)
{
    m_viewController->setLoop(loop);
}

bool WaveViewContainer::loop() const
{
    return m_viewController->player()->loop();
}

void WaveViewContainer::selectionChanged()
{
    AudioEngine* player = m_viewController->player();
    const bool wasPlaying = player->isPlaying();
    if (wasPlaying)
        player->stop();
    const LoopPair selection = m_selectionView->loop();
    const float left = float(selection.left);
    const float right = float(selection.right);
    if (std::abs(selection.right - selection.left) < SelectionView::kNoSelectionBound) {
        player->fillBufferFrom(left, 1.0f, 0.0f);
        m_overView->setOverviewSelection(0.0, 0.0);
        m_cursorView->updateCursorWithProgress(m_selectionView->cursorPosition());
    } else if (m_selectionView->playFromCursor()) {
        player->fillBufferFrom(left, right, float(m_selectionView->clickPosition()));
        m_cursorView->updateCursorWithProgress(m_selectionView->clickPosition());
        m_overView->setOverviewSelection(selection.left, selection.right);
    } else {
        player->fillBufferFrom(left, right, 0.0f);
        m_cursorView->updateCursorWithProgress(selection.left);
        m_overView->setOverviewSelection(selection.left, selection.right);
    }
    // A new selection while playing is heard at once.
    if (wasPlaying)
        player->playPause();
    m_viewController->updateTime();
    if (m_delegate)
        m_delegate->selectionChangedAction();
}

void WaveViewContainer::nudgeSelection(bool end, double seconds)
{
    AudioEngine* player = m_viewController->player();
    const LoopPair old = m_selectionView->loop();
    const double duration = player->duration();
    if (duration <= 0.0 || std::abs(old.right - old.left) < SelectionView::kNoSelectionBound)
        return;
    // A selection never gets shorter than one nudge.
    const double shortest = 0.01 / duration;
    LoopPair moved = old;
    if (end)
        moved.right = std::clamp(old.right + seconds / duration, old.left + shortest, 1.0);
    else
        moved.left = std::clamp(old.left + seconds / duration, 0.0, old.right - shortest);
    if (moved.left == old.left && moved.right == old.right)
        return;
    LoopMarker& loops = LoopMarker::sharedLoops();
    if (loops.loopExist(old)) {
        loops.removeLoop(old);
        loops.addLoop(moved);
        storeLoopData();
        emit loopsChanged();
    }
    m_selectionView->setLoopWith(moved);
    m_overView->setOverviewSelection(moved.left, moved.right);
    if (player->isPlaying() && player->setNextLoopRange(float(moved.left), float(moved.right))) {
        if (m_delegate)
            m_delegate->selectionChangedAction();
        return;
    }
    selectionChanged();
}

void WaveViewContainer::setZoom(double factor)
{
    m_viewController->setZoom(factor);
}

bool WaveViewContainer::loadAudioFromURL(const QUrl& url)
{
    return m_viewController->openDroppedURL(url);
}

void WaveViewContainer::setSelection(const LoopPair& loop)
{
    m_selectionView->setLoopWith(loop);
}

void WaveViewContainer::updateCursorWithProgress(double progress)
{
    m_selectionView->updateCursorWithProgress(progress);
    m_cursorView->updateCursorWithProgress(progress);
}

double WaveViewContainer::cursorPosition() const
{
    return m_selectionView ? m_selectionView->cursorPosition() : 0.0;
}

// --- Loop commands ---

void WaveViewContainer::redrawLoops()
{
    m_selectionView->update();
    m_overView->update();
}

void WaveViewContainer::addLoop(QObject*)
{
    const LoopPair selection = m_selectionView->loop();
    if (selection.left != selection.right) {
        LoopMarker::sharedLoops().addLoop(selection);
        storeLoopData();
    }
    redrawLoops();
}

void WaveViewContainer::removeLoop(QObject*)
{
    LoopMarker::sharedLoops().removeLoop(m_selectionView->loop());
    storeLoopData();
    setLoop(false);
    const double progress = m_viewController->player()->progress();
    m_selectionView->setLoopWith({progress, progress});
    selectionChanged();
    redrawLoops();
}

void WaveViewContainer::addRemoveLoop(const LoopPair& loop)
{
    if (LoopMarker::sharedLoops().loopExist(loop))
        removeLoop();
    else
        addLoop();
}

void WaveViewContainer::removeAllLoops(QObject*)
{
    LoopMarker::sharedLoops().clearLoops();
    storeLoopData();
    redrawLoops();
}

void WaveViewContainer::selectRange(const LoopPair& loop)
{
    if (loop.left == loop.right)
        return; // no saved loops
    m_selectionView->setLoopWith(loop);
    setLoop(true);
    selectionChanged();
    redrawLoops();
}

void WaveViewContainer::nextLoop(QObject*)
{
    selectRange(LoopMarker::sharedLoops().next(m_selectionView->loop()));
}

void WaveViewContainer::lastLoop(QObject*)
{
    selectRange(LoopMarker::sharedLoops().last(m_selectionView->loop()));
}

bool WaveViewContainer::storeLoopData()
{
    emit loopsChanged();
    if (m_loopKey.isEmpty() || !m_loopStore)
        return false;
    return m_loopStore->setLoopsForKey(m_loopKey, LoopMarker::sharedLoops().loopData());
}

bool WaveViewContainer::readLoopData(const QString& key)
{
    LoopMarker& loops = LoopMarker::sharedLoops();
    loops.clearLoops();
    m_loopKey = key;
    if (m_loopStore)
        for (const LoopPair& loop : m_loopStore->loopsForKey(key))
            loops.addLoop(loop);
    emit loopsChanged();
    return true;
}
