// The command `map`: draws the TCAM occupancy map (agent/report/map/SliceMap.h).
#pragma once

#include <string>

#include "agent/command/Run.h"
#include "agent/report/map/SliceMap.h"

namespace CLI {
class App;
}

namespace Agent {

enum class ColourUse { automatic, always, never };

struct MapOptions {
  std::string svg;  // output file; empty: print text
  bool json = false;
  bool all = false;  // draw identical tables separately
  ColourUse colour = ColourUse::automatic;
};

void addMapOptions( CLI::App & app, MapOptions & map );

// Adds to the users of a map the lists that are in their shares.
void nameLists( const RunInput & input, const RunReport & report, Map::SliceMap & slices );

// Programs the access lists on a new switch and prints the map or writes it to a file. Returns
// whether all lists fit; those that do not are named in the picture and, if it goes to a file, on
// standard error. Throws what readInput and withProgrammedSwitch throw, and OutputError.
bool mapCommand( const RunOptions & options, const MapOptions & map );

}  // namespace Agent
