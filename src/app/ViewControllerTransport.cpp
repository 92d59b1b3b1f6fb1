// Transport buttons and parameter sliders: each control's map to the engine's unit, its label,
// and the Alt gesture that puts a slider back to neutral.
#include "app/ViewController.h"

#include "app/ControlFormats.h"
#include "app/PracticePanel.h"
#include "app/WavePane.h"
#include "controls/WDButtonCell.h"
#include "controls/WDSlider.h"
#include "loops/LoopMarker.h"
#include "loops/SelectionView.h"
#include "loops/WaveViewContainer.h"
#include "preferences/UserDefaults.h"
#include "waveform/WaveScrollView.h"
#include "waveform/WaveView.h"

#include <QLabel>
#include <QPushButton>
#include <QSpinBox>

#include <algorithm>
#include <cmath>

namespace {
// Restores a flag when the handling of one user move ends.
struct FlagScope {
    bool& flag;
    bool saved;
    FlagScope(bool& f, bool value)
        : flag(f)
        , saved(f)
    {
        flag = value;
    }
    ~FlagScope() { flag = saved; }
};
} // namespace

void ViewController::connectSlider(WDSlider* slider, void (ViewController::*action)(QObject*))
{
    connect(slider, &DoubleValueSlider::edited, this, [this, slider, action](double, bool altHeld) {
        FlagScope alt(m_altHeld, altHeld);
        (this->*action)(slider);
    });
}

void ViewController::connectControls()
{
    // The speed slider and `speed` follow each other; a guard keeps one change from echoing.
    connect(m_speedSlider, &DoubleValueSlider::edited, this, [this](double value, bool altHeld) {
        if (m_bindingSpeed)
            return;
        FlagScope binding(m_bindingSpeed, true);
        FlagScope alt(m_altHeld, altHeld);
        setSpeed(value);
    });
    connect(this, &ViewController::speedChanged, this, [this](double value) {
        if (m_bindingSpeed)
            return;
        FlagScope binding(m_bindingSpeed, true);
        m_speedSlider->setDoubleValue(value);
    });
    connectSlider(m_zoomSlider, &ViewController::zoom);
    connectSlider(m_volumeSlider, &ViewController::setVolume);
    connectSlider(m_toneSlider, &ViewController::setFilter);
    connectSlider(m_pitchCoarseSlider, &ViewController::pitch);
    connectSlider(m_pitchFineSlider, &ViewController::pitch);
    connect(m_toneButton, &QPushButton::clicked, this, [this] { filterEnable(m_toneButton); });
    connect(m_pitchButton, &QPushButton::clicked, this, [this] { pitchEnable(m_pitchButton); });
    connect(m_soloLeft, &QPushButton::clicked, this, [this] { soloChannel(m_soloLeft); });
    connect(m_soloRight, &QPushButton::clicked, this, [this] { soloChannel(m_soloRight); });
    connect(m_cancelCentre, &QPushButton::clicked, this, [this] { soloChannel(m_cancelCentre); });
    connect(m_centreOnly, &QPushButton::clicked, this, [this] { soloChannel(m_centreOnly); });
    connect(m_practice, &PracticePanel::planChanged, this, &ViewController::applyPassPlan);
    connect(m_practice, &PracticePanel::slowerAsked, this, &ViewController::trainerSlower);
    connect(m_playButton, &QAbstractButton::clicked, this, [this] { play(m_playButton); });
    connect(m_returnButton, &QAbstractButton::clicked, this, [this] { returnPlayPos(m_returnButton); });
}

void ViewController::styleControls()
{
    m_speedSlider->setIcon(WDSlider::Gauge);
    m_zoomSlider->setIcon(WDSlider::Magnifier);
    m_zoomSlider->setDoubleRange(1.0, 25.0);
    m_zoomSlider->setDoubleValue(1.0);
    for (WDSlider* slider : {m_volumeSlider, m_toneSlider, m_pitchCoarseSlider, m_pitchFineSlider}) {
        slider->setIcon(3);
        slider->setThickness(15.0);
        slider->setDoubleRange(0.0, 1.0);
    }
    m_pitchCoarseSlider->setNumberOfTickMarks(25);
    showPlayButtonStyle(WDButtonCell::Play);
    m_returnButton->setStyle(WDButtonCell::Return);
    m_returnButton->setAccessibleName(tr("Return to Start"));
    m_returnButton->setToolTip(tr("Return to Start"));
}

