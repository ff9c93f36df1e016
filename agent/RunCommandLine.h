// The options of the command's jobs that run access lists on a switch.
#pragma once

#include <CLI/CLI.hpp>

#include "agent/Run.h"

namespace Agent {

// How the report is written.
struct OutputOptions {
  bool json = false;
  bool detail = false;
};

// What is programmed, and on which switch.
void addAclOptions( CLI::App & app, RunOptions & run );
// That, which packets come, what is watched and cleared, and how the report looks.
void addRunOptions( CLI::App & app, RunOptions & run, OutputOptions & output );

}  // namespace Agent
