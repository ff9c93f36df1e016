// Hash map from a 64-bit word to a small node, optimised for the lookups of TernaryIndex.
//
// Open addressing with linear probing; the array doubles when three quarters full and halves below
// one eighth. Erase shifts later nodes back instead of leaving tombstones, which would slow lookups
// down. A slot is free if its node is empty, so Node needs `bool empty() const`, an empty default
// state and move operations. Any change moves nodes: do not keep their addresses.
#pragma once

#include <cassert>
#include <cstddef>
#include <memory>
#include <utility>

#include "kiv/Types.h"

namespace SoftAsic {

using namespace Kiv::Integers;

template < class Node >
class WordMap {
 public:
  U32 size() const { return size_; }

  // Null if not found.
  const Node * find( U64 word ) const {
    const U64 hash = hashOf( word );
    if ( ( filter_ & filterBit( hash ) ) == 0 )
      return nullptr;
    for ( U32 at = home( hash );; at = ( at + 1 ) & ( capacity_ - 1 ) ) {
      if ( slots_[ at ].empty() )
        return nullptr;
      if ( slots_[ at ].word == word )
        return &slots_[ at ];
    }
  }
  Node * find( U64 word ) {
    return const_cast< Node * >( static_cast< const WordMap * >( this )->find( word ) );
  }

  // The node must not be empty, and the word not in the map.
  void insert( U64 word, Node && node ) {
    assert( !node.empty() && find( word ) == nullptr );
    if ( 4 * ( size_ + 1 ) > 3 * capacity_ )
      rehash( capacity_ == 0 ? 2 : capacity_ * 2 );
    place( word, std::move( node ) );
    ++size_;
  }

  // `node` may be empty already.
  void erase( Node * node ) {
    U32 hole = static_cast< U32 >( static_cast< Slot * >( node ) - slots_.get() );
    slots_[ hole ] = Slot();
    --size_;
    for ( U32 at = ( hole + 1 ) & ( capacity_ - 1 ); !slots_[ at ].empty();
          at = ( at + 1 ) & ( capacity_ - 1 ) ) {
      const U32 distance = ( at - home( hashOf( slots_[ at ].word ) ) ) & ( capacity_ - 1 );
      if ( distance < ( ( at - hole ) & ( capacity_ - 1 ) ) )
        continue;
      slots_[ hole ] = std::exchange( slots_[ at ], Slot() );
      hole = at;
    }
    if ( size_ == 0 )
      filter_ = 0;
    if ( capacity_ > 8 && 8 * size_ < capacity_ )
      rehash( capacity_ / 2 );
  }

  template < class F >
  void forEach( F && fn ) {
    for ( U32 at = 0; at < capacity_; ++at )
      if ( !slots_[ at ].empty() )
        fn( slots_[ at ] );
  }
  template < class F >
  void forEach( F && fn ) const {
    for ( U32 at = 0; at < capacity_; ++at )
      if ( !slots_[ at ].empty() )
        fn( slots_[ at ] );
  }

 private:
  struct Slot : Node {
    U64 word = 0;
  };

  static U64 hashOf( U64 word ) {
    word ^= word >> 32;
    return word * 0x9E3779B97F4A7C15U;
  }
  U32 home( U64 hash ) const { return static_cast< U32 >( hash >> 32 ) & ( capacity_ - 1 ); }
  // By bits that choose a home only in maps of more than 2^26 slots.
  static U64 filterBit( U64 hash ) { return U64{ 1 } << ( hash >> 58 ); }

  void place( U64 word, Node && node ) {
    const U64 hash = hashOf( word );
    U32 at = home( hash );
    while ( !slots_[ at ].empty() )
      at = ( at + 1 ) & ( capacity_ - 1 );
    static_cast< Node & >( slots_[ at ] ) = std::move( node );
    slots_[ at ].word = word;
    filter_ |= filterBit( hash );
  }

  void rehash( U32 capacity ) {
    std::unique_ptr< Slot[] > old = std::exchange( slots_, std::make_unique< Slot[] >( capacity ) );
    const U32 oldCapacity = std::exchange( capacity_, capacity );
    filter_ = 0;
    for ( U32 at = 0; at < oldCapacity; ++at )
      if ( !old[ at ].empty() )
        place( old[ at ].word, std::move( static_cast< Node & >( old[ at ] ) ) );
  }

  // Bits of all words in the map, so that most lookups of others touch no slot. Those of erased
  // words remain until the map is empty or changes its size.
  U64 filter_ = 0;
  U32 size_ = 0;
  U32 capacity_ = 0;  // 0 or a power of two
  std::unique_ptr< Slot[] > slots_;
};

}  // namespace SoftAsic
