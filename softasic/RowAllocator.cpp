#include "softasic/RowAllocator.h"

#include <algorithm>
#include <cassert>

namespace SoftAsic {

int RowAllocator::allocateFirstSlice() {
  if ( demand_.large && !pool_.hasLarge( demand_ ) )
    return BCM_E_UNAVAIL;
  Slice * slice = pool_.take( demand_, demand_.large );
  if ( slice == nullptr )
    return BCM_E_RESOURCE;
  slices_.push_back( slice );
  return BCM_E_NONE;
}

void RowAllocator::releaseSlices() {
  for ( Slice * slice : slices_ )
    pool_.release( *slice, demand_.mode );
  slices_.clear();
}

// The last slice whose first entry comes before the rank, or the first slice.
size_t RowAllocator::sliceFor( U64 rank ) const {
  const auto after = std::partition_point(
      slices_.begin(), slices_.end(),
      [ & ]( const Slice * slice ) { return !slice->empty() && slice->first()->rank < rank; } );
  return after == slices_.begin() ? 0 : static_cast< size_t >( after - slices_.begin() ) - 1;
}

bool RowAllocator::insert( Entry & entry ) {
  size_t at = sliceFor( entry.rank );
  if ( slices_[ at ]->full() && !makeRoom( at, entry.rank ) )
    return false;
  Slice & slice = *slices_[ at ];
  moves_ += slice.insertAt( slice.placeFor( entry.rank ), entry );
  return true;
}

// Frees a row for the rank in or next to the full slice `at`; sets `at` to the slice to insert
// into.
bool RowAllocator::makeRoom( size_t & at, U64 rank ) {
  const bool afterLast = slices_[ at ]->last()->rank < rank;
  size_t room = slices_.size();  // nearest slice with a free row
  for ( size_t i = 0; i < slices_.size(); ++i ) {
    const auto distance = [ & ]( size_t j ) { return j > at ? j - at : at - j; };
    if ( !slices_[ i ]->full() && ( room == slices_.size() || distance( i ) < distance( room ) ) )
      room = i;
  }
  if ( room == slices_.size() ) {
    Slice * fresh = pool_.take( demand_, false );
    if ( fresh == nullptr )
      return false;
    const bool beforeAll = rank < slices_[ at ]->first()->rank;
    room = beforeAll ? at : at + 1;
    slices_.insert( slices_.begin() + static_cast< std::ptrdiff_t >( room ), fresh );
    if ( beforeAll )
      return true;
  }
  if ( room < at ) {
    pullUp( at, room );
  } else {
    at += afterLast ? 1 : 0;
    pushDown( at, room );
  }
  return true;
}

// Moves the last entry of each slice to the front of the next, down to `to`, which has a free row.
void RowAllocator::pushDown( size_t from, size_t to ) {
  for ( size_t i = to; i > from; --i ) {
    Entry & entry = *slices_[ i - 1 ]->last();
    slices_[ i - 1 ]->erase( entry );
    moves_ += 1 + slices_[ i ]->insertAt( 0, entry );
  }
}

// Moves the first entry of each slice to the end of the previous, up to `to`, which has a free row.
void RowAllocator::pullUp( size_t from, size_t to ) {
  for ( size_t i = to; i < from; ++i ) {
    Entry & entry = *slices_[ i + 1 ]->first();
    slices_[ i + 1 ]->erase( entry );
    moves_ += 1 + slices_[ i ]->insertAt( slices_[ i ]->span(), entry );
  }
}

void RowAllocator::erase( Entry & entry ) {
  Slice * slice = entry.slice;
  slice->erase( entry );
  if ( slice->empty() )
    releaseEmpty();
}

void RowAllocator::releaseEmpty() {
  for ( size_t i = slices_.size(); i-- > 0 && slices_.size() > 1; ) {
    if ( !slices_[ i ]->empty() )
      continue;
    pool_.release( *slices_[ i ], demand_.mode );
    slices_.erase( slices_.begin() + static_cast< std::ptrdiff_t >( i ) );
  }
}

void RowAllocator::rerank( Entry & entry, U64 rank ) {
  const Slice * slice = entry.slice;
  const U32 row = entry.row;
  erase( entry );
  entry.rank = rank;
  const bool placed = insert( entry );  // the row just erased is free
  assert( placed );
  ( void )placed;
  if ( entry.slice != slice || entry.row != row )
    ++moves_;
}

void RowAllocator::compress() {
  struct Place {
    Entry * entry;
    const Slice * slice;
    U32 row;
  };
  std::vector< Place > before;
  forEach( [ & ]( Entry & entry ) { before.push_back( { &entry, entry.slice, entry.row } ); } );
  for ( Slice * slice : slices_ )
    slice->clear();
  size_t at = 0;
  for ( const Place & place : before ) {
    if ( slices_[ at ]->full() )
      ++at;
    slices_[ at ]->insertAt( slices_[ at ]->span(), *place.entry );
    if ( place.entry->slice != place.slice || place.entry->row != place.row )
      ++moves_;
  }
  releaseEmpty();
}

bool RowAllocator::setKeyBits( U32 keyBits ) {
  const bool fit = std::all_of( slices_.begin(), slices_.end(), [ & ]( const Slice * slice ) {
    return pool_.fits( *slice, keyBits, demand_.mode );
  } );
  if ( fit )
    demand_.keyBits = keyBits;
  return fit;
}

U32 RowAllocator::totalRows() const {
  U32 rows = 0;
  for ( const Slice * slice : slices_ )
    rows += slice->rows();
  return rows;
}

U32 RowAllocator::usedRows() const {
  U32 rows = 0;
  for ( const Slice * slice : slices_ )
    rows += slice->used();
  return rows;
}

}  // namespace SoftAsic
