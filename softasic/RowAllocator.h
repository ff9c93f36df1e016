// Row allocation of one group, over an ordered list of slices that grows and shrinks on demand.
//
// Chip rules
// - Entries are in rank order over the group's slices, from the top of each, so that the first
//   matching row wins. Rows move under traffic; every intermediate state keeps the order, so lookup
//   by rank (TernaryIndex) is equivalent.
// - Entries move to another slice from one end of theirs to the near end of the next.
// - Another slice is allocated only if all of the group are full.
// - An empty slice returns to the pool at once; a group keeps its last slice.
//
// Free rows are kept in all slices, for inserts move few entries where some are near (Slice.h). A
// slice that runs short gets half of those of another, at one move a row and slice between them; a
// slice that is allocated between others gets half of the entries of one. Slices at the ends get
// few, so that inserts in order of rank hardly move any.
#pragma once

#include <vector>

#include "softasic/SlicePool.h"

namespace SoftAsic {

class RowAllocator {
 public:
  // Adds row moves to `moves`. Allocates no slice yet.
  RowAllocator( SlicePool & pool, const SliceDemand & demand, U64 & moves )
      : pool_( pool ), demand_( demand ), moves_( moves ) {}

  // BCM_E_RESOURCE if no slice is free, BCM_E_UNAVAIL if the chip has no slice of the kind.
  int allocateFirstSlice();
  // The group must have no entries.
  void releaseSlices();

  // False, with nothing changed, if no row is available.
  bool insert( Entry & entry );
  void erase( Entry & entry );
  void rerank( Entry & entry, U64 rank );
  // Packs all entries into the first slices and releases the empty ones.
  void compress();

  // False, with nothing changed, if a slice of the group is too narrow in the group's wide mode.
  bool setKeyBits( U32 keyBits );

  U32 totalRows() const;
  U32 usedRows() const;
  // Free rows in the group's slices and in free slices that it could allocate.
  U32 freeRows() const { return totalRows() - usedRows() + pool_.freeRows( demand_ ); }

  const SliceDemand & demand() const { return demand_; }
  const std::vector< Slice * > & slices() const { return slices_; }

  // Calls fn( entry ) in match order.
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
  size_t sourceFor( size_t at, bool append ) const;
  void pushDown( size_t from, size_t to, U32 count );
  void pullUp( size_t from, size_t to, U32 count );
  void releaseEmpty();

  SlicePool & pool_;
  SliceDemand demand_;
  U64 & moves_;
  std::vector< Slice * > slices_;  // in match order
};

}  // namespace SoftAsic
