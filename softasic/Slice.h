// One slice of a stage instance: a ring of rows with entries in match order.
//
// Chip rules
// - The top register holds the row of the first entry. From there entries follow in rank order,
//   possibly with free rows between them.
// - An insert where no row is free moves entries. An insert before the first or after the last
//   entry moves none if rows outside the span are free.
//
// Which entries move is the slice's choice: those between the place and free rows on one side of
// it, spread evenly over their rows and the free ones, so that later inserts find free rows nearby.
// Moving n entries costs as much as shifting each by one row. More are moved than needed if that
// reaches more free rows than the square of their number grows. Half of the rows outside the span
// remain for entries before the first and after the last one. Those that move up do so from the
// first on, those that move down from the last on, so that they stay in order.
//
// A position counts rows from the top in match order; a row is the physical row.
//
// Invariants: positions 0 and span-1 hold entries unless the slice is empty; rows_[ entry.row ] of
// entry.slice is the entry.
#pragma once

#include <vector>

#include "softasic/Entry.h"

namespace SoftAsic {

class Slice {
 public:
  Slice( U32 number, const SliceProfile & profile )
      : number_( number ),
        depth_( profile.depth ),
        keyBits_( profile.keyBits ),
        large_( profile.large ) {}

  U32 number() const { return number_; }
  U32 depth() const { return depth_; }      // rows in single mode
  U32 keyBits() const { return keyBits_; }  // width of a row in single mode
  bool large() const { return large_; }

  // Entries that fit in a mode.
  U32 capacity( WideMode mode ) const { return mode == WideMode::doubleWide ? depth_ / 2 : depth_; }

  void take( WideMode mode );
  void release();  // must be empty
  // The odd slice of a pair has no rows: the even one holds the entries of both.
  void takeAsSecond() { taken_ = true; }
  bool taken() const { return taken_; }

  // The following require a taken slice.
  U32 rows() const { return static_cast< U32 >( rows_.size() ); }
  U32 used() const { return used_; }
  U32 free() const { return rows() - used_; }
  bool full() const { return used_ == rows(); }
  bool empty() const { return used_ == 0; }
  U32 span() const { return span_; }
  Entry * at( U32 position ) const { return rows_[ row( position ) ]; }  // null: free row
  Entry * inRow( U32 row ) const { return rows_[ row ]; }                // null: free row
  Entry * first() const { return at( 0 ); }                              // not if empty
  Entry * last() const { return at( span_ - 1 ); }
  U32 position( const Entry & entry ) const { return ( entry.row + rows() - start_ ) % rows(); }

  // Insert position for the rank.
  U32 placeFor( U64 rank ) const;
  U32 entriesBefore( U32 position ) const;
  // Inserts before `position` (0 to span). The slice must not be full. Returns the entries moved.
  U32 insertAt( U32 position, Entry & entry );
  // Frees rows outside the span; the slice must have so many free ones. Returns the entries moved.
  U32 openEnds( U32 count );
  void erase( Entry & entry );
  // Keeps the top register. The entries have no row until they are inserted again.
  void clear();

 private:
  U32 row( U32 position ) const {
    const U32 row = start_ + position;
    return row < rows() ? row : row - rows();
  }
  // Rows on one side of a position.
  struct Window {
    U32 length = 0;
    U32 entries = 0;
    U32 free = 0;
    bool betterThan( const Window & other ) const;
  };
  enum class Side { up, down };

  void put( U32 position, Entry & entry );
  Window windowFrom( U32 position, Side side ) const;
  U32 spread( U32 first, U32 end, U32 position, Entry & entry );
  void extendUp( U32 count );
  void trim();

  U32 number_;
  U32 depth_;
  U32 keyBits_;
  bool large_;
  bool taken_ = false;
  std::vector< Entry * > rows_;
  U32 start_ = 0;  // the top register: row of position 0
  U32 span_ = 0;   // positions from the first to the last entry
  U32 used_ = 0;
};

}  // namespace SoftAsic
