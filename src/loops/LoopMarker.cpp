#include "loops/LoopMarker.h"

#include <algorithm>
#include <cmath>

LoopMarker& LoopMarker::sharedLoops()
{
    static LoopMarker shared;
    return shared;
}

const std::vector<LoopPair>& LoopMarker::loopData() const
{
    return m_loops;
}

size_t LoopMarker::loopCount() const
{
    return m_loops.size();
}

LoopPair LoopMarker::loop(int32_t index) const
{
    if (index < 0 || size_t(index) >= m_loops.size())
        return {};
    return m_loops[size_t(index)];
}

int32_t LoopMarker::indexOfLoop(const LoopPair& pair) const
{
    const auto found = std::find(m_loops.begin(), m_loops.end(), pair);
    return found == m_loops.end() ? -1 : int32_t(found - m_loops.begin());
}

bool LoopMarker::loopExist(const LoopPair& pair) const
{
    return indexOfLoop(pair) >= 0;
}

bool LoopMarker::loopContainsPoint(double p) const
{
    return std::any_of(m_loops.begin(), m_loops.end(), [p](const LoopPair& l) { return l.left < p && l.right > p; });
}

LoopPair LoopMarker::loopContainingPoint(double p) const
{
    // Distances are compared as floats, so lengths that differ below float precision tie.
    const auto distance = [p](const LoopPair& l) { return std::fabs(float(p - (l.right - l.left))); };
    const LoopPair* best = nullptr;
    for (const LoopPair& candidate : m_loops) {
        if (!(candidate.left <= p && candidate.right > p))
            continue;
        if (!best || distance(*best) > distance(candidate))
            best = &candidate;
    }
    return best ? *best : LoopPair{};
}

LoopPair LoopMarker::next(const LoopPair& pair) const
{
    const int32_t i = indexOfLoop(pair) + 1;
    if (size_t(i) < m_loops.size())
        return m_loops[size_t(i)];
    return m_loops.empty() ? LoopPair{} : m_loops.front();
}

LoopPair LoopMarker::last(const LoopPair& pair) const
{
    const int32_t i = indexOfLoop(pair) - 1;
    if (i >= 0)
        return m_loops[size_t(i)];
    return m_loops.empty() ? LoopPair{} : m_loops.back();
}

void LoopMarker::addLoop(const LoopPair& pair)
{
    // A NaN end would compare equal to every left and leave the order undefined; no view makes one.
    if (pair.isEmpty() || std::isnan(pair.left) || std::isnan(pair.right) || loopExist(pair))
        return;
    m_loops.push_back(pair);
    sort();
}

void LoopMarker::removeLoop(const LoopPair& pair)
{
    const int32_t i = indexOfLoop(pair);
    if (i < 0)
        return;
    m_loops.erase(m_loops.begin() + i);
}

void LoopMarker::addRemoveLoop(const LoopPair& pair)
{
    if (pair.isEmpty())
        return;
    if (loopExist(pair))
        removeLoop(pair);
    else
        addLoop(pair);
}

void LoopMarker::clearLoops()
{
    m_loops.clear();
}

void LoopMarker::sort()
{
    // Lefts that are equal as floats compare equal; stability keeps such loops in the order they
    // were added.
    std::stable_sort(m_loops.begin(), m_loops.end(),
                     [](const LoopPair& a, const LoopPair& b) { return float(a.left) < float(b.left); });
}
