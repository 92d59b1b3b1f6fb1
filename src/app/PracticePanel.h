#pragma once

#include "audio/PassPlan.h"

#include <QElapsedTimer>
#include <QJsonObject>
#include <QWidget>

#include <vector>

class QComboBox;
class QDoubleSpinBox;
class QPushButton;
class QSpinBox;

// The drawer's practice section: a speed trainer for the loop that plays (from a speed, a step
// every few passes, up to a limit), and what comes before each pass (nothing, silence, or a
// count-in at a tempo typed or tapped).
class PracticePanel : public QWidget {
    Q_OBJECT
public:
    enum Lead { NoLead, Silence, CountIn };

    explicit PracticePanel(QWidget* parent = nullptr);

    // The trainer's part only while it runs.
    PassPlan plan() const;
    bool trainerRuns() const;
    // Ends a run: the toggle goes off, the values stay.
    void endTrainerRun();
    // The step a run goes down by on demand.
    double trainerStep() const;
    // One beat tapped: the tempo is that of the last four taps.
    void tap();

    // The fields' values, to keep; the trainer's four alone, or all of them.
    enum class Fields { Trainer, All };
    QJsonObject values(Fields fields) const;
    // Takes the values given; fields missing stay as they are.
    void setValues(const QJsonObject& values);

    QPushButton* trainerToggle() const { return m_trainer; }
    QPushButton* slowerButton() const { return m_slower; }
    QSpinBox* startPercent() const { return m_start; }
    QSpinBox* stepPercent() const { return m_step; }
    QSpinBox* everyPasses() const { return m_every; }
    QSpinBox* limitPercent() const { return m_limit; }
    QComboBox* leadChoice() const { return m_lead; }
    QDoubleSpinBox* gapSeconds() const { return m_gap; }
    QSpinBox* clicks() const { return m_clicks; }
    QSpinBox* bpm() const { return m_bpm; }

signals:
    void planChanged();
    void slowerAsked();

private:
    void showLeadFields();

    QPushButton* m_trainer = nullptr;
    QPushButton* m_slower = nullptr;
    QSpinBox* m_start = nullptr;
    QSpinBox* m_step = nullptr;
    QSpinBox* m_every = nullptr;
    QSpinBox* m_limit = nullptr;
    QComboBox* m_lead = nullptr;
    QDoubleSpinBox* m_gap = nullptr;
    QSpinBox* m_clicks = nullptr;
    QSpinBox* m_bpm = nullptr;
    QPushButton* m_tap = nullptr;
    QWidget* m_gapCaption = nullptr;
    QWidget* m_clicksCaption = nullptr;
    QWidget* m_tempoCaption = nullptr;
    QElapsedTimer m_tapClock;
    std::vector<qint64> m_taps; // milliseconds on m_tapClock
};
