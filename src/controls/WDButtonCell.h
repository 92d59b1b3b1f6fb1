#pragma once

#include <QAbstractButton>
#include <QColor>

class QPainter;

// The round transport button: a disc in backColor with a symbol in keyColor. Its look is the
// same whether pressed or not; the owner signals state by changing the style.
class WDButtonCell : public QAbstractButton {
    Q_OBJECT
public:
    enum Style { None = 0, Play = 1, Stop = 2, Pause = 3, Return = 4 };

    explicit WDButtonCell(QWidget* parent = nullptr);

    int style() const { return m_style; }
    // The repaint is queued behind what the event loop already holds.
    void setStyle(int style);
    QColor backColor() const { return m_backColor; }
    void setBackColor(const QColor& color);
    QColor keyColor() const { return m_keyColor; }
    void setKeyColor(const QColor& color);

    QSize sizeHint() const override { return {32, 32}; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void drawInteriorWithFrame(QPainter& painter, const QRectF& frame) const;

    int m_style = None;
    QColor m_backColor;
    QColor m_keyColor;
};
