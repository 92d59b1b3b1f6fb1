#include "loops/SelectionView.h"

#include "audio/AudioEngine.h"
#include "loops/MainController.h"
#include "loops/WaveViewContainer.h"
#include "waveform/WaveScrollView.h"
#include "waveform/WaveView.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <cmath>

namespace {

const QColor kOrange = QColor::fromRgbF(1.0f, 0.5f, 0.0f);
const QColor kDarkGray = QColor::fromRgbF(1.0f / 3, 1.0f / 3, 1.0f / 3);

// Left and bottom edges inside, right and top edges outside: two regions that touch never share a point.
bool inside(const QRectF& region, QPointF point)
{
    return point.x() >= region.left() && point.x() < region.right() && point.y() >= region.top()
           && point.y() < region.bottom();
}

QColor withAlpha(QColor color, double alpha)
{
    color.setAlphaF(float(alpha));
    return color;
}

} // namespace

SelectionView::SelectionView(QWidget* parent)
    : QWidget(parent)
{
    setMouseTracking(true);
    setFocusPolicy(Qt::StrongFocus);
    setAttribute(Qt::WA_NoSystemBackground);
    setAccessibleName(tr("Waveform"));
}

bool SelectionView::isLoopCaptureKey(const QKeyEvent& event)
{
    if (event.key() != Qt::Key_L)
        return false;
    if (event.modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier))
        return false;
    // Caps Lock shows in the letter's case against Shift, and on X11 in the lock bit of the state.
    constexpr quint32 x11LockMask = 0x2;
    const bool shift = event.modifiers() & Qt::ShiftModifier;
    const QString text = event.text();
    const bool capsLock = (event.nativeModifiers() & x11LockMask)
                          || (!text.isEmpty() && text.at(0).isUpper() != shift);
    return !capsLock;
}

bool SelectionView::hasSelection() const
{
    return std::abs(m_loop.right - m_loop.left) >= kNoSelectionBound;
}

void SelectionView::setLoopWith(const LoopPair& loop)
{
    m_loop = loop;
    updateTrackingAreas();
    describeSelection();
    update();
}

void SelectionView::describeSelection()
{
    const double duration = m_container && m_container->controller() ? m_container->controller()->player()->duration() : 0.0;
    const auto time = [duration](double position) {
        const double seconds = std::max(0.0, position * duration);
        return QStringLiteral("%1:%2").arg(int(seconds / 60.0), 2, 10, QLatin1Char('0')).arg(std::fmod(seconds, 60.0), 4, 'f', 1, QLatin1Char('0'));
    };
    // What a screen reader says of the wave: the selection, or where playback starts.
    setAccessibleDescription(hasSelection() ? tr("Selection from %1 to %2").arg(time(m_loop.left), time(m_loop.right))
                                            : tr("No selection, playback from %1").arg(time(m_loop.left)));
}

void SelectionView::updateCursorWithProgress(double progress)
{
    if (progress == m_cursorPosition)
        return;
    // A pending loop capture's band shows only once it is long enough: then all of it is new.
    const MainController* controller = m_container ? m_container->controller() : nullptr;
    if (controller && controller->isLoopCapturePending()) {
        m_cursorPosition = progress;
        update();
        return;
    }
    // Only the strip the playhead crossed: the whole view would repaint the wave under it at
    // every tick.
    const double W = float(waveWidth());
    const double from = std::min(m_cursorPosition, progress) * W;
    const double to = std::max(m_cursorPosition, progress) * W;
    m_cursorPosition = progress;
    update(QRect(int(std::floor(from)) - 2, 0, int(std::ceil(to - std::floor(from))) + 5, height()));
}

void SelectionView::setSelectionColor(const QColor& color)
{
    m_selectionColor = color;
    update();
}

double SelectionView::waveWidth() const
{
    return m_waveScrollView ? m_waveScrollView->waveView()->waveWidth() : double(width());
}

double SelectionView::waveHeight() const
{
    return WaveView::waveHeight(height());
}

double SelectionView::magnification() const
{
    return m_waveScrollView ? m_waveScrollView->waveView()->magnification() : 1.0;
}

void SelectionView::updateTrackingAreas()
{
    const double W = float(waveWidth());
    const double h = waveHeight();
    // A handle's region is 25 points wide, reaching 20 out of the selection and 5 into it, over
    // the middle half of the wave's height.
    m_handleAreaLeft = QRectF(m_loop.left * W - 20.0, h * 0.25, 25.0, h * 0.5);
    m_handleAreaRight = QRectF(m_loop.right * W - 5.0, h * 0.25, 25.0, h * 0.5);
    m_loopArea = QRectF(m_loop.left * W, h, (m_loop.right - m_loop.left) * W, height() - h);
}

