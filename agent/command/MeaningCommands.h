// The commands about what lists mean. They read lists without a switch.
#pragma once

#include "agent/command/Run.h"

namespace Agent {

struct MeaningOptions {
  RunOptions run;
  U32 nodes = 16'000'000;  // of sets of packets; with all that is beside them below 1 GiB
  bool json = false;
  bool overlaps = false;  // check
  std::string before;     // diff: files, or NAME=FILE
  std::string after;
  size_t rows = 100;   // diff: at most
  bool apply = false;  // diff: replace the old lists while packets run
  std::string output;  // compact: file; empty: none
};

// They throw what readInput throws, and UsageError if sets of packets take more than the nodes.

// The command `check`. Returns whether nothing was found and no rule was refused.
bool checkCommand( const MeaningOptions & options );

// The command `diff`. Returns whether both mean the same and no rule was refused.
bool diffCommand( const MeaningOptions & options );

// The command `compact`. Returns whether no rule was refused. Throws OutputError.
bool compactCommand( const MeaningOptions & options );

}  // namespace Agent
