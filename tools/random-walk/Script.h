// The steps of a random walk, which depend only on the seed.
#pragma once

#include <string>
#include <vector>

#include "kiv/Types.h"
#include "tests/morvane/SecondActivity.h"

namespace Test::RandomWalk {

using namespace Kiv::Integers;

// One operation. Its numbers are taken modulo the number of choices at its turn.
struct Action {
  U32 op = 0, user = 0, unit = 0, a = 0, b = 0;
};

enum class Trouble : U8 { none, exception, code };

struct Step {
  Action action;
  // Failing SDK calls of the operation: `times` of them from the nth on; 0: all from there.
  Trouble trouble = Trouble::none;
  U32 nth = 1, times = 1;
  bool failsCleanup = false;  // exceptions continue into the first cleanup
  bool cleansUp = false;      // by finishCleanup; otherwise the next operation does it
  // SDK call at which a second activity arrives; 0: none.
  U32 arrival = 0;
  Arrival when = Arrival::beforeCall;
  Action other;
};
using Script = std::vector< Step >;

struct Mix {
  bool troubles = true;
  bool threads = true;
};

Script makeScript( U64 seed, size_t steps, const Mix & mix );
// One line per step.
std::string text( const Script & script );

}  // namespace Test::RandomWalk
