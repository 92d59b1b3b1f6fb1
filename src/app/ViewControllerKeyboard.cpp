// The window's own keys: Return and Space as transport, and L, which marks a loop's start and
// end by ear in two strokes while the track plays.
#include "app/ViewController.h"

#include "app/PracticePanel.h"
#include "loops/SelectionView.h"
#include "loops/WaveViewContainer.h"

#include <QKeyEvent>

#include <algorithm>

bool ViewController::isEventLoopCaptureShortcut(const QKeyEvent& event)
{
    return SelectionView::isLoopCaptureKey(event);
}

bool ViewController::keyDown(QKeyEvent* event)
{
    if (isEventLoopCaptureShortcut(*event))
        captureLoopSelectionWithPlayhead(nullptr);
    else if (event->key() == Qt::Key_Return)
        returnPlayPos(nullptr);
    else if (event->key() == Qt::Key_Space)
        play(nullptr);
    else if (event->key() == Qt::Key_T && !(event->modifiers() & ~Qt::KeypadModifier))
        m_practice->tap();
    else
        return false;
    return true;
}

void ViewController::clearPendingLoopCaptureState()
{
    const bool wasPending = m_awaitingLoopCaptureEnd;
    m_awaitingLoopCaptureEnd = false;
    m_pendingLoopCaptureStart = 0.0f;
    if (wasPending && m_waveViewContainer && m_waveViewContainer->selectionView())
        m_waveViewContainer->selectionView()->update();
}

void ViewController::captureLoopSelectionWithPlayhead(QObject*)
{
    // A press that can't be used is dropped without a word, and forgets a first press.
    if (!m_waveViewContainer->audioLoaded() || !m_player->isPlaying() || m_player->loop()) {
        clearPendingLoopCaptureState();
        return;
    }
    const float p = std::clamp(float(m_player->progress()), 0.0f, 1.0f);
    SelectionView* selection = m_waveViewContainer->selectionView();
    if (!selection) {
        clearPendingLoopCaptureState();
        return;
    }
    if (!m_awaitingLoopCaptureEnd) {
        m_pendingLoopCaptureStart = p;
        m_awaitingLoopCaptureEnd = true;
        selection->updateCursorWithProgress(p);
        selection->update();
        return;
    }
    // A playhead that jumped back between the presses still gives an ordered loop.
    const float left = std::min(m_pendingLoopCaptureStart, p);
    const float right = std::max(m_pendingLoopCaptureStart, p);
    clearPendingLoopCaptureState();
    if (right - left < 0.001f)
        return;
    selection->setPlayFromCursor(false);
    selection->setLoopWith({left, right});
    selection->updateCursorWithProgress(left);
    m_waveViewContainer->setLoop(true);
    m_waveViewContainer->selectionChanged();
}
