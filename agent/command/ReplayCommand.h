// The command `replay`: makes the SDK calls of a record again (docs/records-of-calls.md).
#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace Agent {

struct ReplayOptions {
  std::string file;
  std::string sdk;       // library of a binding; empty: the software ASIC
  std::string platform;  // whose chip replaces those of the record; empty: none
  bool exactIds = false;
  std::vector< std::string > ignored;  // operations whose results may be others
  std::string minimised;               // file for the fewest calls that differ; empty: none
};

void addReplayOptions( CLI::App & app, ReplayOptions & options );

// Returns whether every call had its recorded result. Throws Platform::InputError for a record that
// cannot be read, UsageError, and OutputError.
bool replayCommand( const ReplayOptions & options );

}  // namespace Agent
