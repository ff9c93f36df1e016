// Shows and changes the library's entities by name (docs/reflection.md).
#pragma once

#include <string>
#include <vector>

#include "agent/report/EntityPath.h"

namespace Agent {

struct InspectOptions {
  std::string path;                 // empty: all roots
  std::vector< std::string > sets;  // PATH=VALUE, executed in order before showing
  bool json = false;
};

// Returns the output, with a final newline. Throws UsageError for an invalid path or value; earlier
// changes stay.
std::string inspect( const EntityRoots & roots, const InspectOptions & options );

}  // namespace Agent
