// How much of their rounds tests run under a sanitizer, where each takes several times as long.
#pragma once

#include "kiv/Types.h"

namespace Test {

#ifdef MORVANE_SANITIZED
inline constexpr bool sanitized = true;
#else
inline constexpr bool sanitized = false;
#endif

// A quarter of them.
constexpr Kiv::U32 rounds( Kiv::U32 all ) {
  return sanitized ? all / 4 : all;
}

// Whether to run a turn of a sweep: all, or one of `stride`.
constexpr bool inSample( Kiv::U32 turn, Kiv::U32 stride ) {
  return !sanitized || turn % stride == 0;
}

}  // namespace Test
