// Common parts of the map's output formats. Internal to map/.
#pragma once

#include "agent/report/map/SliceMap.h"

namespace Map {

// A table to draw, representing all identical tables.
struct TableSet {
  const Table * table;
  std::string where;  // "pipes 0-3, copies 0-1: the same"
};
// By first table. `all`: do not merge identical tables.
std::vector< TableSet > tableSets( const SliceMap & map, bool all );

// "IFP, ingress"
std::string stageTitle( SoftAsic::StageKind stage );
// "486 of 1,510 rows used (32.1 %), 1,024 open; 2 of 20 slices taken (10.0 %)"
std::string totalsText( const Table & table );
// Text for a segment: "IPv4 ACL", "set aside for L2 control", "open to group 3", ...
std::string useText( const SliceMap & map, const Slice & slice, const Segment & segment );
// "Without slices: " and the users whose groups have none, in lines of at most `columns` characters
// unless a name is longer. Empty if there are none.
std::vector< std::string > absentUsers( const SliceMap & map, size_t columns );

// Headings and cells of the user table; twins only if there are any.
std::vector< std::string > userHeadings( const SliceMap & map );
std::vector< std::string > userCells( const SliceMap & map, const User & user );
bool hasTwins( const SliceMap & map );
inline constexpr const char * twinsText = "twins: second entries of rules, for untagged packets";

// Colour-blind safe palette. With more users than colours, only the letters are unique.
struct Colour {
  const char * hex;
  U32 terminal;  // 256-colour terminal index
  bool dark;     // needs white letters
};
const Colour & colourOf( char letter );

}  // namespace Map
