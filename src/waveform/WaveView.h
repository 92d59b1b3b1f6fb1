#pragma once

#include "analysis/LTChordSegment.h"

#include <QColor>
#include <QList>
#include <QPointer>
#include <QTimer>
#include <QWidget>

#include <functional>

class QPolygonF;
class QWheelEvent;
class WaveformData;
class WaveScrollView;
class WaveViewHost;

// Draws a track's waveform. Two instances exist: the main wave inside the WaveScrollView, as wide
// as the zoom makes it, and the overview strip, which also shades what the main wave has out of
// view, shows the selection and the saved loops, and moves the view when pressed. A pixel column x
// stands for the track position x / width at every zoom. Both take dropped audio files.
class WaveView : public QWidget {
    Q_OBJECT
public:
    explicit WaveView(QWidget* parent = nullptr);

    // The height of the main wave's drawing in a view `frameHeight` high; above it lies the band
    // for the loop button and the chord chips.
    static double waveHeight(double frameHeight);
    // How long a size must hold still before the points are made again for it.
    static constexpr int kLiveResizeSettleMs = 150;

    double waveWidth() const { return double(width()); }

    double magnification() const { return m_zoom; }
    // Makes the main wave's points for the current width and repaints; nothing for the same value.
    void setMagnification(double magnification);

    void setOverviewZoomRange(double left, double right);
    double overviewLeft() const { return m_overviewLeft; }
    double overviewRight() const { return m_overviewRight; }
    void setOverviewSelection(double left, double right);
    double selectionLeft() const { return m_selectionLeft; }
    double selectionRight() const { return m_selectionRight; }

    // The user has moved the view, so the playhead must not scroll it.
    bool overrideAutoPos() const { return m_overrideAutoPos; }
    void setOverrideAutoPos(bool override) { m_overrideAutoPos = override; }
    bool isOverview() const { return m_isOverview; }
    void setIsOverview(bool overview) { m_isOverview = overview; }

    WaveformData* waveData() const { return m_waveData; }
    void setWaveData(WaveformData* data);
    QColor backgroundColor() const { return m_backgroundColor; }
    void setBackgroundColor(const QColor& color);
    QColor fillColor() const { return m_fillColor; }
    void setFillColor(const QColor& color);
    void setContainer(WaveViewHost* container) { m_container = container; }
    void setScrollView(WaveScrollView* scrollView) { m_scrollView = scrollView; }

    // Chord chips in the band above the main wave; the overview never shows them.
    const QList<LTChordSegment>& noteSegments() const { return m_noteSegments; }
    void setNoteSegments(const QList<LTChordSegment>& segments) { m_noteSegments = segments; }
    double audioDuration() const { return m_audioDuration; }
    void setAudioDuration(double seconds) { m_audioDuration = seconds; }
    bool showsNoteOverlay() const { return m_showsNoteOverlay; }
    void setShowsNoteOverlay(bool shows) { m_showsNoteOverlay = shows; }
    // The left and right x of the chips drawn at the current size and scroll, in order.
    QList<QPair<double, double>> noteChipSpans() const;

    // A view laid over this one that follows its size (the selection, the playhead line).
    void addOverlay(QWidget* overlay);
    // Makes the points for the current width, once a resize has settled.
    void viewDidEndLiveResize();
    void scrollWheel(QWheelEvent* event);

protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    void updateChannelBrushes();
    bool loaded() const;
    void drawDropHint(QPainter& painter) const;
    QFont noteFont() const;
    void drawChannels(QPainter& painter, const QRectF& dirty, double waveHeight) const;
    // Fills between `curve` (x rising) and the line y = middle.
    static void fillUnderCurve(QPainter& painter, const QPolygonF& curve, double middle);
    void drawOverviewMarks(QPainter& painter, double waveHeight) const;
    // Lays the chips out for the visible part; `draw` paints each one placed.
    void layOutNoteChips(double waveHeight, const std::function<void(const QRectF&, const QString&)>& draw) const;
    void centreMainWaveOn(double x);

    double m_zoom = 1.0;
    double m_overviewLeft = 0.0;
    double m_overviewRight = 1.0;
    double m_selectionLeft = 0.0;
    double m_selectionRight = 0.0;
    bool m_selectionClicked = false;
    bool m_overrideAutoPos = false;
    bool m_isOverview = false;
    WaveformData* m_waveData = nullptr;
    QColor m_backgroundColor = Qt::black;
    QColor m_fillColor = Qt::gray;
    // The channels' fills as drawn: opaque wherever the background lets them be.
    QColor m_leftBrush;
    QColor m_rightBrush;
    WaveViewHost* m_container = nullptr;
    QPointer<WaveScrollView> m_scrollView;
    QList<QPointer<QWidget>> m_overlays;
    QTimer m_liveResize;
    int m_madeForWidth = -1;
    QList<LTChordSegment> m_noteSegments;
    double m_audioDuration = 0.0;
    bool m_showsNoteOverlay = false;
};
