#pragma once

#include <cstdint>
#include <limits>

// Anything a later stage of the graph pulls planar audio from, on the render thread.
class AudioRenderSource {
public:
    virtual ~AudioRenderSource() = default;
    virtual int channelCount() const = 0;
    // Fills out[0..channelCount()) with `frames` frames. Real-time: no lock, allocation or I/O.
    virtual void render(float* const* out, int frames) = 0;

    // Render side, about the audio's own time line (the player's sample time): the time of the
    // first frame the last render gave, whether it gave played audio (not the silence of a
    // halted player), and whether a new stream began in it (a play after a stop), which tells
    // later stages to drop what they hold.
    virtual double lastRenderTime() const { return 0.0; }
    virtual bool playedLastRender() const { return true; }
    virtual bool startedStreamLastRender() const { return false; }
    // Time-line frames per frame given out in the last render: the speed, 0 for silence.
    virtual double lastRenderRate() const { return playedLastRender() ? 1.0 : 0.0; }

    // A looping range may set the speed of each of its passes. A stage that changes speed feeds
    // no further than the end of the pass under way, then plays the next at passRate() (0 for the
    // speed set by hand), which holds from passRateSince() on the time line.
    virtual int64_t framesToPassEnd() const { return std::numeric_limits<int64_t>::max(); }
    virtual double passRate() const { return 0.0; }
    virtual double passRateSince() const { return 0.0; }
};
