#include "loops/LoopMarker.h"

#include "PrintLoopPair.h"

#include "common/Testing.h"

#include <limits>

namespace {

using Loops = std::vector<LoopPair>;
const double kNaN = std::numeric_limits<double>::quiet_NaN();
// Differs from 0.5 as a double, not as a float.
const double kJustOverHalf = 0.5 + 1e-12;
const double kOneBitOver = std::nextafter(0.3, 1.0);

LoopMarker markerWith(const Loops& loops)
{
    LoopMarker marker;
    for (const LoopPair& l : loops)
        marker.addLoop(l);
    return marker;
}

} // namespace

TEST(LoopMarkerTest, ChangesLeaveTheListInOrderNextAndLastWrapContainsIsStrictAndContainingTakesTheNearestLength)
{
    struct Change { const char* name; Loops before; std::function<void(LoopMarker&)> change; Loops after; };
    const Change changes[] = {
        {"EmptyIsRefused", {}, [](LoopMarker& m) { m.addLoop({0.5, 0.5}); }, {}},
        {"NaNIsRefused", {}, [](LoopMarker& m) { m.addLoop({kNaN, 0.5}); m.addLoop({0.2, kNaN}); }, {}},
        {"DuplicateIsStoredOnce", {{0.2, 0.3}}, [](LoopMarker& m) { m.addLoop({0.2, 0.3}); }, {{0.2, 0.3}}},
        {"OverlapsAreKeptAndSortedByLeft", {{0.2, 0.9}, {0.3, 0.4}}, [](LoopMarker& m) { m.addLoop({0.1, 0.25}); },
         {{0.1, 0.25}, {0.2, 0.9}, {0.3, 0.4}}},
        {"LastBitMakesAnotherLoop", {{0.2, 0.3}}, [](LoopMarker& m) { m.addLoop({0.2, kOneBitOver}); }, {{0.2, 0.3}, {0.2, kOneBitOver}}},
        // Lefts equal as floats keep the order they came in, however they compare as doubles.
        {"FloatEqualLeftsKeepTheirOrder", {{kJustOverHalf, 0.6}, {0.9, 1.0}}, [](LoopMarker& m) { m.addLoop({0.5, 0.7}); },
         {{kJustOverHalf, 0.6}, {0.5, 0.7}, {0.9, 1.0}}},
        {"RightIsNoKey", {{0.3, 0.9}}, [](LoopMarker& m) { m.addLoop({0.3, 0.4}); }, {{0.3, 0.9}, {0.3, 0.4}}},
        {"RemoveKeepsTheOthersInOrder", {{0.5, 0.9}, {0.1, 0.2}, {0.3, 0.4}}, [](LoopMarker& m) { m.removeLoop({0.3, 0.4}); },
         {{0.1, 0.2}, {0.5, 0.9}}},
        {"RemoveNeedsExactEquality", {{0.2, 0.3}}, [](LoopMarker& m) { m.removeLoop({0.2, kOneBitOver}); }, {{0.2, 0.3}}},
        {"ToggleRemovesAStoredOne", {{0.1, 0.2}, {0.4, 0.6}}, [](LoopMarker& m) { m.addRemoveLoop({0.1, 0.2}); }, {{0.4, 0.6}}},
        {"ToggleAddsAMissingOne", {{0.4, 0.6}}, [](LoopMarker& m) { m.addRemoveLoop({0.1, 0.2}); }, {{0.1, 0.2}, {0.4, 0.6}}},
        {"ToggleOfEmptyIsNoChange", {{0.4, 0.6}}, [](LoopMarker& m) { m.addRemoveLoop({0.3, 0.3}); }, {{0.4, 0.6}}},
        {"ClearEmptiesIt", {{0.1, 0.2}, {0.4, 0.6}}, [](LoopMarker& m) { m.clearLoops(); }, {}}};
    for (const Change& c : changes) {
        LoopMarker marker = markerWith(c.before);
        c.change(marker);
        EXPECT_EQ(marker.loopData(), c.after) << c.name;
    }

    // Next and last wrap round and place an unstored loop outside; an index outside gives nothing.
    const LoopPair a{0.1, 0.2}, b{0.3, 0.4}, c{0.5, 0.6}, absent{0.7, 0.8};
    const LoopMarker three = markerWith({c, a, b}), one = markerWith({b}), none;
    const struct { const LoopMarker& marker; LoopPair from, next, last; } cases[] = {
        {three, a, b, c}, {three, b, c, a}, {three, c, a, b}, {three, absent, a, c},
        {one, b, b, b}, {one, absent, b, b}, {none, absent, {}, {}}, {none, {}, {}, {}}};
    for (const auto& k : cases) {
        EXPECT_EQ(k.marker.next(k.from), k.next) << k.marker.loopCount() << " loops, from " << k.from.left;
        EXPECT_EQ(k.marker.last(k.from), k.last) << k.marker.loopCount() << " loops, from " << k.from.left;
    }
    for (const int32_t index : {0, 2, 3, -1, std::numeric_limits<int32_t>::min()})
        EXPECT_EQ(three.loop(index), index == 0 ? a : index == 2 ? c : LoopPair()) << index;

    // Containing takes the left end, not the right, and of several the nearest length.
    const LoopMarker nested = markerWith({{0.1, 0.9}, {0.2, 0.3}});
    // Lengths 0.4 and 0.4 - 1e-10 are one float apart from 0.4 at most: a tie, the earlier stays.
    const LoopMarker floatTie = markerWith({{0.5, 0.9 - 1e-10}, {0.6, 1.0}});
    // The nearest length wins, not the shortest loop.
    const LoopMarker wide = markerWith({{0.0, 0.9}, {0.4, 0.6}, {0.7, 0.8}});
    const LoopMarker exactTie = markerWith({{0.25, 0.5}, {0.375, 0.625}});
    const struct { const LoopMarker& marker; double p; bool contains; LoopPair containing; } points[] = {
        {nested, 0.05, false, {}}, {nested, 0.1, false, {0.1, 0.9}}, {nested, 0.2, true, {0.2, 0.3}},
        {nested, 0.25, true, {0.2, 0.3}}, {nested, 0.3, true, {0.1, 0.9}}, {nested, 0.9, false, {}},
        {nested, kNaN, false, {}}, {wide, 0.5, true, {0.4, 0.6}}, {wide, 0.75, true, {0.0, 0.9}}, {floatTie, 0.8, true, {0.5, 0.9 - 1e-10}}, {exactTie, 0.45, true, {0.25, 0.5}}};
    for (const auto& k : points) {
        EXPECT_EQ(k.marker.loopContainsPoint(k.p), k.contains) << k.p;
        EXPECT_EQ(k.marker.loopContainingPoint(k.p), k.containing) << k.p;
    }
}
