#include "softasic/Slice.h"

#include <algorithm>
#include <cassert>
#include <utility>

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

U32 Slice::entriesBefore( U32 position ) const {
  U32 count = 0;
  for ( U32 i = 0; i < position; ++i )
    count += at( i ) != nullptr ? 1 : 0;
  return count;
}

void Slice::put( U32 position, Entry & entry ) {
  entry.slice = this;
  entry.row = row( position );
  rows_[ entry.row ] = &entry;
}

U32 Slice::insertAt( U32 position, Entry & entry ) {
  assert( !full() && position <= span_ );
  ++used_;
  if ( span_ < rows() && ( position == 0 || position == span_ ) ) {
    if ( position == span_ )
      ++span_;
    else
      extendUp( 1 );
    put( position, entry );
    return 0;
  }
  const Window up = windowFrom( position, Side::up );
  const Window down = windowFrom( position, Side::down );
  const bool gap = up.entries == 0 && down.entries == 0;  // use both sides of it
  U32 before = 0;
  if ( gap || !down.betterThan( up ) ) {
    before = up.length;
    if ( before > position ) {
      extendUp( before - position );
      position = before;
    }
  }
  const U32 after = gap || down.betterThan( up ) ? down.length : 0;
  return spread( position - before, position + after, position, entry );
}

// Moving fewer entries costs less now; more free rows keep later inserts from moving any.
bool Slice::Window::betterThan( const Window & other ) const {
  return free != 0 && ( other.free == 0 || U64{ entries } * entries * other.free <
                                               U64{ other.entries } * other.entries * free );
}

// The best rows to spread entries over, next to a position.
Slice::Window Slice::windowFrom( U32 position, Side side ) const {
  constexpr U32 patience = 4;  // how many times the entries of the best window to look at
  Window best;
  Window window;
  const U32 inside = side == Side::up ? position : span_ - position;
  for ( U32 i = 0; i < inside; ++i ) {
    ++window.length;
    if ( at( side == Side::up ? position - 1 - i : position + i ) == nullptr ) {
      ++window.free;
      if ( !best.betterThan( window ) )
        best = window;
      continue;
    }
    if ( best.free != 0 && window.entries >= patience * best.entries )
      return best;
    ++window.entries;
  }
  const U32 outside = ( rows() - span_ + 1 ) / 2;
  window.free += outside;
  window.length += outside;
  return best.betterThan( window ) ? best : window;
}

// Spreads the entries of some rows evenly over them, with another one before `position`. Returns
// the entries moved.
U32 Slice::spread( U32 first, U32 end, U32 position, Entry & entry ) {
  span_ = std::max( span_, end );
  std::vector< Entry * > entries;
  for ( U32 i = first; i < end; ++i ) {
    if ( i == position )
      entries.push_back( &entry );
    if ( Entry * there = std::exchange( rows_[ row( i ) ], nullptr ) )
      entries.push_back( there );
  }
  if ( position == end )
    entries.push_back( &entry );
  U32 moved = 0;
  for ( U64 i = 0; i < entries.size(); ++i ) {
    const U64 to = first + ( 2 * i + 1 ) * ( end - first ) / ( 2 * entries.size() );
    const U32 before = entries[ i ]->row;
    put( static_cast< U32 >( to ), *entries[ i ] );
    moved += entries[ i ] != &entry && entries[ i ]->row != before ? 1 : 0;
  }
  trim();
  return moved;
}

// Moves the entries at one end together.
U32 Slice::openEnds( U32 count ) {
  const U32 outside = rows() - span_;
  if ( outside >= count )
    return 0;
  const auto lengthFrom = [ & ]( U32 from, U32 step ) {  // rows among which enough are free
    U32 length = 0;
    for ( U32 free = 0; free < count - outside; ++length )
      free += at( from + length * step ) == nullptr ? 1 : 0;
    return length;
  };
  const U32 above = lengthFrom( 0, 1 );
  const U32 below = lengthFrom( span_ - 1, ~0U );
  const U32 step = above <= below ? ~0U : 1;            // through the rows, outwards
  U32 to = above <= below ? above : span_ - 1 - below;  // the last row taken
  U32 moved = 0;
  for ( U32 from = to + step, i = 0; i < std::min( above, below ); ++i, from += step )
    if ( Entry * entry = std::exchange( rows_[ row( from ) ], nullptr ) ) {
      put( to += step, *entry );
      moved += to == from ? 0 : 1;
    }
  trim();
  return moved;
}

// Moves the top up, which adds to all positions.
void Slice::extendUp( U32 count ) {
  start_ = row( rows() - count );
  span_ += count;
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
  trim();
}

// Excludes free rows at both ends from the span.
void Slice::trim() {
  while ( span_ > 0 && at( 0 ) == nullptr ) {
    start_ = row( 1 );
    --span_;
  }
  while ( span_ > 0 && at( span_ - 1 ) == nullptr )
    --span_;
}

}  // namespace SoftAsic
