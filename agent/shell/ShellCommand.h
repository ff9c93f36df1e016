// The command `shell`.
#pragma once

#include <string>

#include "agent/command/Run.h"

namespace CLI {
class App;
}

namespace Agent {

struct ShellOptions {
  std::string script;  // file; empty: the standard input
  bool stopOnError = false;
};

// After addAclOptions().
void addShellOptions( CLI::App & app, ShellOptions & shell );

// Returns whether all commands were done; on a terminal always true. Throws what readInput throws.
bool shellCommand( const RunOptions & options, const ShellOptions & shell );

}  // namespace Agent
