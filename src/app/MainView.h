#pragma once

#include <QColor>
#include <QWidget>

#include <functional>

// The controller's main view: a plain surface in the theme's background colour that hands every
// resize to the one routine placing its children.
class MainView : public QWidget {
    Q_OBJECT
public:
    explicit MainView(QWidget* parent = nullptr);

    void setBackgroundColor(const QColor& color);
    QColor backgroundColor() const { return m_background; }
    void setLayoutHandler(std::function<void()> handler) { m_layout = std::move(handler); }
    void setKeyHandler(std::function<bool(QKeyEvent*)> handler) { m_keys = std::move(handler); }

    QSize sizeHint() const override { return {1100, 680}; }
    static constexpr int kMinimumWidth = 720;
    QSize minimumSizeHint() const override { return {kMinimumWidth, 360}; }

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    QColor m_background;
    std::function<void()> m_layout;
    std::function<bool(QKeyEvent*)> m_keys;
};
