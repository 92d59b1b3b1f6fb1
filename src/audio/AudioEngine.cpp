#include "audio/AudioEngine.h"

#include "audio/DeviceOutput.h"
#include "audio/PcmCache.h"
#include "platform/Alerts.h"
#include "platform/Log.h"

#include <QObject>

#include <chrono>
#include <thread>

AudioEngine::AudioEngine()
    : AudioEngine(Options{})
{
}

AudioEngine::AudioEngine(Options options)
    : m_options(std::move(options))
    , m_waveData(std::make_unique<WaveformData>())
{
    if (!m_options.makeOutput)
        m_options.makeOutput = [] { return std::make_unique<DeviceOutput>(); };
    if (m_options.watchSystem)
        watchSystem();
}

AudioEngine::~AudioEngine()
{
    m_scheduledPlay = 0;
    m_renderAbort = true;
    while (m_renderLoopActive)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    m_systemWatch.reset();
    // The completion thread's handlers read m_graph: it is joined while m_graph still holds the
    // graph, since a reset empties the pointer before it deletes.
    if (m_graph)
        m_graph->shutdown();
    m_graph.reset();
}

QStringList AudioEngine::allowedFileTypes()
{
    return {QStringLiteral("wav"), QStringLiteral("aiff"), QStringLiteral("aif"), QStringLiteral("mp3"),
            QStringLiteral("m4a"), QStringLiteral("m4b"), QStringLiteral("caf")};
}

bool AudioEngine::readAudioDataFromURL(const QUrl& url)
{
    return adoptSource(AudioSource::read(url));
}

bool AudioEngine::adoptSource(AudioSource&& source)
{
    if (source.status == AudioSource::Status::TooLarge) {
        Alerts::runModal({QStringLiteral("Audio file too large!"), QStringLiteral("The audio file can not be loaded."),
                          {QStringLiteral("OK")}, AlertStyle::Warning});
        return false;
    }
    if (!source.isReady())
        return false;

    m_inputFormat = source.inputFormat;
    m_fileFormat = source.fileFormat;
    m_samplerate = m_inputFormat.sampleRate;
    m_fileURL = source.url;
    m_fileLength = source.fileLength;
    m_pcm = std::move(source.pcm);
    // Swapped into the one object the views hold on to.
    std::swap(*m_waveData, source.waveData);

    resetEngine();
    if (!setupEngine()) {
        Log::line(QStringLiteral("Error while setting up engine"));
        return false;
    }
    fillBufferFrom(0.0f, 1.0f, 0.0f);
    return true;
}
