#pragma once

#include <QWidget>

class QLabel;
class QProgressBar;
class QPushButton;

// The in-window bar of a file being opened: its name, how far the read has come, and Cancel.
// It lies over the top of the wave pane, so the rest of the window stays usable.
class OpenProgressBar : public QWidget {
    Q_OBJECT
public:
    explicit OpenProgressBar(QWidget* parent = nullptr);

    void showFor(const QString& fileName);
    void setFraction(double fraction);
    QProgressBar* progressBar() const { return m_bar; }
    QPushButton* cancelButton() const { return m_cancel; }
    // Keeps the bar across the top of its parent.
    void placeInParent();

signals:
    void cancelRequested();

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QLabel* m_title;
    QProgressBar* m_bar;
    QPushButton* m_cancel;
};
