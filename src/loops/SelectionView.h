#pragma once

#include "loops/LoopMarker.h"
#include "waveform/WaveScrollView.h"

#include <QColor>
#include <QPointer>
#include <QRectF>
#include <QWidget>

class QKeyEvent;
class WaveViewContainer;

// Lies over the main wave, as wide as the zoomed wave. Draws the live selection, the saved loops,
// the playhead and the button that saves or removes a loop; turns mouse and arrow keys into a new
// selection, which it hands to the coordinator once the gesture is over. Positions are fractions
// of the track: x = position · width at every zoom.
class SelectionView : public QWidget {
    Q_OBJECT
public:
    // The band's button: what a press there does, and how it is drawn.
    enum Button {
        NoButton = 0,
        AddButton = 1,        // over a selection that is not saved
        RemoveButton = 2,     // over a selection that is a saved loop
        SavedLoopButton = 3,  // over a saved loop: selects it
        DraggedButton = 4,    // a selection was just dragged out
    };
    // Two positions closer than this are one: no selection.
    static constexpr double kNoSelectionBound = 1.1920928955078125e-7;

    explicit SelectionView(QWidget* parent = nullptr);

    // L alone or with Shift; not with Ctrl, Alt, Super or Caps Lock.
    static bool isLoopCaptureKey(const QKeyEvent& event);

    bool hasSelection() const;
    LoopPair loop() const { return m_loop; }
    void setLoop(const LoopPair& loop) { m_loop = loop; }
    // Every change of the selection from elsewhere: stores it, rebuilds the hover regions, repaints.
    void setLoopWith(const LoopPair& loop);
    double cursorPosition() const { return m_cursorPosition; }
    void updateCursorWithProgress(double progress);
    double clickPosition() const { return m_clickPosition; }
    bool playFromCursor() const { return m_playFromCursor; }
    void setPlayFromCursor(bool play) { m_playFromCursor = play; }
    QColor selectionColor() const { return m_selectionColor; }
    void setSelectionColor(const QColor& color);

    void setWaveScrollView(WaveScrollView* view) { m_waveScrollView = view; }
    void setContainer(WaveViewContainer* container) { m_container = container; }

    int button() const { return m_button; }
    bool leftHandle() const { return m_leftHandle; }
    bool rightHandle() const { return m_rightHandle; }
    void updateTrackingAreas();
    void clearHandles();

protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    // The view's y axis points up here: y = 0 at the bottom, the band above waveHeight().
    QPointF upward(QPointF point) const { return {point.x(), height() - point.y()}; }
    double waveWidth() const;
    double waveHeight() const;
    double magnification() const;
    void hover(QPointF point);
    void press(QPointF point, bool shift);
    void drag(QPointF point, bool shift);
    void release(QPointF point);
    void drawButton(QPainter& painter, double h) const;
    void drawHandle(QPainter& painter, double h) const;
    bool moveSelectionByItsLength(bool forward);
    void describeSelection();
    void moveCursor(double delta);

    bool m_leftHandle = false;
    bool m_rightHandle = false;
    float m_handleOffset = 0.0f;
    int m_button = NoButton;
    LoopPair m_oldLoop;
    double m_selectorLocation = 0.0;
    double m_selectorLength = 0.0;
    QRectF m_handleAreaLeft;
    QRectF m_handleAreaRight;
    QRectF m_loopArea;
    bool m_playFromCursor = false;
    double m_cursorPosition = 0.0;
    double m_clickPosition = 0.0;
    QColor m_selectionColor = Qt::white;
    LoopPair m_loop;
    QPointer<WaveScrollView> m_waveScrollView;
    WaveViewContainer* m_container = nullptr;
};
