// Ranges, modes, play and pause, the end of the audio, and the position heard.
#include "audio/AudioEngine.h"

#include "audio/AudioBuffer.h"
#include "audio/AudioPlayerDelegate.h"
#include "audio/FrameSource.h"
#include "audio/PlayerNode.h"
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
    void prefetch(int64_t start, int64_t count) const override { m_pcm->prefetch(start, count); }
    void release(int64_t start, int64_t count) const override { m_pcm->releaseResident(start, count); }

private:
    std::shared_ptr<const PcmCache> m_pcm;
};

int64_t modOrDividend(int64_t value, int64_t divisor)
{
    return divisor == 0 ? value : value % divisor;
}

constexpr uint32_t kEndPadFrames = 100;
// Long enough to hide any splice, short enough that a pass sounds exact.
constexpr double kSeamSeconds = 0.005;
// A bound on waiting for the end to be heard, should the device stall.
constexpr auto kHeardTimeout = std::chrono::seconds(3);

} // namespace

void AudioEngine::fillBufferFrom(float from, float to, float playAt)
{
    if (!isEngineRunning())
        makeConnections();
    stopNode();
    m_preRollBuffer = {};

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
    const FrameRange range{start, int64_t(length)};
    if (m_playFromPosition)
        m_preRollBuffer = range;
    else
        m_loopBuffer = range;
}

bool AudioEngine::setNextLoopRange(float from, float to)
{
    if (!m_loop || !isPlaying() || !m_graph || m_fileLength == 0)
        return false;
    const float f = std::clamp(from, 0.0f, 1.0f);
    const float t = std::clamp(to, 0.0f, 1.0f);
    const auto n = float(m_fileLength);
    const int64_t start = int64_t(f * n);
    const int64_t length = int64_t((t - f) * n);
    if (length <= 0)
        return false;
    m_from = start;
    m_len = uint32_t(length);
    m_loopBuffer = {start, length};
    m_graph->playerNode().setNextPass(start, length);
    return true;
}

void AudioEngine::setPassPlan(const PassPlan& plan)
{
    m_passPlan = plan;
    if (plan.trains()) {
        m_passPlan.startRate = std::clamp(plan.startRate, TimePitchStage::kMinRate, TimePitchStage::kMaxRate);
        m_passPlan.limitRate = std::clamp(plan.limitRate, TimePitchStage::kMinRate, TimePitchStage::kMaxRate);
        m_passPlan.every = std::max(1, plan.every);
    }
    m_passPlan.countIn = std::clamp(plan.countIn, 0, ClickTrack::kMaxPending / 2);
    if (m_graph)
        m_graph->playerNode().setPassPlan(m_passPlan);
}

double AudioEngine::trainedRateHeard() const
{
    PlayerNode::Pass pass;
    if (!isPlaying() || !m_graph->isRunning() || !m_graph->playerNode().passAt(int64_t(heardSampleTime()), pass))
        return 0.0;
    return pass.trainedRate;
}

bool AudioEngine::preparePlay()
{
    if (!isEngineRunning())
        return false;
    scheduleRange(m_graph->playerNode(), ++m_scheduleGeneration, true);
    bypassEffect(false);
    m_graph->playerNode().play();
    return true;
}

// Everything is scheduled before the node plays: the render side starts the stretcher afresh
// at the first frame of the new play, so nothing of the head is lost.
void AudioEngine::scheduleRange(PlayerNode& node, uint64_t generation, bool report)
{
    const auto source = std::make_shared<PcmFrameSource>(m_pcm);
    std::weak_ptr<int> alive = m_lifetime;
    // Completions run later on another thread; one from a schedule that a stop has since dropped
    // must not speak for the play that follows.
    const auto onEnd = [this, alive, generation, report](bool segment) -> PlayerNode::Completion {
        if (!report)
            return {};
        return [this, alive, generation, segment](const PlayerNode::Ended& ended) {
            if (!alive.lock() || generation != m_scheduleGeneration)
                return;
            segment ? handlerA(generation) : handlerBC(generation, ended.sampleTime);
        };
    };
    const PlayerNode::Seam seam{m_from, int(std::lround(kSeamSeconds * m_samplerate))};
    m_firstPass = {m_from, int64_t(m_len), m_cursorPosition};

    if (m_preRoll) {
        node.scheduleSegment(source, m_from, m_len, 0, onEnd(true));
    } else if (m_playFromPosition) {
        if (!m_preRollBuffer.isEmpty())
            node.scheduleSegment(source, m_preRollBuffer.start, m_preRollBuffer.length, PlayerNode::Interrupts, {}, seam);
        m_loopBuffer = {m_from, int64_t(m_len)};
        node.scheduleSegment(source, m_from, m_len, m_loop ? uint32_t(PlayerNode::Loops) : 0u, onEnd(false),
                             m_loop ? seam : PlayerNode::Seam{});
    } else if (!m_loopBuffer.isEmpty()) {
        node.scheduleSegment(source, m_loopBuffer.start, m_loopBuffer.length,
                             m_loop ? PlayerNode::Loops : PlayerNode::Interrupts, onEnd(false),
                             m_loop ? seam : PlayerNode::Seam{});
    }
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
    const bool scheduled = isScheduled();
    if (playing && scheduled) {
        // The place heard is taken before anything changes what is heard.
        const double heard = currentSampleTime();
        m_graph->fadeOut();
        bypassEffect(true);
        stopAt(heard);
        m_graph->stop();
        return false;
    }
    if (!playing && scheduled) {
        bypassEffect(false);
        m_graph->playerNode().play();
        return true;
    }
    // Set before scheduling, so that a range short enough to end at once still reports its end;
    // preparePlay takes the next generation.
    m_scheduledPlay = m_scheduleGeneration + 1;
    const bool started = preparePlay();
    if (!started)
        m_scheduledPlay = 0;
    return started;
}

