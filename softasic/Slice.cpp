#include "softasic/Slice.h"

#include <algorithm>
#include <cassert>

namespace SoftAsic {

void Slice::take( WideMode mode ) {
  assert( !taken_ );
  taken_ = true;
  rows_.assign( capacity( mode ), nullptr );
}

void Slice::release() {
  assert( taken_ && empty() );
  taken_ = false;
  rows_ = {};
  start_ = 0;
  span_ = 0;
}

U32 Slice::placeFor( U64 rank ) const {
  U32 low = 0;  // ranks before `low` are lower than `rank`, from `high` on higher
  U32 high = span_;
  while ( low < high ) {
    const U32 middle = low + ( high - low ) / 2;
    U32 probe = middle;
    while ( probe < high && at( probe ) == nullptr )
      ++probe;
    if ( probe < high && at( probe )->rank < rank )
      low = probe + 1;
    else
      high = middle;
  }
  return low;
}

void Slice::put( U32 position, Entry & entry ) {
  entry.slice = this;
  entry.row = row( position );
  rows_[ entry.row ] = &entry;
}

void Slice::shift( U32 from, U32 to ) {
  Entry & entry = *at( from );
  assert( at( to ) == nullptr );
  rows_[ entry.row ] = nullptr;
  put( to, entry );
}

U32 Slice::insertAt( U32 position, Entry & entry ) {
  assert( !full() && position <= span_ );
  // Rows outside the span are contiguous in the ring, and free.
  const bool outside = span_ < rows();
  ++used_;
  for ( U32 distance = 0;; ++distance ) {
    const U32 after = position + distance;
    if ( after < span_ ? at( after ) == nullptr : after == span_ && outside ) {
      span_ += after == span_ ? 1 : 0;
      for ( U32 i = after; i > position; --i )
        shift( i - 1, i );
      put( position, entry );
      return distance;
    }
    if ( distance < position ? at( position - 1 - distance ) == nullptr
                             : distance == position && outside ) {
      if ( distance == position )
        extendUp( position );
      for ( U32 i = position - distance; i < position; ++i )
        shift( i, i - 1 );
      put( position - 1, entry );
      return distance;
    }
  }
}

// Moves the top up by one row, which increments all positions, including `position`.
void Slice::extendUp( U32 & position ) {
  start_ = start_ == 0 ? rows() - 1 : start_ - 1;
  ++span_;
  ++position;
}

void Slice::clear() {
  std::fill( rows_.begin(), rows_.end(), nullptr );
  used_ = 0;
  span_ = 0;
}

void Slice::erase( Entry & entry ) {
  assert( rows_[ entry.row ] == &entry );
  rows_[ entry.row ] = nullptr;
  entry.slice = nullptr;
  --used_;
  if ( used_ == 0 )
    span_ = 0;
  while ( span_ > 0 && at( 0 ) == nullptr ) {
    start_ = row( 1 );
    --span_;
  }
  while ( span_ > 0 && at( span_ - 1 ) == nullptr )
    --span_;
}

}  // namespace SoftAsic