void ViewController::showPlayButtonStyle(int style)
{
    const bool changed = m_playButton->style() != style;
    m_playButton->setStyle(style);
    if (changed)
        emit playbackStateChanged();
    // Named by what a press does now.
    const QString name = style == WDButtonCell::Pause ? tr("Pause") : tr("Play");
    m_playButton->setAccessibleName(name);
    m_playButton->setToolTip(name);
}

void ViewController::showOutputStatus(const QString& text)
{
    m_outputStatusLabel->setText(text);
    m_outputStatusLabel->setVisible(!text.isEmpty());
    configureBottomControlLayout();
}

void ViewController::showValue(QLabel* label, std::initializer_list<WDSlider*> sliders, const QString& text)
{
    label->setText(text);
    for (WDSlider* slider : sliders)
        slider->setValueText(text);
}

// --- Transport ---

void ViewController::play(QObject*)
{
    // The view follows the playhead again.
    m_wavePane->waveScrollView()->waveView()->setOverrideAutoPos(false);
    const bool playing = m_player->playPause();
    if (!playing)
        endTrainerRun();
    showPlayButtonStyle(playing ? WDButtonCell::Pause : WDButtonCell::Play);
}

void ViewController::stop(QObject*)
{
    clearPendingLoopCaptureState();
    endTrainerRun();
    if (m_player->isPlaying())
        m_player->stop();
    else
        setPlayPosition(0.0f);
    // The engine reports no end for a stop; nothing plays now.
    showPlayButtonStyle(WDButtonCell::Play);
}

void ViewController::returnPlayPos(QObject* sender)
{
    clearPendingLoopCaptureState();
    const bool wasPlaying = m_player->isPlaying();
    m_player->stop();
    SelectionView* selection = m_waveViewContainer->selectionView();
    selection->setPlayFromCursor(false);
    if (selection->hasSelection()) {
        m_waveViewContainer->selectionChanged();
        selection->updateCursorWithProgress(selection->loop().left);
    } else {
        // Without a selection the track's start is where playback returns to.
        setPlayPosition(0.0f);
    }
    if (wasPlaying)
        play(sender);
    else
        showPlayButtonStyle(WDButtonCell::Play);
}

void ViewController::setPlayPosition(float fraction)
{
    m_player->fillBufferFrom(fraction, 1.0f, fraction);
    m_waveViewContainer->setPlayPosition(fraction);
    updateTime();
    emit positionJumped();
}

void ViewController::updateTime()
{
    const double now = m_player->currentTime();
    m_timeLabel->setText(ControlFormats::timeText(now));
    showCurrentChord();
    followTrainer();
    // Playing never runs backwards: a step back is a loop's wrap.
    const bool wrapped = m_player->isPlaying() && now < m_lastShownTime - 0.02;
    m_lastShownTime = now;
    if (wrapped)
        emit positionJumped();
}

void ViewController::updateDurationLabel()
{
    m_durationLabel->setText(ControlFormats::timeText(m_player->duration()));
}

// --- Speed ---

void ViewController::setSpeed(double value)
{
    if (m_altHeld) {
        FlagScope binding(m_bindingSpeed, true);
        m_speedSlider->setDoubleValue(1.0);
        value = 1.0;
    }
    if (!m_followingTrainer)
        endTrainerRun();
    showValue(m_speedLabel, {m_speedSlider}, ControlFormats::speedText(value));
    m_player->setSpeed(float(value));
    m_speed = value;
    emit speedChanged(value);
}

// --- Speed trainer ---

void ViewController::applyPassPlan()
{
    m_player->setPassPlan(m_practice->plan());
}

void ViewController::followTrainer()
{
    // Asked on every playhead tick: the engine is only asked while a run goes on.
    if (!m_practice || !m_practice->trainerRuns())
        return;
    const double trained = m_player->trainedRateHeard();
    if (!(trained > 0.0) || std::abs(trained - m_speed) < 1e-9)
        return;
    FlagScope following(m_followingTrainer, true);
    setSpeed(trained);
}

void ViewController::endTrainerRun()
{
    if (!m_practice || !m_practice->trainerRuns())
        return;
    m_practice->endTrainerRun();
    // What plays from now on is what the control shows.
    m_player->setSpeed(float(m_speed));
}

// The run goes on one step below the speed heard now, from the next pass.
void ViewController::trainerSlower()
{
    const double lower = m_speed - std::abs(m_practice->trainerStep());
    m_practice->startPercent()->setValue(int(std::lround(lower * 100.0)));
}

void ViewController::incSpeed(QObject*)
{
    setSpeed(std::min(m_speed + kSpeedStep, m_speedSlider->maxValue()));
}

