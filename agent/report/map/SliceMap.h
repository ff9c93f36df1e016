// Occupancy map of the TCAM: state and owner of every row of every slice.
//
// Rows and entries come from the chip, owners from the managers' records. Entries without a record
// are shown as RowUse::unknown.
//
// Invariants: the segments of a slice cover its rows without gap or overlap, and adjacent segments
// differ. A map is a snapshot.
//
// A row holds one entry: two physical rows of a double-wide slice, the same row of both slices of a
// pair.
//
// Locking: call sliceMap with the activity lock held; the chip's inspection takes the SDK lock. It
// asks the library for what users could still get, which makes SDK calls.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "morvane/MorvaneTcamGroupManager.h"
#include "softasic/SoftAsic.h"

namespace Map {

using namespace Kiv::Integers;

enum class RowUse : U8 {
  used,      // entry allocated by its user
  setAside,  // unallocated entry of a pre-created range: reserved for its user
  open,      // free row in a group's slice: reserved for the group's users
  free,      // row of a free slice
  unknown,   // entry without a record
};

// A run of rows with the same use and user.
struct Segment {
  RowUse use = RowUse::free;
  U32 user = 0;   // index in SliceMap::users; 0 if the use has none
  U32 first = 0;  // row
  U32 rows = 0;
  U32 twins = 0;  // rows with second entries of the outer-VLAN workaround
  U32 end() const { return first + rows; }
  friend bool operator==( const Segment &, const Segment & ) = default;
};

struct Slice {
  U32 number = 0;
  U32 depth = 0;    // physical rows
  U32 keyBits = 0;  // width of a physical row
  SoftAsic::WideMode mode = SoftAsic::WideMode::single;
  std::optional< U32 > group = {};  // owner, without instance bits; empty: free
  U32 rows = 0;                     // capacity in entries
  std::vector< Segment > segments;

  U32 rowsOf( RowUse use ) const;
  U32 entries() const { return rows - rowsOf( RowUse::open ) - rowsOf( RowUse::free ); }
  // Shows the same entries as the preceding slice.
  bool secondOfPair() const { return mode == SoftAsic::WideMode::paired && number % 2 != 0; }
  // Key bits of a row.
  U32 rowBits() const { return mode == SoftAsic::WideMode::single ? keyBits : 2 * keyBits; }
  friend bool operator==( const Slice &, const Slice & ) = default;
};

// One stage instance.
struct Table {
  SoftAsic::StageKind stage = SoftAsic::StageKind::ifp;
  U32 pipe = 0;  // 0 if the stage has one instance
  U32 copy = 0;
  std::vector< Slice > slices;  // by number

  U32 entries() const;
  U32 openRows() const;
  U32 freeSlices() const;
};

struct User {
  std::string name;                  // of its reservation
  std::vector< std::string > lists;  // access lists in its share; empty by default
  U32 group = 0;                     // without instance bits
  // Entries that it may allocate; empty: unbounded.
  std::optional< U32 > share = {};
  U32 used = 0;                       // allocated entries; each is in every pipe and copy
  U32 available = 0;                  // entries that it could still get; 0 if not on the chip
  bool onChip = false;                // its group has slices
  std::optional< char > letter = {};  // its symbol in the map; empty: no rows
  // Rows of pipe 0, copy 0.
  U32 setAside = 0;
  U32 twins = 0;

  // "IPv4 ACL: edge, web".
  std::string title() const;
};

struct SliceMap {
  std::string title;                 // empty by default
  std::vector< std::string > notes;  // additional lines
  std::vector< User > users;         // in reservation order
  std::vector< Table > tables;       // by stage, pipe, copy
};

SliceMap sliceMap( const Morvane::MorvaneTcamGroupManager & manager,
                   const SoftAsic::SoftAsic & chip, U32 unit );

// --- Output formats; each ends with a newline --------------------------------------------------

struct PictureOptions {
  bool all = false;     // show identical tables of a stage separately
  bool colour = false;  // text: escape sequences for 256 colours
};

// At most 80 columns, unless names or titles are longer. Plain ASCII, with letters in addition to
// colours, so that serial consoles, logs, mail and any locale show it right.
std::string textMap( const SliceMap & map, const PictureOptions & options );
// A self-contained SVG file.
std::string svgMap( const SliceMap & map, const PictureOptions & options );
// The complete map.
std::string jsonMap( const SliceMap & map );

}  // namespace Map
