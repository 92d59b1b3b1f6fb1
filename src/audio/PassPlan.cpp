#include "audio/PassPlan.h"

#include <algorithm>
#include <cmath>

double PassPlan::rateOfPass(int64_t k, double handRate) const
{
    if (!trains())
        return handRate;
    const double stepped = startRate + step * double(k / std::max(1, every));
    return step >= 0.0 ? std::min(stepped, std::max(limitRate, startRate))
                       : std::max(stepped, std::min(limitRate, startRate));
}

double PassPlan::leadSeconds() const
{
    return countIn > 0 ? double(countIn) * beatSeconds() : std::max(0.0, gapSeconds);
}

int64_t PassPlan::outputFrames(int64_t frames, int passes, double sampleRate, double handRate) const
{
    double total = 0.0;
    for (int k = 0; k < passes; ++k)
        total += double(frames) / rateOfPass(k, handRate) + leadSeconds() * sampleRate;
    return int64_t(std::llround(total));
}
