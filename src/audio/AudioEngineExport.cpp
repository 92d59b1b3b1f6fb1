// Export: the range rendered with every current setting on a worker, into a 16-bit WAV.
#include "audio/AudioEngine.h"

#include "audio/ExportProgress.h"
#include "audio/ExportRenderer.h"
#include "audio/PlayerNode.h"
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
    renderBufferAndWriteToURL(url, AudioFormat{m_fileFormat.sampleRate, m_fileFormat.channelCount,
                                               QStringLiteral("float32"), m_fileFormat.channelMask});
}

void AudioEngine::renderBufferAndWriteToURL(const QUrl& url, const AudioFormat& format)
{
    if (m_graph)
        m_graph->stop();
    m_exportError = startExport(url, format);
}

// Empty once the render runs; otherwise why it could not start.
QString AudioEngine::startExport(const QUrl& url, const AudioFormat& format)
{
    auto writer = std::make_shared<WavWriter>();
    const QString path = url.isLocalFile() ? url.toLocalFile() : url.toString();
    if (!format.isValid() || !writer->open(path, format.sampleRate, format.channelCount, kMaxRenderFrames)) {
        const QString why = format.isValid() ? writer->error() : QStringLiteral("the track has no format to write");
        Log::line(QStringLiteral("invalid file name %1").arg(why));
        return why;
    }
    if (!m_graph || !m_inputFormat.isValid() || !m_pcm) {
        const QString why = QStringLiteral("there is no audio graph");
        Log::line(QStringLiteral("Could not enable manual rendering mode %1").arg(why));
        return why;
    }
    makeConnections();
    setupMatrixMixer(true);

    const double rate = m_graph->pitchNode().rate();
    const bool followsPasses = m_loop && (m_passPlan.trains() || m_passPlan.leads());
    const int64_t total = followsPasses ? m_passPlan.outputFrames(m_len, m_exportPasses, format.sampleRate, rate)
                                        : int64_t(float(m_len) / float(rate)) * m_exportPasses;
    const int64_t inputFrames = int64_t(m_len) * m_exportPasses;
    auto renderer = std::make_shared<ExportRenderer>(
        ExportRenderer::Settings{format.sampleRate, format.channelCount, rate, m_graph->pitchNode().pitch(), followsPasses,
                                 m_graph->centre().isEnabled()},
        m_graph->mixer(), m_graph->eqNode());

    // The range as a play would schedule it, and once more for a stretcher that studies it first.
    const uint64_t generation = ++m_scheduleGeneration;
    const auto scheduled = [&] {
        auto node = std::make_shared<PlayerNode>(m_inputFormat.channelCount);
        node->setSampleRate(format.sampleRate);
        node->setHandRate(rate);
        node->setPassPlan(m_passPlan);
        scheduleRange(*node, generation, false);
        node->play();
        return node;
    };
    const std::shared_ptr<PlayerNode> input = scheduled();
    const std::shared_ptr<PlayerNode> study = renderer->studies() ? scheduled() : input;
    input->setClickTrack(renderer->clickTrack());

    m_renderAbort = false;
    m_exporting = true;
    m_renderLoopActive = true;
    std::weak_ptr<int> alive = m_lifetime;
    QThreadPool::globalInstance()->start([this, alive, writer, renderer, input, study, inputFrames, total] {
        // A cancel keeps what was rendered; a failed write keeps the file that was there before.
        const bool rendered = renderer->run(*study, *input, inputFrames, total, *writer, m_renderAbort,
                                            [this](double fraction) { postExportProgress(fraction); });
        if (!rendered)
            writer->discard();
        QString error;
        if (!rendered || !writer->commit()) {
            error = writer->error();
            Log::line(QStringLiteral("write to output file failed %1").arg(error));
        }
        MainQueue::post([this, alive, error] {
            if (!alive.lock())
                return;
            m_exporting = false;
            m_exportError = error;
            if (m_exportProgress)
                m_exportProgress->hideProgressBar();
        });
        m_renderLoopActive = false;
    });
    return {};
}

void AudioEngine::postExportProgress(double fraction)
{
    std::weak_ptr<int> alive = m_lifetime;
    MainQueue::post([this, alive, fraction] {
        if (alive.lock() && m_exportProgress)
            m_exportProgress->setProgressBar(fraction);
    });
}
