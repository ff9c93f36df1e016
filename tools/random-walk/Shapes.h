// The chips of random walks: small ones, so that every resource runs out often.
#pragma once

#include <span>

#include "tests/morvane/TestSwitch.h"

namespace Test::RandomWalk {

struct Shape {
  const char * name;
  Chip chip;
};

std::span< const Shape > shapes();

}  // namespace Test::RandomWalk
