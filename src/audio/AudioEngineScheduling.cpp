// Ranges, modes, play and pause, the end of the audio, and the position heard.
#include "audio/AudioEngine.h"

#include "audio/AudioBuffer.h"
#include "audio/AudioPlayerDelegate.h"
#include "audio/FrameSource.h"
#include "audio/PcmCache.h"
#include "platform/Log.h"
#include "platform/MainQueue.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <thread>

namespace {

// The decoded track as the player node reads segments of it.
class PcmFrameSource : public FrameSource {
public:
    explicit PcmFrameSource(std::shared_ptr<const PcmCache> pcm)
        : m_pcm(std::move(pcm))
    {
    }
    int64_t read(int64_t start, int64_t count, float* const* out) const override
    {
        return m_pcm->read(start, count, out);
    }

private:
    std::shared_ptr<const PcmCache> m_pcm;
};

int64_t modOrDividend(int64_t value, int64_t divisor)
{
    return divisor == 0 ? value : value % divisor;
}

constexpr uint32_t kEndPadFrames = 100;

} // namespace

void AudioEngine::fillBufferFrom(float from, float to, float playAt)
{
    if (!isEngineRunning())
        makeConnections();
    stopNode();
    m_preRollBuffer.reset();

    const float f = std::clamp(from, 0.0f, 1.0f);
    const float t = std::clamp(to, 0.0f, 1.0f);
    const float p = std::clamp(playAt, 0.0f, 1.0f);
    const float n = float(m_fileLength);

    m_from = int64_t(f * n);
    m_cursorPosition = 0;
    m_len = uint32_t(int64_t((t - f) * n));
    if (m_len == 0) {
        m_from = 0;
        m_len = uint32_t(m_fileLength);
    }

    if (p > f && t > p) {
        m_playFromPosition = true;
        m_preRoll = false;
        m_cursorPosition = int64_t(p * n - float(m_from));
    } else if (t == 1.0f && !m_loop && 2.0 * m_samplerate < double(m_len)) {
        m_preRoll = true;
    } else {
        m_preRoll = false;
        m_playFromPosition = false;
    }

    const uint32_t rest = uint32_t(int64_t(std::floor((t - p) * n)));
    if (m_playFromPosition && rest != 0)
        fillBufferFrom(int64_t(p * n), rest);
    else
        fillBufferFrom(m_from, m_len);
}

void AudioEngine::fillBufferFrom(int64_t start, uint32_t length)
{
    if (!m_pcm || m_preRoll)
        return;
    std::shared_ptr<AudioBuffer> buffer = readRange(start, length);
    if (m_playFromPosition)
        m_preRollBuffer = std::move(buffer);
    else
        m_loopBuffer = std::move(buffer);
}

std::shared_ptr<AudioBuffer> AudioEngine::readRange(int64_t start, uint32_t length) const
{
    auto buffer = std::make_shared<AudioBuffer>(m_inputFormat.channelCount, int64_t(length));
    std::vector<float*> channels;
    for (int c = 0; c < buffer->channelCount(); ++c)
        channels.push_back(buffer->channel(c));
    m_pcm->read(start, length, channels.data());
    return buffer;
}

bool AudioEngine::preparePlay()
{
    if (!isEngineRunning())
        return false;
    PlayerNode& node = m_graph->playerNode();
    std::weak_ptr<int> alive = m_lifetime;
    // Completions run later on another thread; one from a schedule that a stop has since dropped
    // must not speak for the play that follows.
    const uint64_t generation = ++m_scheduleGeneration;
    const auto onEnd = [this, alive, generation](bool segment) {
        return [this, alive, generation, segment](PlayerNode::Ending) {
            if (!alive.lock() || generation != m_scheduleGeneration)
                return;
            segment ? handlerA() : handlerBC();
        };
    };

    if (m_preRoll) {
        node.scheduleSegment(std::make_shared<PcmFrameSource>(m_pcm), m_from, m_len, onEnd(true));
        bypassEffect(false);
        node.play();
    } else if (m_playFromPosition) {
        bypassEffect(false);
        if (m_preRollBuffer)
            node.scheduleBuffer(m_preRollBuffer, PlayerNode::Interrupts);
        node.play();
        m_loopBuffer = readRange(m_from, m_len);
        node.scheduleBuffer(m_loopBuffer, m_loop ? uint32_t(PlayerNode::Loops) : 0u, onEnd(false));
    } else if (m_loopBuffer) {
        node.scheduleBuffer(m_loopBuffer, m_loop ? PlayerNode::Loops : PlayerNode::Interrupts, onEnd(false));
        bypassEffect(false);
        node.play();
    }
    // What was rendered ahead while nothing played goes; the first frame heard is the new one.
    m_graph->flush();
    return true;
}

