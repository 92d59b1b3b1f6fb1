#include "waveform/WaveView.h"

#include "audio/AudioEngine.h"
#include "loops/LoopMarker.h"
#include "waveform/WaveScrollView.h"
#include "waveform/WaveViewHost.h"
#include "waveform/WaveformData.h"

#include <QDragEnterEvent>
#include <QDropEvent>
#include <QFileInfo>
#include <QImage>
#include <QMimeData>
#include <QNativeGestureEvent>
#include <QPainter>
#include <QPainterPath>
#include <QWheelEvent>

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

const QColor kLight = QColor::fromRgbF(0.949f, 0.933f, 0.918f);

QColor withAlpha(QColor color, double alpha)
{
    color.setAlphaF(float(alpha));
    return color;
}

// Qt hands a translucent fill of many scan lines to worker threads, whose hand-off costs more than
// the fill itself; over an opaque background the same pixels come from an opaque colour, found by
// letting Qt blend one pixel.
QColor flattenedOver(QColor color, QColor background)
{
    if (color.alpha() == 255 || background.alpha() != 255)
        return color;
    QImage pixel(1, 1, QImage::Format_ARGB32_Premultiplied);
    pixel.fill(background);
    QPainter(&pixel).fillRect(0, 0, 1, 1, color);
    return pixel.pixelColor(0, 0);
}

// The file a drop hands over: the first local file, else the first address of any kind.
QUrl droppedURL(const QMimeData* data)
{
    const QList<QUrl> urls = data->urls();
    for (const QUrl& url : urls)
        if (url.isLocalFile())
            return url;
    return urls.value(0);
}

} // namespace

WaveView::WaveView(QWidget* parent)
    : QWidget(parent)
{
    setAcceptDrops(true);
    setAttribute(Qt::WA_OpaquePaintEvent, false);
    m_liveResize.setSingleShot(true);
    m_liveResize.setInterval(kLiveResizeSettleMs);
    connect(&m_liveResize, &QTimer::timeout, this, &WaveView::viewDidEndLiveResize);
    updateChannelBrushes();
}

double WaveView::waveHeight(double frameHeight)
{
    return frameHeight - std::max(frameHeight * 0.088, 28.0);
}

bool WaveView::loaded() const
{
    return m_container && m_container->audioLoaded();
}

void WaveView::setMagnification(double magnification)
{
    if (magnification == m_zoom)
        return;
    m_zoom = magnification;
    if (m_container)
        m_container->setZoom(magnification);
    if (m_waveData)
        m_waveData->makeWaveformOfWidth(float(waveWidth()));
    m_madeForWidth = width();
    update();
}

void WaveView::setOverviewZoomRange(double left, double right)
{
    m_overviewLeft = left;
    m_overviewRight = right;
}

void WaveView::setOverviewSelection(double left, double right)
{
    m_selectionLeft = left;
    m_selectionRight = right;
    update();
}

void WaveView::setWaveData(WaveformData* data)
{
    m_waveData = data;
    m_madeForWidth = -1;
    update();
}

void WaveView::setBackgroundColor(const QColor& color)
{
    m_backgroundColor = color;
    updateChannelBrushes();
}

void WaveView::setFillColor(const QColor& color)
{
    m_fillColor = color;
    updateChannelBrushes();
}

// Blended once per colour change rather than at every paint.
void WaveView::updateChannelBrushes()
{
    m_leftBrush = flattenedOver(m_fillColor, m_backgroundColor);
    m_rightBrush = flattenedOver(withAlpha(m_fillColor, m_fillColor.alphaF() * 0.8), m_backgroundColor);
    update();
}

void WaveView::addOverlay(QWidget* overlay)
{
    overlay->setParent(this);
    overlay->setGeometry(rect());
    overlay->show();
    m_overlays << overlay;
}

void WaveView::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    for (const QPointer<QWidget>& overlay : m_overlays)
        if (overlay)
            overlay->setGeometry(rect());
    // While the size keeps changing the old points are stretched; making them costs a pass over
    // the bins, which a window drag would repeat for every step.
    m_liveResize.start();
}