void ViewController::decSpeed(QObject*)
{
    setSpeed(std::max(m_speed - kSpeedStep, m_speedSlider->minValue()));
}

// --- Volume, tone and pitch ---

void ViewController::setVolume(QObject* sender)
{
    if (!sender || m_altHeld)
        m_volumeSlider->setDoubleValue(1.0);
    const float gain = float(m_volumeSlider->doubleValue());
    showValue(m_volumeLabel, {m_volumeSlider}, ControlFormats::volumeText(gain));
    m_player->setVolume(gain);
}

void ViewController::setFilter(QObject* sender)
{
    if (!sender || m_altHeld)
        m_toneSlider->setDoubleValue(0.5);
    const float hertz = ControlFormats::toneHertz(float(m_toneSlider->doubleValue()));
    showValue(m_toneLabel, {m_toneSlider}, ControlFormats::toneText(hertz));
    m_player->setFilter(hertz);
    // Moving the slider switches the filter on, even when Alt brings it back to the middle.
    m_toneButton->setChecked(sender != nullptr);
    filterEnable();
}

void ViewController::filterEnable(QObject*)
{
    m_player->filterEnable(m_toneButton->isChecked());
}

double ViewController::pitchCents() const
{
    return ControlFormats::pitchCents(m_pitchCoarseSlider->doubleValue(), m_pitchFineSlider->doubleValue());
}

void ViewController::pitch(QObject* sender)
{
    if (!sender) {
        m_pitchCoarseSlider->setDoubleValue(0.5);
        m_pitchFineSlider->setDoubleValue(0.5);
    } else if (m_altHeld) {
        // Only the slider that moved goes back; the other keeps its part of the pitch.
        if (sender == m_pitchCoarseSlider)
            m_pitchCoarseSlider->setDoubleValue(0.5);
        else if (sender == m_pitchFineSlider)
            m_pitchFineSlider->setDoubleValue(0.5);
    }
    const double cents = pitchCents();
    m_player->setPitch(float(cents));
    m_pitchButton->setChecked(sender != nullptr);
    showValue(m_pitchLabel, {m_pitchCoarseSlider, m_pitchFineSlider}, ControlFormats::pitchText(cents));
    pitchEnable();
}

void ViewController::pitchEnable(QObject*)
{
    m_player->pitchEnable(m_pitchButton->isChecked());
}

// --- Solo ---

void ViewController::soloChannel(QObject* sender)
{
    // One engine state serves all four, so the other buttons are only switched off here.
    for (QPushButton* button : {m_soloLeft, m_soloRight, m_cancelCentre, m_centreOnly})
        if (button != sender)
            button->setChecked(false);
    if (sender == m_soloLeft)
        m_player->soloLeft(m_soloLeft->isChecked());
    else if (sender == m_soloRight)
        m_player->soloRight(m_soloRight->isChecked());
    else if (sender == m_cancelCentre)
        m_player->cancelCentre(m_cancelCentre->isChecked());
    else
        m_player->centreOnly(m_centreOnly->isChecked());
}

// --- Zoom ---

void ViewController::zoom(QObject*)
{
    const float factor = float(m_zoomSlider->doubleValue());
    showValue(m_zoomLabel, {m_zoomSlider}, ControlFormats::zoomText(factor));
    m_wavePane->waveScrollView()->zoom(factor);
}

void ViewController::setZoom(double factor)
{
    m_zoomSlider->setDoubleValue(double(float(factor)));
    showValue(m_zoomLabel, {m_zoomSlider}, ControlFormats::zoomTextRounded(factor));
}

// --- Loop ---

bool ViewController::loop() const
{
    return m_player->loop();
}

void ViewController::setLoop(bool loop)
{
    const bool allowed = ColorTheme::flagForKey(m_defaults, QStringLiteral("LoopSelection"), true);
    m_player->setLoop(allowed && loop);
}

void ViewController::removeAllLoops(QObject* sender)
{
    m_waveViewContainer->removeAllLoops(sender);
}

void ViewController::selectionChangedAction()
{
    clearPendingLoopCaptureState();
    endTrainerRun();
    m_lastShownTime = m_player->currentTime();
    emit selectionDidChange();
    emit positionJumped();
}

void ViewController::seekTo(double seconds)
{
    const double duration = m_player->duration();
    if (!m_audioLoaded || !(duration > 0.0))
        return;
    const double p = std::clamp(seconds / duration, 0.0, 1.0);
    m_waveViewContainer->setSelection({p, p});
    m_waveViewContainer->updateCursorWithProgress(p);
    m_waveViewContainer->setLoop(false);
    m_waveViewContainer->selectionChanged();
}

