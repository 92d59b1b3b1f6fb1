// Speed, pitch, tone, solo and the selection, kept per track beside its saved loops and brought
// back when the track is opened again, under a new name or in a new folder too.
#include "app/ViewController.h"

#include "app/PracticePanel.h"
#include "app/WavePane.h"
#include "controls/WDSlider.h"
#include "loops/LoopMarker.h"
#include "loops/SelectionView.h"
#include "loops/WaveViewContainer.h"
#include "preferences/PreferencesController.h"
#include "preferences/UserDefaults.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QScopedValueRollback>

#include <optional>

namespace {

// Changes come in bursts (a slider drag); one write after the burst.
constexpr int kSaveDelayMs = 1000;
// The practice section's values as last left, for the next launch.
const QString kPracticeSectionKey = QStringLiteral("PracticeSection");

bool isLoop(const QJsonObject& entry, const LoopPair& loop)
{
    return entry.value(QLatin1String("left")).toDouble() == loop.left &&
           entry.value(QLatin1String("right")).toDouble() == loop.right;
}

} // namespace

void ViewController::setupTrackSettings()
{
    m_trackSettingsSave.setSingleShot(true);
    m_trackSettingsSave.setInterval(kSaveDelayMs);
    connect(&m_trackSettingsSave, &QTimer::timeout, this, &ViewController::saveTrackSettings);
    connect(this, &ViewController::speedChanged, this, &ViewController::trackSettingsChanged);
    connect(this, &ViewController::selectionDidChange, this, &ViewController::trackSettingsChanged);
    for (WDSlider* slider : {m_toneSlider, m_pitchCoarseSlider, m_pitchFineSlider})
        connect(slider, &DoubleValueSlider::edited, this, &ViewController::trackSettingsChanged);
    for (QPushButton* button : {m_toneButton, m_pitchButton, m_soloLeft, m_soloRight, m_cancelCentre, m_centreOnly})
        connect(button, &QPushButton::clicked, this, &ViewController::trackSettingsChanged);
    connect(qApp, &QCoreApplication::aboutToQuit, this, &ViewController::saveTrackSettings);

    m_practice->setValues(QJsonObject::fromVariantMap(m_defaults.objectForKey(kPracticeSectionKey).toMap()));
    connect(m_practice, &PracticePanel::planChanged, this, [this] {
        m_defaults.setObject(m_practice->values(PracticePanel::Fields::All).toVariantMap(), kPracticeSectionKey);
        keepLoopTrainer();
    });
    connect(this, &ViewController::selectionDidChange, this, &ViewController::showLoopTrainer);
}

void ViewController::takeLoopTrainers(const QJsonObject& settings)
{
    const QJsonValue trainers = settings.value(QLatin1String("loopTrainers"));
    if (trainers.isArray())
        m_loopTrainers = trainers.toArray();
}

// A saved loop selected brings its trainer's values into the practice section.
void ViewController::showLoopTrainer()
{
    const LoopPair selection = m_waveViewContainer->selectionView()->loop();
    if (!LoopMarker::sharedLoops().loopExist(selection))
        return;
    for (const QJsonValue& entry : std::as_const(m_loopTrainers))
        if (isLoop(entry.toObject(), selection)) {
            QScopedValueRollback applying(m_applyingTrackSettings, true);
            m_practice->setValues(entry.toObject());
            return;
        }
}

// The trainer's values set while a saved loop is selected are that loop's.
void ViewController::keepLoopTrainer()
{
    const LoopPair selection = m_waveViewContainer->selectionView()->loop();
    if (m_applyingTrackSettings || !m_audioLoaded || !LoopMarker::sharedLoops().loopExist(selection))
        return;
    QJsonObject entry = m_practice->values(PracticePanel::Fields::Trainer);
    entry.insert(QStringLiteral("left"), selection.left);
    entry.insert(QStringLiteral("right"), selection.right);
    for (qsizetype i = 0; i < m_loopTrainers.size(); ++i)
        if (isLoop(m_loopTrainers.at(i).toObject(), selection)) {
            m_loopTrainers.replace(i, entry);
            trackSettingsChanged();
            return;
        }
    m_loopTrainers.append(entry);
    trackSettingsChanged();
}

// At a track's open, after the controls were reset: its loops, then its settings.
void ViewController::openTrackSettings(const TrackIdentity& track)
{
    LoopDataStore* store = m_waveViewContainer->loopStore();
    m_trackIdentity = track;
    m_trackKey = store ? store->keyFor(track) : track.name;
    m_waveViewContainer->readLoopData(m_trackKey);
    const QJsonObject settings = store ? store->settingsForKey(m_trackKey) : QJsonObject();
    m_loopTrainers = {};
    takeLoopTrainers(settings);
    if (m_defaults.boolForKey(PreferencesController::kRestoreTrackSettingsKey))
        applyTrackSettings(settings);
    // The key is claimed for this sound now, so a rename right away keeps it.
    saveTrackSettings();
}