void WaveView::viewDidEndLiveResize()
{
    if (!m_waveData || width() == m_madeForWidth)
        return;
    if (m_isOverview)
        m_waveData->makeOverviewOfWidth(float(waveWidth()));
    else
        m_waveData->makeWaveformOfWidth(float(waveWidth()));
    m_madeForWidth = width();
    update();
}

// --- Drawing ---

void WaveView::paintEvent(QPaintEvent* event)
{
    QPainter painter(this);
    if (!loaded()) {
        if (!m_isOverview)
            drawDropHint(painter);
        return;
    }
    painter.fillRect(event->rect(), m_backgroundColor);
    const double h = m_isOverview ? double(height()) : waveHeight(height());
    drawChannels(painter, QRectF(event->rect()), h);
    if (m_isOverview) {
        drawOverviewMarks(painter, h);
        return;
    }
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setFont(noteFont());
    layOutNoteChips(h, [&](const QRectF& chip, const QString& name) {
        painter.setBrush(QColor::fromRgbF(0.1f, 0.1f, 0.1f, 0.58f));
        painter.setPen(QPen(QColor::fromRgbF(1.0f, 1.0f, 1.0f, 0.18f), 1.0));
        painter.drawRoundedRect(chip, 4.0, 4.0);
        painter.setPen(QColor::fromRgbF(0.96f, 0.96f, 0.96f, 0.96f));
        painter.drawText(chip.adjusted(5.0, 1.0, -5.0, -1.0), Qt::AlignCenter | Qt::TextSingleLine, name);
    });
}

QList<QPair<double, double>> WaveView::noteChipSpans() const
{
    QList<QPair<double, double>> spans;
    layOutNoteChips(waveHeight(height()), [&](const QRectF& chip, const QString&) { spans << qMakePair(chip.left(), chip.right()); });
    return spans;
}

void WaveView::layOutNoteChips(double waveHeight, const std::function<void(const QRectF&, const QString&)>& draw) const
{
    if (m_isOverview || !m_showsNoteOverlay || m_noteSegments.isEmpty() || !(m_audioDuration > 0.0))
        return;
    const double lane = height() - waveHeight;
    if (lane < 12.0)
        return;
    const double width = std::max(1.0, waveWidth());
    // Only what is in view is tested, so chips thin out by what the eye sees at this zoom.
    const double visibleLeft = m_scrollView ? m_scrollView->scrollOffset() : 0.0;
    const double visibleRight = m_scrollView ? visibleLeft + m_scrollView->visibleWidth() : width;
    const QFontMetricsF metrics(noteFont());
    double lastRight = std::numeric_limits<double>::lowest();
    for (const LTChordSegment& segment : m_noteSegments) {
        if (segment.noteName.isEmpty())
            continue;
        const double left = width * segment.startSec / m_audioDuration;
        const double right = width * segment.endSec / m_audioDuration;
        if (!(right > left) || right < visibleLeft - 2.0 || left > visibleRight + 2.0)
            continue;
        const double chipHeight = std::min(std::max(metrics.height() + 4.0, 14.0), std::max(lane - 4.0, 12.0));
        const double chipWidth = std::clamp(metrics.horizontalAdvance(segment.noteName) + 10.0, 22.0, 58.0);
        const double x = (left + right) / 2.0 - chipWidth / 2.0;
        if (x + chipWidth < visibleLeft || x > visibleRight || x < lastRight + 18.0)
            continue;
        // 2 points above the wave, in a y axis that runs down.
        const double top = height() - (waveHeight + 2.0) - chipHeight;
        draw(QRectF(x, top, chipWidth, chipHeight), segment.noteName);
        lastRight = x + chipWidth;
    }
}

QFont WaveView::noteFont() const
{
    QFont font = this->font();
    font.setPixelSize(10);
    font.setWeight(QFont::DemiBold);
    return font;
}

