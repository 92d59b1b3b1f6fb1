#include "app/PracticePanel.h"

#include <QComboBox>
#include <QDoubleSpinBox>
#include <QGridLayout>
#include <QLabel>
#include <QPushButton>
#include <QSpinBox>

#include <cmath>

namespace {

QSpinBox* spin(QWidget* parent, const QString& name, int low, int high, int value, const QString& suffix = {})
{
    auto* box = new QSpinBox(parent);
    box->setRange(low, high);
    box->setValue(value);
    box->setSuffix(suffix);
    box->setAccessibleName(name);
    box->setToolTip(name);
    return box;
}

// Taps further apart than this start a new tempo.
constexpr qint64 kTapPauseMs = 2000;

} // namespace

PracticePanel::PracticePanel(QWidget* parent)
    : QWidget(parent)
{
    auto* grid = new QGridLayout(this);
    grid->setContentsMargins(0, 0, 0, 0);
    grid->setHorizontalSpacing(6);
    grid->setVerticalSpacing(4);
    grid->setColumnStretch(1, 1);
    const auto row = [&](const QString& caption, QWidget* field, QWidget* beside = nullptr) {
        const int at = grid->rowCount();
        grid->addWidget(new QLabel(caption, this), at, 0);
        grid->addWidget(field, at, 1, 1, beside ? 1 : 2);
        if (beside)
            grid->addWidget(beside, at, 2);
    };

    m_trainer = new QPushButton(tr("Trainer"), this);
    m_trainer->setCheckable(true);
    m_trainer->setAccessibleName(tr("Speed trainer"));
    m_trainer->setToolTip(tr("Raises the speed of the loop that plays, pass by pass"));
    m_slower = new QPushButton(tr("Slower"), this);
    m_slower->setToolTip(tr("Steps the trainer's speed down once"));
    m_slower->setEnabled(false);
    grid->addWidget(m_trainer, 0, 0, 1, 2);
    grid->addWidget(m_slower, 0, 2);

    m_start = spin(this, tr("Trainer start speed"), 25, 150, 60, QStringLiteral(" %"));
    m_step = spin(this, tr("Trainer step"), -50, 50, 5, QStringLiteral(" %"));
    m_every = spin(this, tr("Passes per step"), 1, 20, 2, tr(" passes"));
    m_limit = spin(this, tr("Trainer limit speed"), 25, 150, 100, QStringLiteral(" %"));
    row(tr("Start"), m_start);
    row(tr("Step"), m_step);
    row(tr("Every"), m_every);
    row(tr("Up to"), m_limit);

    m_lead = new QComboBox(this);
    m_lead->addItems({tr("Nothing"), tr("Silence"), tr("Count-in")});
    m_lead->setAccessibleName(tr("Before each pass"));
    m_lead->setToolTip(tr("What comes before each pass of the loop"));
    m_gap = new QDoubleSpinBox(this);
    m_gap->setRange(0.1, 60.0);
    m_gap->setSingleStep(0.5);
    m_gap->setValue(1.0);
    m_gap->setSuffix(tr(" s"));
    m_gap->setAccessibleName(tr("Silence before each pass"));
    m_clicks = spin(this, tr("Count-in clicks"), 1, 16, 4, tr(" clicks"));
    m_bpm = spin(this, tr("Count-in tempo in beats per minute"), 20, 400, 120);
    m_tap = new QPushButton(tr("Tap"), this);
    m_tap->setToolTip(tr("Tap the tempo (T)"));
    row(tr("Before"), m_lead);
    row(tr("Length"), m_gap);
    m_gapCaption = grid->itemAtPosition(grid->rowCount() - 1, 0)->widget();
    row(tr("Count"), m_clicks);
    m_clicksCaption = grid->itemAtPosition(grid->rowCount() - 1, 0)->widget();
    row(tr("BPM"), m_bpm, m_tap);
    m_tempoCaption = grid->itemAtPosition(grid->rowCount() - 1, 0)->widget();
    showLeadFields();

    const auto changed = [this] { emit planChanged(); };
    connect(m_trainer, &QPushButton::toggled, this, [this, changed](bool on) {
        m_slower->setEnabled(on);
        changed();
    });
    connect(m_slower, &QPushButton::clicked, this, &PracticePanel::slowerAsked);
    for (QSpinBox* box : {m_start, m_step, m_every, m_limit, m_clicks, m_bpm})
        connect(box, &QSpinBox::valueChanged, this, changed);
    connect(m_gap, &QDoubleSpinBox::valueChanged, this, changed);
    connect(m_lead, &QComboBox::currentIndexChanged, this, [this, changed] {
        showLeadFields();
        changed();
    });
    connect(m_tap, &QPushButton::clicked, this, &PracticePanel::tap);
}

