// One slice of a stage instance: a run of rows in which entries stand in matching order.
//
// Chip rules
// - A slice's rows form a ring. The slice's top register says where the order begins; from there
//   the entries follow one another by rank, with free rows possible in between.
// - An insert into a place without a free row moves entries by one row towards the nearest free
//   row. An insert before the first or behind the last entry of a slice that has free rows outside
//   the order moves none.
//
// "Position" counts rows from the top in matching order; "row" is the physical row.
//
// Invariants: positions 0 and span-1 hold entries unless the slice is empty; an entry's slice and
// row name the place that holds it.
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

  // Entries that the slice holds when a group uses it in a mode.
  U32 capacity( WideMode mode ) const { return mode == WideMode::doubleWide ? depth_ / 2 : depth_; }

  // A group takes the slice, or gives it back; it must be empty then.
  void take( WideMode mode );
  void giveBack();
  // The odd slice of a pair is taken without rows; the even one holds the pair's entries.
  void takeAsSecond() { taken_ = true; }
  bool taken() const { return taken_; }

  // The rest is for taken slices.
  U32 rows() const { return static_cast< U32 >( rows_.size() ); }
  U32 used() const { return used_; }
  bool full() const { return used_ == rows(); }
  bool empty() const { return used_ == 0; }
  U32 span() const { return span_; }
  Entry * at( U32 position ) const { return rows_[ row( position ) ]; }  // null: free row
  Entry * inRow( U32 row ) const { return rows_[ row ]; }                // null: free row
  Entry * first() const { return at( 0 ); }                              // of a slice not empty
  Entry * last() const { return at( span_ - 1 ); }
  U32 position( const Entry & entry ) const { return ( entry.row + rows() - start_ ) % rows(); }

  // Position behind all entries that come before the rank.
  U32 placeFor( U64 rank ) const;
  // Puts an entry before the one at `position` (0 to span) of a slice that is not full. Returns the
  // number of entries that moved.
  U32 insertAt( U32 position, Entry & entry );
  void erase( Entry & entry );
  // Empties the rows and keeps the top register; the entries that stood there have no row until
  // they are inserted again.
  void clear();

 private:
  U32 row( U32 position ) const {
    const U32 row = start_ + position;
    return row < rows() ? row : row - rows();
  }
  void put( U32 position, Entry & entry );
  void shift( U32 from, U32 to );
  void growUp( U32 & position );

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