void WaveView::fillUnderCurve(QPainter& painter, const QPolygonF& curve, double middle)
{
    // Qt's rasterizer keeps each scan line's edge crossings in a list it searches linearly, so one
    // polygon of a thousand jagged points costs quadratically per line: tens of milliseconds at
    // deep zoom. Slices of a few dozen points cut at whole pixel columns cost a fraction of that
    // and cover the same pixels, as no pixel is shared between two slices.
    constexpr int kSlicePoints = 16;
    QPolygonF slice;
    slice.reserve(kSlicePoints + 4);
    const auto fill = [&](QPointF end) {
        slice << end << QPointF(end.x(), middle) << QPointF(slice.first().x(), middle);
        painter.drawPolygon(slice);
        slice.clear();
        slice << end;
    };
    slice << curve.first();
    for (int i = 1; i < curve.size(); ++i) {
        const QPointF a = curve[i - 1];
        const QPointF b = curve[i];
        const double cut = std::floor(b.x());
        if (slice.size() >= kSlicePoints && cut > a.x() && cut < b.x())
            fill(QPointF(cut, a.y() + (b.y() - a.y()) * (cut - a.x()) / (b.x() - a.x())));
        slice << b;
    }
    slice << QPointF(slice.last().x(), middle) << QPointF(slice.first().x(), middle);
    painter.drawPolygon(slice);
}

void WaveView::drawChannels(QPainter& painter, const QRectF& dirty, double waveHeight) const
{
    if (!m_waveData)
        return;
    const bool overview = m_isOverview;
    const int n = overview ? m_waveData->numOverviewPoints() : m_waveData->numPoints();
    const WavePoint* left = overview ? m_waveData->overviewPointsL() : m_waveData->wavePointsL();
    const WavePoint* right = overview ? m_waveData->overviewPointsR() : m_waveData->wavePointsR();
    if (!left || n < 1)
        return;
    const float W = float(waveWidth());
    const float H = float(waveHeight);
    const float frame = float(height());
    const float middle = frame - H / 2.0f;
    const float maxY = m_waveData->maxY();
    // Pure silence has no scale: it stays on the middle line.
    const float scale = maxY > 0.0f ? (H / 2.0f) / maxY : 0.0f;
    const float step = W / float(n);

    // Only the points over the part being painted, with one more on each side: the same pixels as
    // the whole path, at a cost that does not grow with the zoom.
    const int first = std::clamp(int(std::floor(dirty.left() / step)) - 1, 0, n - 1);
    const int last = std::clamp(int(std::ceil(dirty.right() / step)) + 1, 0, n - 1);
    const auto channel = [&](const WavePoint* points, float direction) {
        QPolygonF curve;
        curve.reserve(last - first + 2);
        for (int i = first; i <= last; ++i)
            curve << QPointF(points[i].x * step, middle - direction * float(points[i].y) * scale);
        // Past the last point the curve falls to the middle line at the right edge.
        if (last == n - 1)
            curve << QPointF(W, middle);
        else
            curve << QPointF(last * step, middle);
        fillUnderCurve(painter, curve, middle);
    };
    painter.setPen(Qt::NoPen);
    painter.setBrush(m_leftBrush);
    channel(left, 1.0f);
    if (right) {
        painter.setBrush(m_rightBrush);
        channel(right, -1.0f);
    }
    if (scale == 0.0f) {
        painter.setPen(QPen(m_fillColor, 1.0));
        painter.drawLine(QPointF(dirty.left(), middle), QPointF(dirty.right(), middle));
    }
}

