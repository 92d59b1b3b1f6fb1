#pragma once

#include <QAbstractButton>
#include <QColor>

// A borderless button that shows only its title. While the pointer is over it (or it is held
// down) the button is highlighted and the title takes activeTitleColor.
class WDTextButton : public QAbstractButton {
    Q_OBJECT
public:
    explicit WDTextButton(QWidget* parent = nullptr);
    explicit WDTextButton(const QString& title, QWidget* parent = nullptr);

    QColor activeTitleColor() const { return m_activeTitleColor; }
    void setActiveTitleColor(const QColor& color);

    // The resting title colour: activeTitleColor when true, grey when false.
    void setTitleActive(bool active);
    QColor titleColor() const;

    bool isHighlighted() const { return m_highlighted; }
    void setHighlighted(bool highlighted);

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    QColor m_activeTitleColor;
    QColor m_titleColor; // invalid until set: the palette's button text
    bool m_highlighted = false;
};
