// What a random walk does, step by step: everything follows from the seed.
#pragma once

#include <string>
#include <vector>

#include "kiv/Types.h"
#include "tests/morvane/SecondActivity.h"

namespace Test::RandomWalk {

using namespace Kiv::Integers;

// One operation. The numbers are taken modulo what there is when its turn comes.
struct Action {
  U32 op = 0, user = 0, unit = 0, a = 0, b = 0;
};

enum class Trouble : U8 { none, exception, code };

struct Step {
  Action action;
  // SDK calls of the operation that fail: `times` of them from the nth on, 0: all that follow.
  Trouble trouble = Trouble::none;
  U32 nth = 1, times = 1;
  bool failsCleanup = false;  // exceptions last until the cleanup was tried once
  bool cleansUp = false;      // the cleanup is asked for; otherwise the next operation does it
  // SDK call at which a second activity arrives; 0: none does.
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
// One line a step.
std::string text( const Script & script );

}  // namespace Test::RandomWalk
