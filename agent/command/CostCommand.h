// The command `cost`: the entries and range checkers that rules take, and why.
#pragma once

#include "agent/command/Run.h"

namespace Agent {

struct CostOptions {
  bool all = false;
  bool json = false;
};

// Returns whether no rule was refused. Throws what readInput throws.
bool costCommand( RunOptions run, const CostOptions & options );

}  // namespace Agent
