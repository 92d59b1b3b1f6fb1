// The graph's lifecycle: building, connecting, starting, resetting, and surviving a lost device,
// a sleep and a wake.
#include "audio/AudioEngine.h"

#include "audio/AudioOutput.h"
#include "audio/AudioPlayerDelegate.h"
#include "platform/Log.h"
#include "platform/MainQueue.h"
#include "platform/SleepWatcher.h"

#include <QTimer>

bool AudioEngine::setupEngine()
{
    m_scheduledPlay = 0;
    // Built whether or not a device can be opened now: the output is the graph's last stage and
    // opens at each start, so a track opens, draws and exports with no sound device at all.
    if (!m_graph)
        m_graph = std::make_unique<AudioGraph>(m_options.makeOutput(), m_options.rendering);
    setSpeed(1.0f);
    m_graph->playerNode().setPassPlan(m_passPlan);
    m_pitch = 0.0;

    Equalizer& eq = m_graph->eqNode();
    eq.setType(0, Equalizer::FilterType::BandPass);
    eq.setFrequency(0, 2000.0f);
    eq.setBandwidth(0, 3.0f);
    eq.setBypass(0, true);
    eq.setType(1, Equalizer::FilterType::Parametric);
    eq.setFrequency(1, 2000.0f);
    eq.setBandwidth(1, 2.0f);
    eq.setGain(1, 0.0f);
    eq.setBypass(1, true);

    bypassEffect(true);
    makeConnections();
    return true;
}

void AudioEngine::makeConnections()
{
    if (m_graph)
        m_graph->connect(m_inputFormat);
}

bool AudioEngine::startEngine()
{
    // The output opens the system's current default device at every start, so there is no
    // separate device selection to fail here, and a device that appeared since is found.
    if (!m_graph || !m_graph->start()) {
        Log::line(QStringLiteral("couldn't start engine, %1")
                      .arg(m_graph ? QStringLiteral("the output device could not be opened")
                                   : QStringLiteral("there is no audio graph")));
        // The track is there and only the sound has nowhere to go: the owner says so.
        if (m_graph && m_delegate)
            m_delegate->audioPlayerDidFinishSetupSuccessfully(false);
        return false;
    }
    setupMatrixMixer(true);
    if (m_delegate)
        m_delegate->audioPlayerDidFinishSetupSuccessfully(true);
    return true;
}

void AudioEngine::setupMatrixMixer(bool)
{
    if (!m_graph)
        return;
    m_graph->mixer().setParameter(MatrixMixer::Global, MatrixMixer::kMasterElement, 1.0f);
    setSolo();
    setVolume(m_volume);
}

void AudioEngine::resetEngine()
{
    m_scheduledPlay = 0;
    if (m_graph) {
        m_graph->reset();
        stopNode();
    }
}

bool AudioEngine::isEngineRunning() const
{
    return m_graph && m_graph->isRunning();
}

void AudioEngine::bypassEffect(bool bypass)
{
    if (!MainQueue::isMainThread()) {
        std::weak_ptr<int> alive = m_lifetime;
        MainQueue::post([this, alive, bypass] {
            if (alive.lock())
                bypassEffect(bypass);
        });
        return;
    }
    if (m_graph)
        m_graph->pitchNode().setBypass(bypass);
}

void AudioEngine::handleInterruption()
{
    if (m_delegate)
        m_delegate->audioPlayerWillReset();
    resetEngine();
    setupEngine();
}

void AudioEngine::handleSleep()
{
    if (m_delegate)
        m_delegate->audioPlayerWillReset();
    stop();
    if (m_graph)
        m_graph->stop();
}

// A lost device is noticed by polling the output on the main thread; sleep and wake come from
// logind. Both lead to the same handlers as on any other system.
void AudioEngine::watchSystem()
{
    m_systemWatch = std::make_unique<QObject>();
    auto* sleep = new SleepWatcher(m_systemWatch.get());
    QObject::connect(sleep, &SleepWatcher::willSleep, m_systemWatch.get(), [this] { handleSleep(); });
    QObject::connect(sleep, &SleepWatcher::didWake, m_systemWatch.get(), [this] { handleInterruption(); });
    auto* poll = new QTimer(m_systemWatch.get());
    poll->setInterval(500);
    QObject::connect(poll, &QTimer::timeout, m_systemWatch.get(), [this] {
        if (m_graph && m_graph->isRunning() && m_graph->output().isLost())
            handleInterruption();
    });
    poll->start();
}
