// How much of their rounds long tests run: all, but a sample under a sanitizer, where each round
// takes several times as long.
#pragma once

#include "kiv/Types.h"

namespace Test {

#ifdef MORVANE_SAMPLE
inline constexpr bool sample = true;
#else
inline constexpr bool sample = false;
#endif

// A quarter of them.
constexpr Kiv::U32 rounds( Kiv::U32 all ) {
  return sample ? all / 4 : all;
}

// Whether to run a turn of a sweep: all, or one of `stride`.
constexpr bool inSample( Kiv::U32 turn, Kiv::U32 stride ) {
  return !sample || turn % stride == 0;
}

}  // namespace Test
