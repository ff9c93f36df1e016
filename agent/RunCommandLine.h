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

// Options of every job: what is programmed, on what, which packets come, how the report looks.
void addRunOptions( CLI::App & app, RunOptions & run, OutputOptions & output );
// Options of the run alone: what is done with counters and capacity.
void addReportOptions( CLI::App & app, RunOptions & run );

}  // namespace Agent
