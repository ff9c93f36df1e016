// The command `map`: draws who has which rows of the TCAM (agent/map/SliceMap.h).
#pragma once

#include <string>

#include "agent/Run.h"

namespace CLI {
class App;
}

namespace Agent {

enum class ColourUse { automatic, always, never };

struct MapOptions {
  std::string svg;  // file to write the picture to; empty: a text is printed
  bool json = false;
  bool all = false;  // tables that look alike are drawn each by itself
  ColourUse colour = ColourUse::automatic;
};

void addMapOptions( CLI::App & app, MapOptions & map );

// Programs the access lists on a switch of its own and prints the map, or writes it to a file.
// Whether all lists fitted; those that did not are named in the picture and, where that goes to a
// file, on standard error. Throws what readInput and withProgrammedSwitch throw, and OutputError.
bool mapCommand( const RunOptions & options, const MapOptions & map );

}  // namespace Agent