void WaveView::drawOverviewMarks(QPainter& painter, double H) const
{
    const double W = waveWidth();
    painter.setPen(Qt::NoPen);
    const QColor shade = QColor::fromRgbF(0.1f, 0.12f, 0.13f, 0.5f);
    painter.fillRect(QRectF(0.0, 0.0, m_overviewLeft * W, H), shade);
    painter.fillRect(QRectF(m_overviewRight * W, 0.0, W, H), shade);

    painter.fillRect(QRectF(m_selectionLeft * W, 0.0, (m_selectionRight - m_selectionLeft) * W, H), withAlpha(kLight, 0.3));

    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(withAlpha(kLight, 0.5), 1.0));
    painter.drawRoundedRect(QRectF(m_overviewLeft * W - 0.5, 0.0, (m_overviewRight - m_overviewLeft) * W + 1.0, H - 0.5), 2.0, 2.0);

    const QPen loopLine(QColor::fromRgbF(1.0f, 0.5f, 0.0f), 4.0, Qt::SolidLine, Qt::FlatCap);
    for (const LoopPair& loop : LoopMarker::sharedLoops().loopData()) {
        painter.setPen(loopLine);
        painter.drawLine(QPointF(loop.left * W + 0.5, 2.0), QPointF(loop.right * W - 0.5, 2.0));
        painter.fillRect(QRectF(loop.left * W, 4.0, (loop.right - loop.left) * W, H - 4.0), withAlpha(kLight, 0.2));
    }
}

