// What the forms of the map have in common. Internal to map/.
#pragma once

#include "agent/map/SliceMap.h"

namespace Map {

// A table to draw, and the tables that it stands for.
struct TableSet {
  const Table * table;
  std::string where;  // "pipes 0-3, copies 0-1: the same"
};
// In the order of their first tables. `all`: every table stands for itself.
std::vector< TableSet > tableSets( const SliceMap & map, bool all );

// "IFP, ingress"
std::string stageTitle( SoftAsic::StageKind stage );
// "486 entries, 1,024 rows open to groups, 18 of 20 slices free"
std::string totalsText( const Table & table );
// What a row is, for a reader: "IPv4 ACL", "set aside for L2 control", "open to group 3", ...
std::string useText( const SliceMap & map, const Slice & slice, const Segment & segment );
// "Without slices: " and the users whose groups have none, in lines of at most so many characters
// where names leave room; empty when there are none.
std::vector< std::string > absentUsers( const SliceMap & map, size_t columns );

// The numbers of the table of users: headings, and the cells of a user; those of twins only where
// there are some.
std::vector< std::string > userHeadings( const SliceMap & map );
std::vector< std::string > userCells( const SliceMap & map, const User & user );
bool hasTwins( const SliceMap & map );
inline constexpr const char * twinsText = "twins: second entries of rules, for untagged packets";

// Colours that colour-blind readers can tell apart; the letters tell users apart beyond their
// number.
struct Colour {
  const char * hex;
  U32 terminal;  // of the 256 of a terminal
  bool dark;     // letters on it are white
};
const Colour & colourOf( char letter );

}  // namespace Map