bool AudioEngine::stop()
{
    if (!isPlaying())
        return false;
    const double heard = currentSampleTime();
    m_graph->fadeOut();
    return stopAt(heard);
}

bool AudioEngine::stopAt(double c)
{
    m_scheduledPlay = 0;
    if (m_loop) {
        // A place outside the range (the pass heard began before the range last changed) resumes
        // at its start.
        const bool inside = c > double(m_from) && c < double(m_from + int64_t(m_len));
        const uint32_t rest = inside ? uint32_t(int64_t(double(m_from + int64_t(m_len)) - c)) : m_len;
        if (inside && rest != 0) {
            m_cursorPosition = int64_t(c - double(m_from));
            m_playFromPosition = true;
        } else {
            m_preRoll = false;
            m_playFromPosition = false;
        }
        fillBufferFrom(inside ? int64_t(c) : m_from, rest);
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

void AudioEngine::handlerA(uint64_t generation)
{
    if (m_scheduledPlay != generation)
        return;
    if (isPlaying()) {
        auto pad = std::make_shared<AudioBuffer>(m_inputFormat.channelCount, int64_t(kEndPadFrames));
        std::weak_ptr<int> alive = m_lifetime;
        m_graph->playerNode().scheduleBuffer(pad, 0, [this, alive, generation](const PlayerNode::Ended& ended) {
            if (alive.lock() && generation == m_scheduleGeneration)
                handlerBC(generation, ended.sampleTime);
        });
        return;
    }
    uint64_t expected = generation;
    if (m_scheduledPlay.compare_exchange_strong(expected, 0))
        postFinish(generation);
}

void AudioEngine::handlerBC(uint64_t generation, int64_t endSampleTime)
{
    if (m_scheduledPlay != generation)
        return;
    waitUntilHeard(generation, endSampleTime);
    // A stop or a new play during the wait owns the flag now.
    uint64_t expected = generation;
    if (generation == m_scheduleGeneration && m_scheduledPlay.compare_exchange_strong(expected, 0))
        postFinish(generation);
}

// The node has given out its last frame; the stretcher, the ring and the device still hold the
// tail, and the end is reported when the last frame has been heard.
void AudioEngine::waitUntilHeard(uint64_t generation, int64_t endSampleTime) const
{
    if (!m_graph)
        return;
    const PlayerNode& node = m_graph->playerNode();
    const auto deadline = std::chrono::steady_clock::now() + kHeardTimeout;
    while (m_scheduledPlay == generation && m_graph->isRunning() && std::chrono::steady_clock::now() < deadline) {
        const HeardTimeline::Heard heard = m_graph->heard();
        if (heard.valid && heard.epoch == node.epoch() && heard.time >= double(endSampleTime))
            return;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
}

void AudioEngine::postFinish(uint64_t generation)
{
    std::weak_ptr<int> alive = m_lifetime;
    MainQueue::post([this, alive, generation] {
        if (alive.lock())
            finishPlaying(generation);
    });
}

void AudioEngine::finishPlaying(uint64_t generation)
{
    if (generation != m_scheduleGeneration)
        return;
    pauseNode();
    bypassEffect(true);
    if (m_delegate)
        m_delegate->audioPlayerDidFinishPlaying(this, true);
}

// --- Position ---

double AudioEngine::currentSampleTime() const
{
    if (isPlaying() && m_graph->isRunning()) {
        const double heard = heardSampleTime();
        // After a seam the pass heard tells its own range, which may have changed meanwhile.
        PlayerNode::Pass pass;
        // Through a lead the playhead waits at the pass's start.
        if (m_graph->playerNode().passAt(int64_t(heard), pass))
            return double(pass.start + modOrDividend(std::max<int64_t>(0, int64_t(heard) - pass.sampleTime - pass.lead), pass.count));
        return double(m_firstPass.start + modOrDividend(int64_t(heard) + m_firstPass.cursor, m_firstPass.length));
    }
    return double(modOrDividend(m_from, m_fileLength));
}

// The node's time line at the ear; 0 until the first frame of this play is heard, and never
// less than what was told before in the same play.
double AudioEngine::heardSampleTime() const
{
    const HeardTimeline::Heard heard = m_graph->heard();
    const uint32_t epoch = m_graph->playerNode().epoch();
    double time = heard.valid && heard.epoch == epoch ? std::max(0.0, heard.time) : 0.0;
    if (epoch == m_heardEpoch)
        time = std::max(time, m_heardTime);
    m_heardEpoch = epoch;
    m_heardTime = time;
    return time;
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