void SelectionView::clearHandles()
{
    m_leftHandle = false;
    m_rightHandle = false;
    if (m_button != DraggedButton)
        m_button = NoButton;
    setCursor(Qt::ArrowCursor);
    update();
}

bool SelectionView::event(QEvent* event)
{
    // A pinch goes on to the wave underneath, which zooms.
    if (event->type() == QEvent::NativeGesture) {
        event->ignore();
        return false;
    }
    return QWidget::event(event);
}

// --- Hover ---

void SelectionView::mouseMoveEvent(QMouseEvent* event)
{
    const QPointF point = upward(event->position());
    if (event->buttons() & Qt::LeftButton)
        drag(point, event->modifiers() & Qt::ShiftModifier);
    else
        hover(point);
}

void SelectionView::hover(QPointF point)
{
    const bool buttonShown = m_button == AddButton || m_button == RemoveButton || m_button == SavedLoopButton;
    if (hasSelection()) {
        if (inside(m_handleAreaRight, point)) {
            setCursor(Qt::OpenHandCursor);
            m_rightHandle = true;
        } else if (inside(m_handleAreaLeft, point)) {
            setCursor(Qt::OpenHandCursor);
            m_leftHandle = true;
        } else if (inside(m_loopArea, point)) {
            m_button = LoopMarker::sharedLoops().loopExist(m_loop) ? RemoveButton : AddButton;
        } else if (m_leftHandle || m_rightHandle || buttonShown) {
            clearHandles();
        }
    } else if (m_leftHandle || m_rightHandle || buttonShown) {
        clearHandles();
    }

    const LoopMarker& loops = LoopMarker::sharedLoops();
    if (point.y() > waveHeight() && loops.loopCount() > 0) {
        const double W = waveWidth();
        for (const LoopPair& loop : loops.loopData()) {
            if (loop.left * W < point.x() && loop.right * W > point.x()) {
                m_selectorLocation = loop.left;
                m_selectorLength = loop.right - loop.left;
                if (m_button == NoButton || m_button == DraggedButton)
                    m_button = SavedLoopButton;
                break;
            }
            if (m_button == SavedLoopButton)
                m_button = NoButton;
        }
    } else {
        m_selectorLocation = 0.0;
        m_selectorLength = 0.0;
    }
    update();
}

void SelectionView::leaveEvent(QEvent*)
{
    if (m_button != DraggedButton)
        m_button = NoButton;
    m_selectorLength = 0.0;
    update();
}

// --- Press, drag, release ---

void SelectionView::mousePressEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton)
        return;
    setFocus(Qt::MouseFocusReason);
    press(upward(event->position()), event->modifiers() & Qt::ShiftModifier);
}

void SelectionView::press(QPointF point, bool shift)
{
    const double W = waveWidth();
    double p = point.x() / W;
    if (m_rightHandle) {
        m_handleOffset = float(p - m_loop.right);
        p = m_loop.right;
    } else if (m_leftHandle) {
        m_handleOffset = float(p - m_loop.left);
        p = m_loop.left;
    } else {
        m_handleOffset = 0.0f;
    }
    m_playFromCursor = false;
    if (m_button == AddButton || m_button == RemoveButton || m_button == SavedLoopButton)
        return; // the press belongs to the button
    m_oldLoop = m_loop;

    if (!shift && !m_leftHandle && !m_rightHandle) {
        const bool within = point.x() > m_loop.left * W && point.x() < m_loop.right * W;
        if (!within) {
            m_container->setLoop(false);
            setLoopWith({p, p});
            return;
        }
        // A press inside the selection plays from there, inside it.
        m_clickPosition = p;
        if (!m_container->controller()->player()->isPlaying())
            m_cursorPosition = p;
        m_playFromCursor = true;
    } else {
        if (p < m_loop.left || p < m_loop.left + (m_loop.right - m_loop.left) * 0.5)
            m_loop.left = p;
        else
            m_loop.right = p;
        if (m_rightHandle)
            m_playFromCursor = true;
    }
    m_container->setLoop(true);
    setLoopWith(m_loop);
}