PracticeData ViewController::practiceData() const
{
    return {m_trackIdentity, LoopMarker::sharedLoops().loopData(), trackSettings()};
}

void ViewController::importPracticeData(const PracticeData& data)
{
    LoopMarker& loops = LoopMarker::sharedLoops();
    for (const LoopPair& loop : data.loops)
        if (!loops.loopExist(loop))
            loops.addLoop(loop);
    m_waveViewContainer->storeLoopData();
    takeLoopTrainers(data.settings);
    applyTrackSettings(data.settings);
    saveTrackSettings();
}

// Taken now, while the controls are there: a save still due when the window goes reads no control.
void ViewController::trackSettingsChanged()
{
    if (!m_audioLoaded || m_applyingTrackSettings)
        return;
    m_pendingTrackSettings = trackSettings();
    m_trackSettingsSave.start();
}

void ViewController::saveTrackSettings()
{
    m_pendingTrackSettings = trackSettings();
    savePendingTrackSettings();
}

void ViewController::savePendingTrackSettings()
{
    m_trackSettingsSave.stop();
    LoopDataStore* store = m_waveViewContainer ? m_waveViewContainer->loopStore() : nullptr;
    if (store && !m_trackKey.isEmpty())
        store->setTrackForKey(m_trackKey, m_trackIdentity, m_pendingTrackSettings);
}

QJsonObject ViewController::trackSettings() const
{
    QJsonObject settings{
        {QStringLiteral("speed"), m_speed},
        {QStringLiteral("pitchCoarse"), m_pitchCoarseSlider->doubleValue()},
        {QStringLiteral("pitchFine"), m_pitchFineSlider->doubleValue()},
        {QStringLiteral("pitchOn"), m_pitchButton->isChecked()},
        {QStringLiteral("tone"), m_toneSlider->doubleValue()},
        {QStringLiteral("toneOn"), m_toneButton->isChecked()},
        {QStringLiteral("solo"), int(m_player->solo())},
    };
    QJsonArray trainers;
    for (const QJsonValue& entry : m_loopTrainers)
        for (const LoopPair& loop : LoopMarker::sharedLoops().loopData())
            if (isLoop(entry.toObject(), loop))
                trainers.append(entry);
    if (!trainers.isEmpty())
        settings.insert(QStringLiteral("loopTrainers"), trainers);
    const SelectionView* view = m_waveViewContainer->selectionView();
    const LoopPair selection = view ? view->loop() : LoopPair{};
    if (!selection.isEmpty())
        settings.insert(QStringLiteral("selection"), QJsonArray{selection.left, selection.right});
    return settings;
}

// Each value is taken as a user's move of its control would take it; what is missing or out of
// range stays as the open left it.
void ViewController::applyTrackSettings(const QJsonObject& settings)
{
    if (settings.isEmpty())
        return;
    QScopedValueRollback applying(m_applyingTrackSettings, true);
    const auto number = [&](const char* key, double low, double high) -> std::optional<double> {
        const QJsonValue v = settings.value(QLatin1String(key));
        if (!v.isDouble() || !(v.toDouble() >= low && v.toDouble() <= high))
            return std::nullopt;
        return v.toDouble();
    };
    if (const auto speed = number("speed", m_speedSlider->minValue(), m_speedSlider->maxValue()))
        setSpeed(*speed);
    const auto coarse = number("pitchCoarse", 0.0, 1.0), fine = number("pitchFine", 0.0, 1.0);
    if (coarse && fine) {
        m_pitchCoarseSlider->setDoubleValue(*coarse);
        m_pitchFineSlider->setDoubleValue(*fine);
        pitch(m_pitchCoarseSlider);
        m_pitchButton->setChecked(settings.value(QLatin1String("pitchOn")).toBool());
        pitchEnable(m_pitchButton);
    }
    if (const auto tone = number("tone", 0.0, 1.0)) {
        m_toneSlider->setDoubleValue(*tone);
        setFilter(m_toneSlider);
        m_toneButton->setChecked(settings.value(QLatin1String("toneOn")).toBool());
        filterEnable(m_toneButton);
    }
    if (const auto solo = number("solo", 0, AudioEngine::kCentreOnly)) {
        QPushButton* const buttons[] = {nullptr, m_soloLeft, m_soloRight, m_cancelCentre, m_centreOnly};
        QPushButton* on = buttons[int(*solo)];
        if (on)
            on->setChecked(true);
        soloChannel(on);
    }
    const QJsonArray selection = settings.value(QLatin1String("selection")).toArray();
    if (selection.size() == 2) {
        const LoopPair range{selection.at(0).toDouble(-1.0), selection.at(1).toDouble(-1.0)};
        if (0.0 <= range.left && range.left < range.right && range.right <= 1.0)
            m_waveViewContainer->selectRange(range);
    }
}
