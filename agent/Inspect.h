// Shows, and changes, the library's entities by name (docs/reflection.md).
#pragma once

#include <string>
#include <vector>

#include "agent/EntityPath.h"

namespace Agent {

struct InspectOptions {
  std::string path;                 // empty: all that the roots hold
  std::vector< std::string > sets;  // PATH=VALUE, done in their order before anything is shown
  bool json = false;
};

// What is to be printed, ending with a line end. Throws UsageError for a path or value that cannot
// be used; what earlier ones have set stays.
std::string inspect( const EntityRoots & roots, const InspectOptions & options );

}  // namespace Agent
