#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

// A stretch of the track as fractions of its length, 0.0 its start and 1.0 its end.
// (0, 0) is the null loop that every query answers when it finds nothing.
struct LoopPair {
    double left = 0.0;
    double right = 0.0;
    bool operator==(const LoopPair&) const = default; // exact equality, no tolerance
    bool isEmpty() const { return left == right; }
};

// The saved loops of the current track, kept sorted by their left end. Used from the main thread
// only; nothing here locks.
class LoopMarker {
public:
    // Process-wide, made once at first use.
    static LoopMarker& sharedLoops();

    // Public so that a test or a second owner can keep loops apart from the shared ones.
    LoopMarker() = default;

    const std::vector<LoopPair>& loopData() const;
    size_t loopCount() const;
    LoopPair loop(int32_t index) const;
    int32_t indexOfLoop(const LoopPair& pair) const;
    bool loopExist(const LoopPair& pair) const;
    // Some loop holds p strictly inside, both ends excluded.
    bool loopContainsPoint(double p) const;
    // Of the loops with left <= p < right, the one whose length is nearest to p; the earlier at a tie.
    LoopPair loopContainingPoint(double p) const;
    // The loop after / before `pair`, wrapping round; a pair not stored stands before / after them all.
    LoopPair next(const LoopPair& pair) const;
    LoopPair last(const LoopPair& pair) const;

    void addLoop(const LoopPair& pair);
    void removeLoop(const LoopPair& pair);
    void addRemoveLoop(const LoopPair& pair);
    void clearLoops();

private:
    void sort();

    std::vector<LoopPair> m_loops;
};