void PracticePanel::showLeadFields()
{
    const int lead = m_lead->currentIndex();
    for (QWidget* w : std::initializer_list<QWidget*>{m_gap, m_gapCaption})
        w->setVisible(lead == Silence);
    for (QWidget* w : std::initializer_list<QWidget*>{m_clicks, m_bpm, m_tap, m_clicksCaption, m_tempoCaption})
        w->setVisible(lead == CountIn);
}

PassPlan PracticePanel::plan() const
{
    PassPlan plan;
    if (m_trainer->isChecked()) {
        plan.startRate = m_start->value() / 100.0;
        plan.step = trainerStep();
        plan.every = m_every->value();
        plan.limitRate = m_limit->value() / 100.0;
    }
    if (m_lead->currentIndex() == Silence)
        plan.gapSeconds = m_gap->value();
    else if (m_lead->currentIndex() == CountIn)
        plan.countIn = m_clicks->value();
    plan.bpm = m_bpm->value();
    return plan;
}

bool PracticePanel::trainerRuns() const
{
    return m_trainer->isChecked();
}

void PracticePanel::endTrainerRun()
{
    m_trainer->setChecked(false);
}

double PracticePanel::trainerStep() const
{
    return m_step->value() / 100.0;
}

namespace {

const char* const kStart = "start";
const char* const kStep = "step";
const char* const kEvery = "every";
const char* const kLimit = "limit";
const char* const kLead = "lead";
const char* const kGap = "gap";
const char* const kClicks = "clicks";
const char* const kBpm = "bpm";

} // namespace

QJsonObject PracticePanel::values(Fields fields) const
{
    QJsonObject values{{kStart, m_start->value()}, {kStep, m_step->value()}, {kEvery, m_every->value()}, {kLimit, m_limit->value()}};
    if (fields == Fields::All) {
        values.insert(kLead, m_lead->currentIndex());
        values.insert(kGap, m_gap->value());
        values.insert(kClicks, m_clicks->value());
        values.insert(kBpm, m_bpm->value());
    }
    return values;
}

void PracticePanel::setValues(const QJsonObject& values)
{
    const auto take = [&](const char* key, auto* box) {
        if (const QJsonValue v = values.value(QLatin1String(key)); v.isDouble())
            box->setValue(static_cast<decltype(box->value())>(v.toDouble())); // the box clamps to its range
    };
    take(kStart, m_start);
    take(kStep, m_step);
    take(kEvery, m_every);
    take(kLimit, m_limit);
    take(kGap, m_gap);
    take(kClicks, m_clicks);
    take(kBpm, m_bpm);
    if (const int lead = values.value(QLatin1String(kLead)).toInt(-1); lead >= NoLead && lead <= CountIn)
        m_lead->setCurrentIndex(lead);
}

void PracticePanel::tap()
{
    if (!m_tapClock.isValid())
        m_tapClock.start();
    const qint64 now = m_tapClock.elapsed();
    if (!m_taps.empty() && now - m_taps.back() > kTapPauseMs)
        m_taps.clear();
    m_taps.push_back(now);
    if (m_taps.size() > 4)
        m_taps.erase(m_taps.begin());
    if (m_taps.size() < 2)
        return;
    const double beatMs = double(m_taps.back() - m_taps.front()) / double(m_taps.size() - 1);
    if (beatMs > 0.0)
        m_bpm->setValue(int(std::lround(60000.0 / beatMs)));
}
