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
  constexpr U32 shortOfRows = 16;  // a slice is, if one in so many is free
  size_t at = sliceFor( entry.rank );
  if ( slices_[ at ]->free() <= slices_[ at ]->rows() / shortOfRows && !makeRoom( at, entry.rank ) )
    return false;
  Slice & slice = *slices_[ at ];
  moves_ += slice.insertAt( slice.placeFor( entry.rank ), entry );
  return true;
}

// Brings free rows to slice `at`, which has few; sets `at` to the slice to insert into. False if no
// row is available.
bool RowAllocator::makeRoom( size_t & at, U64 rank ) {
  constexpr U32 appendRows = 8;
  Slice & slice = *slices_[ at ];
  const bool beforeAll = rank < slice.first()->rank;
  const bool afterAll = slice.last()->rank < rank;
  const bool append = afterAll && at + 1 == slices_.size();
  size_t source = sourceFor( at, append );
  if ( !slice.full() && ( beforeAll || afterAll || source == slices_.size() ||
                          slices_[ source ]->free() < 2 * slice.free() ) )
    return true;
  if ( source == slices_.size() ) {
    Slice * fresh = pool_.take( demand_, false );
    if ( fresh == nullptr )
      return false;
    source = beforeAll ? at : at + 1;
    slices_.insert( slices_.begin() + static_cast< std::ptrdiff_t >( source ), fresh );
    if ( beforeAll )
      return true;
  }
  U32 count = std::max( 1U, ( slices_[ source ]->free() - slice.free() ) / 2 );
  count = append ? std::min( count, appendRows ) : count;
  for ( size_t i = std::min( at, source ); i <= std::max( at, source ); ++i )
    count = i == source ? count : std::min( count, slices_[ i ]->used() );
  const U32 before = slice.entriesBefore( slice.placeFor( rank ) );
  if ( source < at )
    pullUp( at, source, std::min( count, before ) );
  else if ( afterAll )
    pushDown( ++at, source, count );
  else
    pushDown( at, source, std::min( count, slice.used() - before ) );
  return true;
}

// The slice to get free rows from, the number of slices if there is none. A near one, but few rows
// at a time make for many moves in slice `at`, except at its end.
size_t RowAllocator::sourceFor( size_t at, bool append ) const {
  size_t best = slices_.size();
  double least = 0;
  for ( size_t i = 0; i < slices_.size(); ++i ) {
    if ( i == at || slices_[ i ]->full() )
      continue;
    const auto distance = static_cast< double >( i > at ? i - at : at - i );
    const double cost =
        append ? distance : distance + slices_[ i ]->rows() / ( 2.0 * slices_[ i ]->free() );
    if ( best == slices_.size() || cost < least ) {
      best = i;
      least = cost;
    }
  }
  return best;
}

// Moves the last entries of each slice to the front of the next, down to `to`, which has free rows.
void RowAllocator::pushDown( size_t from, size_t to, U32 count ) {
  if ( from < to )
    moves_ += slices_[ to ]->openEnds( count );
  for ( size_t i = to; i > from; --i )
    for ( U32 n = 0; n < count; ++n ) {
      Entry & entry = *slices_[ i - 1 ]->last();
      slices_[ i - 1 ]->erase( entry );
      moves_ += 1 + slices_[ i ]->insertAt( 0, entry );
    }
}

// Moves the first entries of each slice to the end of the previous, up to `to`, which has free
// rows.
void RowAllocator::pullUp( size_t from, size_t to, U32 count ) {
  moves_ += slices_[ to ]->openEnds( count );
  for ( size_t i = to; i < from; ++i )
    for ( U32 n = 0; n < count; ++n ) {
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
