#pragma once

#include <QWidget>

// The playhead over the overview strip: one thin line, no background, no input.
class CursorView : public QWidget {
    Q_OBJECT
public:
    explicit CursorView(QWidget* parent = nullptr);

    double cursorPosition() const { return m_cursorPosition; }
    // Repaints only when the value changes, so the playhead timer's tick stays cheap.
    void updateCursorWithProgress(double progress);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    double m_cursorPosition = 0.0;
};
