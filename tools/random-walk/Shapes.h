// The chips of random walks: small ones, so that every resource runs out often.
#pragma once

#include <ostream>
#include <span>

#include "tests/morvane/TestSwitch.h"

namespace Test::RandomWalk {

struct Shape {
  const char * name;
  Chip chip;

  friend void PrintTo( const Shape & shape, std::ostream * out ) { *out << shape.name; }
};

std::span< const Shape > shapes();

}  // namespace Test::RandomWalk
