#include "audio/ClickTrack.h"

#include <algorithm>
#include <cmath>

namespace {

// A short woodblock-like tick: a sine with a fast attack and an exponential decay.
std::vector<float> makeClick(double sampleRate, double hz, double gain)
{
    std::vector<float> click(size_t(std::lround(sampleRate * 0.03)));
    for (size_t i = 0; i < click.size(); ++i) {
        const double t = double(i) / sampleRate;
        const double attack = std::min(1.0, t / 0.0005);
        click[i] = float(gain * attack * std::exp(-t / 0.006) * std::sin(2.0 * M_PI * hz * t));
    }
    return click;
}

} // namespace

void ClickTrack::prepare(double sampleRate)
{
    m_click = makeClick(sampleRate, 1500.0, 0.5);
    m_accent = makeClick(sampleRate, 2200.0, 0.6);
    clear();
}

void ClickTrack::clear()
{
    m_pendingCount = 0;
    m_sounding = -1;
}

void ClickTrack::add(double time, bool accent)
{
    if (m_pendingCount < kMaxPending)
        m_pending[m_pendingCount++] = Pending{time, accent};
}

void ClickTrack::mix(float* const* out, int channels, int frames, double time, double rate)
{
    if (m_voice && m_sounding >= 0)
        sound(out, channels, 0, frames);
    if (rate <= 0.0)
        return;
    const double end = time + rate * double(frames);
    // Clicks come in time order, a beat apart: at most one starts in a block.
    while (m_pendingCount > 0 && m_pending[0].time < end) {
        const Pending due = m_pending[0];
        std::move(m_pending + 1, m_pending + m_pendingCount, m_pending);
        --m_pendingCount;
        if (due.time < time - rate * double(frames))
            continue; // from before this stretch of the time line: a jump passed it
        m_voice = due.accent ? &m_accent : &m_click;
        m_sounding = 0;
        const int at = std::clamp(int(std::lround((due.time - time) / rate)), 0, frames);
        sound(out, channels, at, frames);
    }
}

void ClickTrack::sound(float* const* out, int channels, int from, int frames)
{
    const auto& voice = *m_voice;
    const int n = int(std::min<int64_t>(frames - from, int64_t(voice.size()) - m_sounding));
    for (int i = 0; i < n; ++i) {
        const float s = voice[size_t(m_sounding + i)];
        for (int c = 0; c < channels; ++c)
            out[c][from + i] += s;
    }
    m_sounding += n;
    if (m_sounding >= int64_t(voice.size()))
        m_sounding = -1;
}