void WaveView::drawDropHint(QPainter& painter) const
{
    constexpr double aspect = 2.0;
    const double W = waveWidth();
    const double H = height();
    const double h = std::min(std::min(H - H * 0.25, 220.0), W * 0.9 / aspect);
    if (h <= 0.0)
        return;
    const QRectF box((W - h * aspect) / 2.0, (H - h) / 2.0, h * aspect, h);
    painter.setRenderHint(QPainter::Antialiasing);
    const QColor ink = withAlpha(kLight, 0.55);
    QPen dashed(ink, std::max(1.5, h / 110.0), Qt::DashLine);
    dashed.setDashPattern({6.0, 4.0});
    painter.setPen(dashed);
    painter.setBrush(withAlpha(kLight, 0.04));
    painter.drawRoundedRect(box.adjusted(2, 2, -2, -2), h * 0.08, h * 0.08);

    // An arrow falling into a tray.
    const QPointF top(box.center().x(), box.top() + h * 0.18);
    const double arrow = h * 0.28;
    QPen solid(ink, std::max(2.0, h / 45.0), Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
    painter.setPen(solid);
    painter.setBrush(Qt::NoBrush);
    painter.drawLine(top, top + QPointF(0, arrow));
    painter.drawPolyline(QPolygonF({top + QPointF(-arrow * 0.35, arrow * 0.62), top + QPointF(0, arrow),
                                    top + QPointF(arrow * 0.35, arrow * 0.62)}));
    const double trayY = top.y() + arrow + h * 0.06;
    painter.drawPolyline(QPolygonF({QPointF(top.x() - arrow * 0.7, trayY - h * 0.07), QPointF(top.x() - arrow * 0.7, trayY),
                                    QPointF(top.x() + arrow * 0.7, trayY), QPointF(top.x() + arrow * 0.7, trayY - h * 0.07)}));

    QFont font = painter.font();
    font.setPixelSize(std::max(11, int(h * 0.1)));
    painter.setFont(font);
    painter.setPen(withAlpha(kLight, 0.8));
    const QRectF text(box.left(), trayY + h * 0.06, box.width(), box.bottom() - trayY - h * 0.1);
    painter.drawText(text, Qt::AlignHCenter | Qt::AlignTop | Qt::TextWordWrap,
                     tr("Drop an audio file here, or press Ctrl+O"));
}

// --- The overview as a control ---

void WaveView::centreMainWaveOn(double x)
{
    const double W = waveWidth();
    const float span = float((m_overviewRight - m_overviewLeft) * W);
    if (m_container)
        m_container->setViewPosition(float((x - span * 0.5) / W));
    setOverviewSelection(0.0, 0.0);
}

void WaveView::mousePressEvent(QMouseEvent* event)
{
    if (!m_isOverview || event->button() != Qt::LeftButton || !m_container || width() <= 0)
        return;
    setCursor(Qt::OpenHandCursor);
    const double x = event->position().x();
    if (LoopMarker::sharedLoops().loopContainsPoint(x / waveWidth()))
        m_selectionClicked = true;
    centreMainWaveOn(x);
    m_container->setLoop(false);
}

void WaveView::mouseMoveEvent(QMouseEvent* event)
{
    if (!m_isOverview || !(event->buttons() & Qt::LeftButton) || !m_container || width() <= 0)
        return;
    setCursor(Qt::OpenHandCursor);
    centreMainWaveOn(event->position().x());
}

void WaveView::mouseReleaseEvent(QMouseEvent* event)
{
    if (!m_isOverview || event->button() != Qt::LeftButton || !m_container || width() <= 0)
        return;
    setCursor(Qt::ArrowCursor);
    const double p = event->position().x() / waveWidth();
    if (!m_selectionClicked) {
        // A plain click moves the play position there and drops the selection.
        m_container->setSelection({p, p});
        m_container->updateCursorWithProgress(p);
        m_container->setLoop(false);
        m_container->selectionChanged();
    } else {
        // A click inside a saved loop selects that loop.
        const LoopPair loop = LoopMarker::sharedLoops().loopContainingPoint(p);
        m_container->setSelection(loop);
        m_container->setLoop(true);
        m_container->selectionChanged();
        m_container->updateCursorWithProgress(loop.left);
    }
    m_selectionClicked = false;
}

// --- Wheel and pinch ---

void WaveView::wheelEvent(QWheelEvent* event)
{
    scrollWheel(event);
}

void WaveView::scrollWheel(QWheelEvent* event)
{
    m_overrideAutoPos = true;
    if (!m_scrollView) {
        event->ignore();
        return;
    }
    if (m_isOverview) {
        m_scrollView->waveView()->scrollWheel(event);
        return;
    }
    // A touchpad scrolls the way the scroll area does it, in both directions.
    const bool precise = !event->pixelDelta().isNull() || event->phase() != Qt::NoScrollPhase;
    if (precise) {
        event->ignore();
        return;
    }
    const QPoint delta = event->angleDelta();
    const int steps = delta.y() != 0 ? delta.y() : delta.x();
    if (event->modifiers() & (Qt::ShiftModifier | Qt::ControlModifier))
        m_scrollView->zoomWithWheel(steps / 120.0);
    else
        m_scrollView->scrollWithWheel(steps / 120.0);
    event->accept();
}

bool WaveView::event(QEvent* event)
{
    if (event->type() == QEvent::NativeGesture && !m_isOverview && m_scrollView) {
        auto* gesture = static_cast<QNativeGestureEvent*>(event);
        if (gesture->gestureType() == Qt::ZoomNativeGesture) {
            m_scrollView->magnifyWithEvent(mapTo(m_scrollView, gesture->position()), gesture->value());
            event->accept();
            return true;
        }
    }
    return QWidget::event(event);
}

// --- Dropping a file ---

namespace {

// Opening a file only reads it: never a move, which would let a file manager delete it.
Qt::DropAction openingAction(const QDropEvent* event)
{
    return event->possibleActions() & Qt::LinkAction ? Qt::LinkAction : Qt::CopyAction;
}

} // namespace

void WaveView::dragEnterEvent(QDragEnterEvent* event)
{
    if (event->mimeData()->hasUrls() && event->possibleActions() & (Qt::LinkAction | Qt::CopyAction)) {
        event->setDropAction(openingAction(event));
        event->accept();
    } else {
        event->ignore();
    }
}

void WaveView::dropEvent(QDropEvent* event)
{
    const QUrl url = droppedURL(event->mimeData());
    const QString suffix = QFileInfo(url.path()).suffix();
    const bool allowed = !suffix.isEmpty() && AudioEngine::allowedFileTypes().contains(suffix, Qt::CaseInsensitive);
    if (allowed && m_container && m_container->loadAudioFromURL(url)) {
        event->setDropAction(openingAction(event));
        event->accept();
    } else {
        event->ignore();
    }
}