bool AudioEngine::playPause()
{
    if (!isEngineRunning()) {
        makeConnections();
        if (!startEngine()) {
            Log::line(QStringLiteral("AudioEngine playPause: Error while trying to start engine"));
            return false;
        }
    }
    const bool playing = isPlaying();
    if (playing && m_scheduled) {
        bypassEffect(true);
        stop();
        m_graph->stop();
        return false;
    }
    if (!playing && m_scheduled) {
        bypassEffect(false);
        m_graph->playerNode().play();
        return true;
    }
    // Set before scheduling, so that a range short enough to end at once still reports its end.
    m_scheduled = true;
    const bool started = preparePlay();
    if (!started)
        m_scheduled = false;
    return started;
}

bool AudioEngine::stop()
{
    if (!isPlaying())
        return false;
    m_scheduled = false;
    const double c = currentSampleTime();
    if (m_loop) {
        const uint32_t rest = uint32_t(int64_t(double(m_from + int64_t(m_len)) - c));
        if (c > double(m_from) && rest != 0) {
            m_cursorPosition = int64_t(c - double(m_from));
            m_playFromPosition = true;
        } else {
            m_preRoll = false;
            m_playFromPosition = false;
        }
        fillBufferFrom(int64_t(c), rest);
    } else {
        // Resuming goes on at the place heard, up to the end of the range as it was.
        const int64_t end = m_from + int64_t(m_len);
        m_from = int64_t(c);
        if (!m_preRoll && end > m_from) {
            m_len = uint32_t(end - m_from);
            m_playFromPosition = false;
            fillBufferFrom(m_from, m_len);
        }
    }
    stopNode();
    return true;
}

void AudioEngine::resetPosition()
{
    if (!m_loop)
        fillBufferFrom(0.0f, 1.0f, 0.0f);
}

void AudioEngine::pauseNode()
{
    if (m_graph)
        m_graph->playerNode().pause();
}

void AudioEngine::stopNode()
{
    if (!m_graph)
        return;
    ++m_scheduleGeneration;
    PlayerNode& node = m_graph->playerNode();
    node.pause();
    node.stop();
    node.reset();
}

bool AudioEngine::isPlaying() const
{
    return m_graph && m_graph->playerNode().isPlaying();
}

// --- End of the audio: on the completion thread ---

void AudioEngine::handlerA()
{
    if (!m_scheduled)
        return;
    if (isPlaying()) {
        auto pad = std::make_shared<AudioBuffer>(m_inputFormat.channelCount, int64_t(kEndPadFrames));
        std::weak_ptr<int> alive = m_lifetime;
        const uint64_t generation = m_scheduleGeneration;
        m_graph->playerNode().scheduleBuffer(pad, 0, [this, alive, generation](PlayerNode::Ending) {
            if (alive.lock() && generation == m_scheduleGeneration)
                handlerBC();
        });
        return;
    }
    m_scheduled = false;
    postFinish();
}

void AudioEngine::handlerBC()
{
    if (!m_scheduled)
        return;
    waitUntilHeard();
    if (m_scheduled.exchange(false))
        postFinish();
}

// The node has given out its last frame; the stretcher, the ring and the device still hold the
// tail, and the end is reported when it has been heard.
void AudioEngine::waitUntilHeard() const
{
    if (!m_graph || m_samplerate <= 0.0)
        return;
    const double seconds = std::min(2.0, m_graph->heardLatencyFrames() / m_samplerate);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    while (m_scheduled && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
}

void AudioEngine::postFinish()
{
    std::weak_ptr<int> alive = m_lifetime;
    MainQueue::post([this, alive] {
        if (alive.lock())
            finishPlaying();
    });
}

void AudioEngine::finishPlaying()
{
    pauseNode();
    bypassEffect(true);
    if (m_delegate)
        m_delegate->audioPlayerDidFinishPlaying(this, true);
}

// --- Position ---

double AudioEngine::currentSampleTime() const
{
    if (isPlaying() && m_graph->isRunning()) {
        const PlayerNode& node = m_graph->playerNode();
        const int64_t heard = std::max<int64_t>(0, node.sampleTime() - std::llround(m_graph->heardLatencyFrames()));
        return double(m_from + modOrDividend(heard + m_cursorPosition, int64_t(m_len)));
    }
    return double(modOrDividend(m_from, m_fileLength));
}

double AudioEngine::currentTime() const
{
    return m_samplerate > 0.0 ? currentSampleTime() / m_samplerate : 0.0;
}

double AudioEngine::duration() const
{
    if (m_samplerate <= 0.0 || m_fileLength == 0)
        return 0.0;
    return double(m_fileLength) / m_samplerate;
}

double AudioEngine::progress() const
{
    if (!isEngineRunning() || m_fileLength == 0)
        return 0.0;
    return currentSampleTime() / double(m_fileLength);
}
