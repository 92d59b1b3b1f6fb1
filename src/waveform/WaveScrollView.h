#pragma once

#include <QPointer>
#include <QScrollArea>

class WaveView;
class WaveViewHost;

// Holds the main wave and the selection laid over it. Zooming widens the wave to
// floor(magnification · visible width) and has its points made for that width, so every track
// position keeps standing at position · width; the overview strip follows every scroll and resize.
class WaveScrollView : public QScrollArea {
    Q_OBJECT
public:
    static constexpr double kMaxMagnification = 25.0;

    explicit WaveScrollView(QWidget* parent = nullptr);

    WaveView* waveView() const { return m_waveView; }
    void setContainer(WaveViewHost* container);
    void setOverview(WaveView* overview) { m_overview = overview; }
    void setBackgroundColor(const QColor& color);

    double magnification() const { return m_magnification; }
    double maxMagnification() const { return kMaxMagnification; }
    // Back to 1x, loaded or not.
    void resetMagnification();
    // The slider's and the wheel's road: the point of the track at the playhead's anchor stays put.
    void zoom(double magnification);
    // A pinch at `point` (this view's coordinates) multiplies the zoom by 1 + delta.
    void magnifyWithEvent(QPointF point, double delta);
    void zoomWithWheel(double steps);
    // A wheel notch scrolls a tenth of the visible width.
    void scrollWithWheel(double steps);

    // The wave's x at the left edge of the view, kept inside the wave.
    void scrollPoint(double x);
    double scrollOffset() const;
    double visibleWidth() const;
    void updateOverview();

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    void setWaveWidth(double anchor, double anchorInView);

    WaveView* m_waveView = nullptr;
    QPointer<WaveView> m_overview;
    WaveViewHost* m_container = nullptr;
    double m_magnification = 1.0;
};
