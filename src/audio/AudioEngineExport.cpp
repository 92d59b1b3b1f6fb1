// Export: the graph pulled block by block with no device, on a worker, into a 16-bit WAV.
#include "audio/AudioEngine.h"

#include "audio/ExportProgress.h"
#include "audio/WavWriter.h"
#include "platform/Log.h"
#include "platform/MainQueue.h"

#include <QThreadPool>

#include <algorithm>

namespace {
constexpr int kMaxRenderFrames = 4096;
}

void AudioEngine::exportToURL(const QUrl& url, const QString&)
{
    renderBufferAndWriteToURL(url, AudioFormat{m_fileFormat.sampleRate, m_fileFormat.channelCount, QStringLiteral("float32")});
}

void AudioEngine::renderBufferAndWriteToURL(const QUrl& url, const AudioFormat& format)
{
    if (m_graph)
        m_graph->stop();

    auto writer = std::make_shared<WavWriter>();
    const QString path = url.isLocalFile() ? url.toLocalFile() : url.toString();
    if (!format.isValid() || !writer->open(path, format.sampleRate, format.channelCount, kMaxRenderFrames)) {
        Log::line(QStringLiteral("invalid file name %1").arg(writer->error()));
        return;
    }
    if (!m_graph || !m_inputFormat.isValid()) {
        Log::line(QStringLiteral("Could not enable manual rendering mode %1").arg(QStringLiteral("there is no audio graph")));
        return;
    }
    makeConnections();
    if (!m_graph->startManualRendering()) {
        Log::line(QStringLiteral("Start engine failed"));
        return;
    }
    setupMatrixMixer(true);
    bypassEffect(false);
    m_scheduled = false;
    preparePlay();

    m_renderAbort = false;
    m_exporting = true;
    m_renderLoopActive = true;
    const double rate = m_graph->pitchNode().rate();
    const int64_t total = int64_t(float(m_len) / float(rate)) * m_exportPasses;
    QThreadPool::globalInstance()->start([this, writer, total] { renderLoop(writer, total); });
}

void AudioEngine::renderLoop(std::shared_ptr<WavWriter> writer, int64_t total)
{
    std::vector<std::vector<float>> blocks(AudioGraph::kOutputChannels, std::vector<float>(kMaxRenderFrames));
    std::vector<float*> out;
    for (auto& block : blocks)
        out.push_back(block.data());

    int64_t sampleTime = 0;
    while (sampleTime < total) {
        const int n = int(std::min<int64_t>(kMaxRenderFrames, total - sampleTime));
        postExportProgress(double(sampleTime) / double(total));
        if (n == 0 || m_renderAbort)
            break;
        m_graph->renderOffline(out.data(), n);
        sampleTime += n;
        // A mono file takes the left output, where its own channel is.
        if (!writer->write(out.data(), n))
            Log::line(QStringLiteral("write to output file failed %1").arg(writer->error()));
    }
    writer->close();

    std::weak_ptr<int> alive = m_lifetime;
    MainQueue::post([this, alive] {
        if (!alive.lock())
            return;
        stopNode();
        m_graph->stopManualRendering();
        m_exporting = false;
        if (m_exportProgress)
            m_exportProgress->hideProgressBar();
    });
    m_renderLoopActive = false;
}

void AudioEngine::postExportProgress(double fraction)
{
    std::weak_ptr<int> alive = m_lifetime;
    MainQueue::post([this, alive, fraction] {
        if (alive.lock() && m_exportProgress)
            m_exportProgress->setProgressBar(fraction);
    });
}
