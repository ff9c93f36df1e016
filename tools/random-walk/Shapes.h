// The chips that a random walk runs on: small ones, so that everything runs out often.
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
