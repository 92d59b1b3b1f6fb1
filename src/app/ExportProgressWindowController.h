#pragma once

#include <QColor>
#include <QDialog>

class QLabel;
class QProgressBar;

// The sheet that follows an export: a label, a bar from 0.0 to 1.0 and Cancel. Window-modal over
// the main window; its end, by Cancel or by the export finishing, is reported once.
class ExportProgressWindowController : public QDialog {
    Q_OBJECT
public:
    explicit ExportProgressWindowController(QWidget* parent);

    void windowDidLoad();
    double progressBar() const;
    void setProgressBar(double fraction);
    void setBackgroundColor(const QColor& color);
    QProgressBar* progressBarWidget() const { return m_progressBar; }

    // Ends the sheet with the return code; the first end wins.
    void endSheet(int returnCode);

public slots:
    void didTapCancelButton();

signals:
    void sheetEnded(int returnCode);

private:
    static constexpr int kSteps = 1000;
    QLabel* m_label;
    QProgressBar* m_progressBar;
    bool m_ended = false;
};
