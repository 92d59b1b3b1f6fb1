#pragma once

#include <cstdint>

// What a looping range does between and across its passes: a speed trainer that raises (or
// lowers) the speed by a step every few passes up to a limit, and a lead before each pass, either
// silence or a count-in of clicks. Copied word by word to the render thread.
struct PassPlan {
    // Speed trainer; off while `step` is 0 and `startRate` is 0.
    double startRate = 0.0;
    double step = 0.0;
    double limitRate = 0.0;
    int every = 1;
    // Lead before each pass: `gapSeconds` of silence, or `countIn` clicks at `bpm`.
    double gapSeconds = 0.0;
    int countIn = 0;
    double bpm = 120.0;

    bool trains() const { return startRate > 0.0; }
    bool leads() const { return leadSeconds() > 0.0; }

    // The speed of pass `k` (0 the first of the run): the start, stepped every `every` passes,
    // never past the limit. The speed set by hand when nothing trains.
    double rateOfPass(int64_t k, double handRate) const;
    // Seconds of the lead as heard, whatever the speed.
    double leadSeconds() const;
    double beatSeconds() const { return bpm > 0.0 ? 60.0 / bpm : 0.0; }
    // Frames the output has for `passes` passes of `frames` source frames at `sampleRate`.
    int64_t outputFrames(int64_t frames, int passes, double sampleRate, double handRate) const;
};
