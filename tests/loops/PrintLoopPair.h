#pragma once

#include "loops/LoopMarker.h"

#include <ostream>

// Failure messages show a pair's fractions.
inline void PrintTo(const LoopPair& l, std::ostream* out)
{
    *out << '(' << l.left << ", " << l.right << ')';
}