void SelectionView::drag(QPointF point, bool shift)
{
    setCursor(Qt::ClosedHandCursor);
    const bool handle = m_leftHandle || m_rightHandle;
    if (m_playFromCursor && !handle)
        return; // a press inside the selection doesn't drag
    const double q = float(std::max(point.x() / waveWidth() - m_handleOffset, 0.0));

    if (!shift && !handle) {
        // Pulls out a new selection from where the press fell.
        if (!(m_loop.left > 0.0) || (m_button != NoButton && m_button != DraggedButton))
            return;
        m_loop.right = q;
        setLoopWith(m_loop);
        m_container->setLoop(true);
        m_button = DraggedButton;
        return;
    }
    // The nearer end follows; a handle dragged past the middle becomes the other one.
    const double middle = m_loop.left + (m_loop.right - m_loop.left) * 0.5;
    if (q < m_loop.left || (q > m_loop.left && q < middle)) {
        m_loop.left = q;
        if (m_rightHandle) {
            m_rightHandle = false;
            m_leftHandle = true;
        }
    } else if (q > m_loop.right || (q >= middle && q < m_loop.right)) {
        m_loop.right = q;
        if (m_leftHandle) {
            m_leftHandle = false;
            m_rightHandle = true;
        }
    }
    setLoopWith(m_loop);
    m_container->setLoop(true);
}

void SelectionView::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton)
        return;
    release(upward(event->position()));
}

void SelectionView::release(QPointF point)
{
    LoopMarker& loops = LoopMarker::sharedLoops();
    if (m_button == AddButton || m_button == RemoveButton) {
        m_container->addRemoveLoop(m_loop);
        m_selectorLength = 0.0;
        m_playFromCursor = false;
        m_button = NoButton;
    } else if (m_button == SavedLoopButton) {
        const LoopPair picked = loops.loopContainingPoint(point.x() / waveWidth());
        setLoopWith(picked);
        m_container->setLoop(true);
        m_container->selectionChanged();
        updateCursorWithProgress(picked.left);
    } else {
        // Half a percent of the visible width is a click, at every zoom.
        if (std::abs(m_loop.right - m_loop.left) < 0.005 / magnification()) {
            m_loop.left = m_loop.right;
            m_container->setLoop(false);
        }
        const double low = std::min(m_loop.left, m_loop.right);
        const double high = std::max(m_loop.left, m_loop.right);
        m_loop.left = std::max(low, 0.0);
        m_loop.right = std::min(double(float(high)), 1.0);
        if (!m_playFromCursor)
            m_cursorPosition = m_loop.left;
        if (m_rightHandle)
            m_clickPosition = m_cursorPosition;
        // Dragging a saved loop's handle edits that loop in place.
        if ((m_leftHandle || m_rightHandle) && loops.loopExist(m_oldLoop)) {
            loops.removeLoop(m_oldLoop);
            loops.addLoop(m_loop);
            m_container->storeLoopData();
        }
        setLoopWith(m_loop);
        m_container->selectionChanged();
    }
    updateTrackingAreas();
    setCursor(Qt::ArrowCursor);
}

// --- Keys ---

void SelectionView::keyPressEvent(QKeyEvent* event)
{
    if (isLoopCaptureKey(*event)) {
        m_container->controller()->captureLoopSelectionWithPlayhead(this);
        event->accept();
        return;
    }
    const bool left = event->key() == Qt::Key_Left;
    if (left || event->key() == Qt::Key_Right) {
        if ((event->modifiers() & Qt::AltModifier) && hasSelection())
            moveSelectionByItsLength(!left);
        else if (!(event->modifiers() & Qt::AltModifier))
            moveCursor(left ? -0.01 : 0.01);
    }
    // The window's own keys are the controller's.
    event->ignore();
}

bool SelectionView::moveSelectionByItsLength(bool forward)
{
    const double n = float(m_loop.right - m_loop.left);
    if (!forward && m_loop.left > n)
        setLoopWith({m_loop.left - n, m_loop.left});
    else if (forward && m_loop.right + n < 1.0)
        setLoopWith({m_loop.right, m_loop.right + n});
    else
        return false;
    m_container->selectionChanged();
    return true;
}

void SelectionView::moveCursor(double delta)
{
    m_cursorPosition = std::clamp(m_cursorPosition + delta, 0.0, 1.0);
    if (!hasSelection()) {
        setLoopWith({m_cursorPosition, m_cursorPosition});
        m_container->selectionChanged();
        if (m_waveScrollView)
            m_waveScrollView->waveView()->setOverrideAutoPos(false);
    } else {
        m_playFromCursor = true;
        m_clickPosition = m_cursorPosition;
        m_container->selectionChanged();
    }
    update();
}

// --- Drawing ---

