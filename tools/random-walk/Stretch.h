// A stretch of a walk: from a new switch to an empty one. It runs in its own process, so that an
// assertion is a finding too.
#pragma once

#include <string>

#include "tools/random-walk/Script.h"
#include "tools/random-walk/Shapes.h"
#include "tools/random-walk/Walk.h"

namespace Test::RandomWalk {

struct Plan {
  U64 seed = 1;
  Mix mix = {};
  const Shape * shape = nullptr;       // null: all, in turn
  U32 shortest = 200, longest = 2000;  // length in steps
  U32 auditEvery = 16;                 // steps
};

struct Stretch {
  const char * shape;
  Setting setting;
  Script script;
};

// Depends only on the seed and the stretch's number.
Stretch makeStretch( const Plan & plan, U64 number );

// Runs it in this process; returns the finding, or "".
std::string play( const Stretch & stretch, Tally & tally );
// The same in a child.
std::string playInChild( const Stretch & stretch );

// The shortest script found that still fails, with its finding. Runs in children. Its SDK calls are
// in a file that is named last.
std::string shrink( Stretch stretch );

}  // namespace Test::RandomWalk
