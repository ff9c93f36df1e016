// The command `fit`: whether access lists fit platforms, and what binds.
#pragma once

#include <string>
#include <vector>

#include "agent/command/Run.h"

namespace Agent {

struct FitOptions {
  std::vector< std::string > platforms;  // empty: the default one
  std::vector< std::string > changes;    // for applyWhatIf
  bool json = false;
};

// Returns whether all lists fit all platforms and no rule was refused. Throws what readInput
// throws, and UsageError for changes that cannot be made.
bool fitCommand( RunOptions run, const FitOptions & options );

}  // namespace Agent
