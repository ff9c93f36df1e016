// The rows of one group: an ordered list of slices that grows and shrinks with the group's entries.
//
// Chip rules
// - In the order of the slices, and in each from its top on, the entries of a group stand by rank,
//   so that the first row that matches is the best one. Rows move while a group is matched; since
//   every state in between keeps the order, lookups by rank (TernaryIndex) give the same answer.
// - An entry that finds its slice full pushes one entry from slice to slice to the nearest slice
//   with a free row; only when the group has none is another slice taken from the pool. Cost: two
//   slice depths and the number of slices, however many entries the group has.
// - A slice that loses its last entry returns to the pool at once; a group keeps its last slice.
#pragma once

#include <vector>

#include "softasic/SlicePool.h"

namespace SoftAsic {

class RowAllocator {
 public:
  // `moves` counts the rows moved. Takes no slice yet.
  RowAllocator( SlicePool & pool, const SliceDemand & demand, U64 & moves )
      : pool_( pool ), demand_( demand ), moves_( moves ) {}

  // Takes the group's first slice: -14 none is free, -16 the chip has none of the kind.
  int begin();
  // Gives every slice back; no entry has a row any more.
  void end();

  // Gives the entry a row by its rank; false when there is none, and nothing has changed.
  bool insert( Entry & entry );
  void erase( Entry & entry );
  // Moves an entry to the place that a new rank gives it.
  void rerank( Entry & entry, U64 rank );
  // Moves all entries to the front rows of the front slices and gives empty slices back.
  void compress();

  // Gives the group's entries another key width; false when a slice of the group cannot hold it in
  // the group's wide mode, and nothing has changed.
  bool setKeyBits( U32 keyBits );

  U32 totalRows() const;
  U32 usedRows() const;
  // Rows free in the group's slices, and in free slices that it could take.
  U32 freeRows() const { return totalRows() - usedRows() + pool_.freeRows( demand_ ); }

  const SliceDemand & demand() const { return demand_; }
  const std::vector< Slice * > & slices() const { return slices_; }

  // Calls fn( entry ) in matching order.
  template < class F >
  void forEach( F && fn ) const {
    for ( const Slice * slice : slices_ )
      for ( U32 i = 0; i < slice->span(); ++i )
        if ( Entry * entry = slice->at( i ) )
          fn( *entry );
  }

 private:
  size_t sliceFor( U64 rank ) const;
  bool makeRoom( size_t & at, U64 rank );
  void pushDown( size_t from, size_t to );
  void pullUp( size_t from, size_t to );
  void dropEmpty();

  SlicePool & pool_;
  SliceDemand demand_;
  U64 & moves_;
  std::vector< Slice * > slices_;  // in matching order
};

}  // namespace SoftAsic
