// Where the TCAM entries of a switch stand: every slice of every stage instance, row by row, and
// whose each row is.
//
// The chip says which rows hold which entries; the managers' books say whose an entry is. What the
// two disagree about is shown (RowUse::unknown), not hidden.
//
// Invariants: the segments of a slice follow one another without gap, cover its rows, and no two
// neighbours are alike, so that every row is accounted for once. A map is a value; it does not
// follow later changes.
//
// A row is the place of one entry: of a double-wide slice two of the chip's rows, of a pair the
// same row of both slices.
//
// Locks: sliceMap is called with the activity lock held and takes the SDK lock through the chip's
// inspection functions.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "morvane/MorvaneTcamGroupManager.h"
#include "softasic/SoftAsic.h"

namespace Map {

using namespace Kiv::Integers;

enum class RowUse : U8 {
  used,      // an entry that its user was given
  setAside,  // an entry of a range made in advance: reserved for a user who did not ask for it
  open,      // no entry, but the slice is a group's: reserved for the users of the group
  free,      // no entry, in a slice that no group has
  unknown,   // an entry that no user's books know
};

// A run of rows of one use, and of one user where the use has one.
struct Segment {
  RowUse use = RowUse::free;
  U32 user = 0;   // index in SliceMap::users; 0 where the use has none
  U32 first = 0;  // row
  U32 rows = 0;
  U32 twins = 0;  // of the rows: second entries of the outer-VLAN workaround
  U32 end() const { return first + rows; }
  friend bool operator==( const Segment &, const Segment & ) = default;
};

struct Slice {
  U32 number = 0;
  U32 depth = 0;    // the chip's rows
  U32 keyBits = 0;  // width of one of these
  SoftAsic::WideMode mode = SoftAsic::WideMode::single;
  std::optional< U32 > group = {};  // that has it, without instance bits; absent: free
  U32 rows = 0;                     // places for entries
  std::vector< Segment > segments;

  U32 rowsOf( RowUse use ) const;
  U32 entries() const { return rows - rowsOf( RowUse::open ) - rowsOf( RowUse::free ); }
  // Shows the entries of the slice before it once more.
  bool secondOfPair() const { return mode == SoftAsic::WideMode::paired && number % 2 != 0; }
  // Bits of a key that fits a row.
  U32 rowBits() const { return mode == SoftAsic::WideMode::single ? keyBits : 2 * keyBits; }
  friend bool operator==( const Slice &, const Slice & ) = default;
};

// One stage instance.
struct Table {
  SoftAsic::StageKind stage = SoftAsic::StageKind::ifp;
  U32 pipe = 0;  // 0 where the stage has one instance
  U32 copy = 0;
  std::vector< Slice > slices;  // by number

  U32 entries() const;
  U32 openRows() const;
  U32 freeSlices() const;
};

struct User {
  std::string name;  // of its reservation
  U32 group = 0;     // without instance bits
  // Entries that it may have; absent: no limit of its own.
  std::optional< U32 > share = {};
  U32 used = 0;         // entries that it was given; each stands in every pipe and copy
  bool onChip = false;  // its group has slices
  std::optional< char > letter = {};  // stands for it in pictures; absent for a user without rows
  // Rows of pipe 0, copy 0.
  U32 setAside = 0;
  U32 twins = 0;
};

struct SliceMap {
  std::string title;                 // for the reader; empty at first
  std::vector< std::string > notes;  // what to know as well, one line each
  std::vector< User > users;         // in the order of the platform's reservations
  std::vector< Table > tables;       // by stage, pipe, copy
};

SliceMap sliceMap( const Morvane::MorvaneTcamGroupManager & manager,
                   const SoftAsic::SoftAsic & chip, U32 unit );

// --- Forms; each ends with a line end -----------------------------------------------------------

struct PictureOptions {
  bool all = false;     // also the tables that look like an earlier one of their stage
  bool colour = false;  // of a text: escape sequences of a terminal with 256 colours
};

// A picture of at most 80 columns, if names and titles leave room. Plain ASCII: users go by letters
// and not by colour alone, so that it reads the same on a serial line, in a log, in a mail and in
// any locale.
std::string textMap( const SliceMap & map, const PictureOptions & options );
// One SVG file that refers to nothing outside it.
std::string svgMap( const SliceMap & map, const PictureOptions & options );
// All of the map, for programs.
std::string jsonMap( const SliceMap & map );

}  // namespace Map
