#pragma once

#include <QColor>
#include <QWidget>

// The centre pane of the split view, where the wave views go. Until they exist it shows the
// theme's background and nothing else.
class WavePane : public QWidget {
    Q_OBJECT
public:
    static constexpr int kMinimumWidth = 120;

    explicit WavePane(QWidget* parent = nullptr);

    void setBackgroundColor(const QColor& color);
    QColor backgroundColor() const { return m_background; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QColor m_background;
};
