#pragma once

#include <QColor>
#include <QWidget>

class WaveScrollView;
class WaveView;

// The centre pane of the split view: the overview strip above the zoomable main wave.
class WavePane : public QWidget {
    Q_OBJECT
public:
    static constexpr int kMinimumWidth = 120;
    static constexpr int kOverviewHeight = 56;
    static constexpr int kMargin = 8;

    explicit WavePane(QWidget* parent = nullptr);

    WaveView* overView() const { return m_overView; }
    WaveScrollView* waveScrollView() const { return m_waveScrollView; }

    void setBackgroundColor(const QColor& color);
    QColor backgroundColor() const { return m_background; }

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    QColor m_background;
    WaveView* m_overView = nullptr;
    WaveScrollView* m_waveScrollView = nullptr;
};
