// A stretch of a walk: from a fresh switch to an empty one, in a process of its own, so that an
// assertion is a finding like any other.
#pragma once

#include <string>

#include "tools/random-walk/Script.h"
#include "tools/random-walk/Shapes.h"
#include "tools/random-walk/Walk.h"

namespace Test::RandomWalk {

struct Plan {
  U64 seed = 1;
  Mix mix;
  const Shape * shape = nullptr;       // null: all in turn
  U32 shortest = 200, longest = 2000;  // stretches, in steps
  U32 auditEvery = 16;                 // steps
};

struct Stretch {
  const char * shape;
  Setting setting;
  Script script;
};

// Follows from the seed and the stretch's number alone.
Stretch makeStretch( const Plan & plan, U64 number );

// Plays it in this process; "" or what is wrong.
std::string play( const Stretch & stretch, Tally & tally );
// The same in a child.
std::string playInChild( const Stretch & stretch );

// The shortest script found that still fails, and how it fails. Plays in children.
std::string shrink( Stretch stretch );

}  // namespace Test::RandomWalk
