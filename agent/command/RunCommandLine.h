// Options of the commands that run access lists on a switch.
#pragma once

#include <CLI/CLI.hpp>

#include "agent/command/Run.h"

namespace Agent {

// Report format.
struct OutputOptions {
  bool json = false;
  bool detail = false;
};

// Platform and access lists.
void addAclOptions( CLI::App & app, RunOptions & run );
// addAclOptions plus packets, monitoring, clearing and report format.
void addRunOptions( CLI::App & app, RunOptions & run, OutputOptions & output );

}  // namespace Agent
