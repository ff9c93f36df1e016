// Storage of map nodes: 32-bit indices into chunks that never move.
//
// Invariants: a node keeps its address and its index from create to destroy. Freed slots are used
// again first. Memory is released only with the pool.
//
// Cost: the first chunk has 8 slots and each of the next doubles the total, up to 128 slots a
// chunk, so that small maps stay small and large ones waste at most 127 slots. One heap
// allocation a chunk, and one now and then for the list of chunks.
//
// The owner destroys every live node before the pool: the pool does not know them.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>
#include <vector>

#include "kiv/Assert.h"
#include "kiv/Types.h"

namespace Kiv {

// No node. Indices stay below it, so that 31 bits hold one.
inline constexpr U32 noNode = 0x7fffffff;

template < class Node >
class NodePool {
  static_assert( std::is_nothrow_move_constructible_v< Node > );

 public:
  [[gnu::always_inline]] Node & operator[]( U32 index ) { return slot( index ).node(); }
  [[gnu::always_inline]] const Node & operator[]( U32 index ) const { return slot( index ).node(); }

  // Throws std::bad_alloc, nothing changed then.
  U32 create( Node && node ) {
    bool reuse = free_ != noNode;
    if ( !reuse && used_ == capacity( chunks_.size() ) )
      addChunk();
    U32 index = reuse ? free_ : used_++;
    if ( reuse )
      free_ = slot( index ).nextFree();
    new ( slot( index ).bytes ) Node( std::move( node ) );
    return index;
  }

  // The node's destructor must leave the pool alone: maps take the value out first.
  void destroy( U32 index ) {
    Slot & freed = slot( index );
    std::destroy_at( &freed.node() );
    new ( freed.bytes ) U32( std::exchange( free_, index ) );
  }

 private:
  // Raw bytes, so that a chunk is allocated and freed without touching its slots.
  struct Slot {
    alignas( Node ) alignas( U32 ) std::byte bytes[ std::max( sizeof( Node ), sizeof( U32 ) ) ];

    Node & node() { return *std::launder( reinterpret_cast< Node * >( bytes ) ); }
    // While the slot is free.
    U32 & nextFree() { return *std::launder( reinterpret_cast< U32 * >( bytes ) ); }
  };

  static constexpr U32 firstSize = 8;
  static constexpr U32 fullSize = 128;
  static constexpr U32 smallChunks = std::bit_width( fullSize / firstSize );  // they hold fullSize

  // Slots in that many chunks.
  static constexpr U32 capacity( std::size_t chunks ) {
    auto count = static_cast< U32 >( chunks );
    if ( count < smallChunks )
      return count == 0 ? 0 : firstSize << ( count - 1 );
    return ( count - smallChunks + 1 ) * fullSize;
  }

  [[gnu::always_inline]] Slot & slot( U32 index ) const {
    if ( index >= fullSize ) [[likely]]
      return chunks_[ index / fullSize + smallChunks - 1 ][ index % fullSize ];
    if ( index < firstSize )
      return chunks_[ 0 ][ index ];
    auto width = static_cast< U32 >( std::bit_width( index ) );
    return chunks_[ width - std::bit_width( firstSize - 1 ) ][ index - ( 1u << ( width - 1 ) ) ];
  }

  void addChunk() {
    U32 size = capacity( chunks_.size() + 1 ) - used_;
    KIV_ASSERT( used_ < noNode - size );
    chunks_.push_back( std::make_unique_for_overwrite< Slot[] >( size ) );
  }

  std::vector< std::unique_ptr< Slot[] > > chunks_;
  U32 used_ = 0;  // slots that were handed out at least once
  U32 free_ = noNode;
};

}  // namespace Kiv