void SelectionView::paintEvent(QPaintEvent*)
{
    const double W = float(waveWidth());
    const double h = waveHeight();
    if (!m_container || !m_container->audioLoaded() || h <= 0.0 || W <= 0.0)
        return;
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    // y up from the bottom edge, as every figure here is given.
    painter.translate(0.0, height());
    painter.scale(1.0, -1.0);
    const auto band = [&](double from, double to) { return QRectF(from * W, 2.0, (to - from) * W, h - 2.0).normalized(); };

    for (const LoopPair& saved : LoopMarker::sharedLoops().loopData())
        if (!(saved == m_loop))
            painter.fillRect(band(saved.left, saved.right), QColor::fromRgbF(0.114f, 0.114f, 0.114f, 0.35f));

    const MainController* controller = m_container->controller();
    if (controller && controller->isLoopCapturePending()) {
        const double a = std::clamp(double(controller->loopCaptureStartPosition()), 0.0, 1.0);
        const double b = std::clamp(m_cursorPosition, 0.0, 1.0);
        if (std::max(a, b) - std::min(a, b) > 0.0005)
            painter.fillRect(band(std::min(a, b), std::max(a, b)), m_selectionColor);
    }

    if (hasSelection() || m_button == SavedLoopButton) {
        painter.fillRect(band(m_loop.left, m_loop.right), m_selectionColor);
        drawButton(painter, h);
        drawHandle(painter, h);
    }

    painter.setPen(QPen(withAlpha(m_selectionColor, 0.8), 1.0));
    const double x = m_cursorPosition * W;
    painter.drawLine(QPointF(x, 2.0), QPointF(x, h));
}

void SelectionView::drawButton(QPainter& painter, double h) const
{
    const double W = float(waveWidth());
    const double H = height();
    const double cy = H - std::max(H * 0.044, 14.0);
    const bool active = m_button == AddButton || m_button == RemoveButton;
    const QColor lineColor = active ? kOrange : kDarkGray;
    const auto disc = [&](QPointF centre, double diameter, const QColor& color) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(color);
        painter.drawEllipse(centre, diameter / 2.0, diameter / 2.0);
    };
    const auto line = [&](double from, double to, const QColor& color) {
        painter.setPen(QPen(color, 2.0, Qt::SolidLine, Qt::FlatCap));
        painter.drawLine(QPointF(from * W, h + 1.0), QPointF(to * W, h + 1.0));
    };

    line(m_loop.left, m_loop.right, lineColor);
    if (m_button == SavedLoopButton) {
        const double from = m_selectorLocation;
        const double to = m_selectorLocation + m_selectorLength;
        line(from, to, kOrange);
        const QPointF centre((from + to) * 0.5 * W, cy);
        disc(centre, 16.0, kOrange);
        disc(centre, 6.0, Qt::black);
        return;
    }
    const QPointF centre((m_loop.left + m_loop.right) * W * 0.5, cy);
    disc(centre, 16.0, lineColor);
    painter.setPen(QPen(Qt::black, 2.0, Qt::SolidLine, Qt::FlatCap));
    // Away from the band the symbol still says what a press would do: a selection saved from the
    // menu shows its minus at once.
    const bool saved = LoopMarker::sharedLoops().loopExist(m_loop);
    const bool plus = m_button == AddButton || (m_button != RemoveButton && !saved);
    painter.drawLine(centre - QPointF(5.0, 0.0), centre + QPointF(5.0, 0.0));
    if (plus)
        painter.drawLine(centre - QPointF(0.0, 5.0), centre + QPointF(0.0, 5.0));
}

void SelectionView::drawHandle(QPainter& painter, double h) const
{
    if (!m_rightHandle && !m_leftHandle)
        return;
    const double W = float(waveWidth());
    const double side = m_rightHandle ? 1.0 : -1.0;
    const QPointF centre((m_rightHandle ? m_loop.right : m_loop.left) * W, h / 2.0);
    QPainterPath half;
    half.moveTo(centre);
    half.arcTo(QRectF(centre - QPointF(30.0, 30.0), QSizeF(60.0, 60.0)), m_rightHandle ? -90.0 : 90.0, 180.0);
    half.closeSubpath();
    painter.setPen(Qt::NoPen);
    painter.setBrush(m_rightHandle ? withAlpha(m_selectionColor, 0.5) : withAlpha(Qt::white, 0.5));
    painter.drawPath(half);
    painter.setPen(QPen(QColor::fromRgbF(0.2f, 0.2f, 0.2f, 0.8f), 2.0, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.setBrush(Qt::NoBrush);
    painter.drawPolyline(QPolygonF({centre + QPointF(7.0 * side, -7.0), centre + QPointF(14.0 * side, 0.0),
                                    centre + QPointF(7.0 * side, 7.0)}));
}
