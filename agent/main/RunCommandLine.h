// Options of the commands that run access lists on a switch.
#pragma once

#include <CLI/CLI.hpp>

#include "agent/command/Run.h"

namespace Agent {

// Report format.
struct OutputOptions {
  bool json = false;
  TextOptions text;
};

// Platform and access lists, as options.
void addAclOptions( CLI::App & app, RunOptions & run );
void addPlatformOption( CLI::App & app, RunOptions & run );
// Access lists as arguments, and how they are read and programmed.
void addListArguments( CLI::App & app, RunOptions & run );
// The latter alone.
void addListOptions( CLI::App & app, RunOptions & run );
// Packets, and the ports by which they enter and leave.
void addPacketOptions( CLI::App & app, RunOptions & run );
// Of commands that program one switch
void addRecordOption( CLI::App & app, RunOptions & run );
// addAclOptions plus packets, monitoring, clearing and report format.
void addRunOptions( CLI::App & app, RunOptions & run, OutputOptions & output );

}  // namespace Agent
