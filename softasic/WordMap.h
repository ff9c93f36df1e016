// Hash map from a 64-bit word to a small node, optimised for the lookups of TernaryIndex.
//
// Open addressing with linear probing; the array doubles when three quarters full and halves below
// one eighth. Erase shifts later nodes back instead of leaving tombstones, which would slow lookups
// down. An array that would outgrow `largest` slots is divided into 64 maps by other bits of the
// hash, its parts, which grow and divide by themselves: no change moves more nodes than one array
// has.
//
// The map keeps a lower bound of the ranks below its nodes. Removals leave it stale; an array
// computes it again after as many removals as it has nodes.
//
// A slot is free if its node is empty. Node needs `bool empty() const`, `U64 best() const` (a lower
// bound of the ranks below a node that is not empty), an empty default state and move operations.
// Any change moves nodes: do not keep their addresses.
#pragma once

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <limits>
#include <utility>

#include "kiv/Types.h"

namespace SoftAsic {

using namespace Kiv::Integers;

// Hash of a word. Its first 6 bits select a bit of a filter.
inline constexpr U64 hashFactor = 0x9E3779B97F4A7C15U;
inline constexpr U32 filterShift = 58;
inline U64 hashOfWord( U64 word ) {
  return ( word ^ word >> 32 ) * hashFactor;
}

template < class Node >
class WordMap {
 public:
  WordMap() = default;
  WordMap( WordMap && other ) noexcept { swap( other ); }
  WordMap & operator=( WordMap && other ) noexcept {
    WordMap( std::move( other ) ).swap( *this );
    return *this;
  }
  ~WordMap() {
    if ( divided() )
      delete[] parts_;
    else
      delete[] slots_;
  }

  U32 size() const { return size_; }
  U64 filter() const { return filter_; }  // has a bit for each word
  U64 best() const { return best_; }      // lower bound of the ranks; all ones if the map is empty

  // Null if not found.
  const Node * find( U64 word ) const {
    const U64 hash = hashOfWord( word );
    if ( ( filter_ & filterBit( hash ) ) == 0 )
      return nullptr;
    if ( divided() ) [[unlikely]]
      return findInPart( word, hash );
    const Slot & slot = slots_[ locate( word, hash ) ];
    return slot.empty() ? nullptr : &slot;
  }
  Node * find( U64 word ) {
    return const_cast< Node * >( static_cast< const WordMap * >( this )->find( word ) );
  }

  // The node to which the caller now adds an item of the rank; empty if the word is new.
  Node & obtain( U64 word, U64 rank ) {
    return obtain( word, hashOfWord( word ), rank, partShift );
  }

  // Call after items were removed below the node of the word, which is erased if it is empty.
  void removed( U64 word ) { removed( word, hashOfWord( word ), partShift ); }

  template < class F >
  void forEach( F && fn ) {
    for ( U32 i = 0; i < ( divided() ? partCount : 0 ); ++i )
      parts_[ i ].forEach( fn );
    for ( U32 at = 0; at < slotCount(); ++at )
      if ( !slots_[ at ].empty() )
        fn( slots_[ at ] );
  }

  // Calls fn( node ) for about `wanted` nodes from all over the map.
  template < class F >
  void sample( U32 wanted, F && fn ) const {
    const U32 count = divided() ? partCount : capacity_;
    const U32 stride = wanted >= size_ ? 1 : std::max( 1U, count / wanted );
    for ( U32 first = 0; first < count; first += stride ) {
      if ( divided() ) {
        parts_[ first ].sample( 1 + wanted / partCount, fn );
        continue;
      }
      U32 at = first;
      while ( at < std::min( first + stride, count ) && slots_[ at ].empty() )
        ++at;
      if ( at < std::min( first + stride, count ) )
        fn( slots_[ at ] );
    }
  }

  // Any word of the map, which must not be empty. `cursor` speeds up calls that erase what they
  // get.
  U64 anyWord( U32 & cursor ) const {
    if ( divided() )
      return std::find_if( parts_, parts_ + partCount,
                           []( const WordMap & map ) { return map.size_ != 0; } )
          ->anyWord( cursor );
    assert( size_ != 0 );
    while ( slots_[ cursor &= capacity_ - 1 ].empty() )
      ++cursor;
    return slots_[ cursor ].word;
  }

 private:
  struct Slot : Node {
    U64 word = 0;
  };

  static constexpr U32 largest = 4096;  // slots of an array
  static constexpr U32 partBits = 6;    // of the hash, from `shift` on
  static constexpr U32 partCount = 64;
  static constexpr U32 partShift = 52;      // of the map; 6 bits less for parts, and so on
  static constexpr U32 lastPartShift = 46;  // below stand the bits that choose a slot
  static constexpr U32 inParts = ~0U;
  static constexpr U64 worstRank = std::numeric_limits< U64 >::max();

  U32 home( U64 hash ) const { return static_cast< U32 >( hash >> 32 ) & ( capacity_ - 1 ); }
  static U64 filterBit( U64 hash ) { return U64{ 1 } << ( hash >> filterShift ); }

  bool divided() const { return capacity_ == inParts; }
  U32 slotCount() const { return divided() ? 0 : capacity_; }
  WordMap & part( U64 hash, U32 shift ) const {
    return parts_[ hash >> shift & ( partCount - 1 ) ];
  }

  // The slot of the word, or the free one where it belongs. There must be slots.
  U32 locate( U64 word, U64 hash ) const {
    U32 at = home( hash );
    while ( slots_[ at ].word != word && !slots_[ at ].empty() )
      at = ( at + 1 ) & ( capacity_ - 1 );
    return at;
  }

  const Node * findInPart( U64 word, U64 hash ) const {
    const WordMap * map = this;
    for ( U32 shift = partShift; map->divided(); shift -= partBits )
      map = &map->part( hash, shift );
    if ( map->size_ == 0 )
      return nullptr;
    const Slot & slot = map->slots_[ map->locate( word, hash ) ];
    return slot.empty() ? nullptr : &slot;
  }

  Node & obtain( U64 word, U64 hash, U64 rank, U32 shift ) {
    best_ = std::min( best_, rank );
    filter_ |= filterBit( hash );
    if ( divided() ) {
      WordMap & map = part( hash, shift );
      size_ -= map.size_;
      Node & node = map.obtain( word, hash, rank, shift - partBits );
      size_ += map.size_;
      return node;
    }
    if ( capacity_ != 0 ) {
      Slot & slot = slots_[ locate( word, hash ) ];
      if ( !slot.empty() )
        return slot;
      if ( 4 * ( size_ + 1 ) <= 3 * capacity_ ) {
        slot.word = word;
        ++size_;
        return slot;
      }
    }
    if ( capacity_ < largest || shift < lastPartShift )
      rehash( capacity_ == 0 ? 2 : capacity_ * 2 );
    else
      divide( shift );
    return obtain( word, hash, rank, shift );
  }

  void removed( U64 word, U64 hash, U32 shift ) {
    if ( divided() ) {
      WordMap & map = part( hash, shift );
      size_ -= map.size_;
      const U64 before = map.best_;
      map.removed( word, hash, shift - partBits );
      size_ += map.size_;
      if ( map.best_ != before )
        best_ = std::min_element( parts_, parts_ + partCount, []( const auto & a, const auto & b ) {
                  return a.best_ < b.best_;
                } )->best_;
      if ( size_ <= largest / 8 )
        rehash( largest / 4 );
      return;
    }
    const U32 at = locate( word, hash );
    if ( slots_[ at ].empty() )
      erase( at );
    if ( ++removed_ < size_ )
      return;
    removed_ = 0;
    best_ = worstRank;
    forEach( [ & ]( const Node & node ) { best_ = std::min( best_, node.best() ); } );
  }

  void erase( U32 hole ) {
    slots_[ hole ] = Slot();
    --size_;
    for ( U32 at = ( hole + 1 ) & ( capacity_ - 1 ); !slots_[ at ].empty();
          at = ( at + 1 ) & ( capacity_ - 1 ) ) {
      const U32 distance = ( at - home( hashOfWord( slots_[ at ].word ) ) ) & ( capacity_ - 1 );
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

  // Into a free slot; the word must be new, and there must be room.
  void adopt( Slot & from ) {
    const U64 hash = hashOfWord( from.word );
    Slot & slot = slots_[ locate( from.word, hash ) ];
    slot = std::move( from );
    ++size_;
    filter_ |= filterBit( hash );
  }

  // Puts all nodes, those of parts too, into an array of that many slots.
  void rehash( U32 capacity ) {
    WordMap old( std::move( *this ) );
    slots_ = new Slot[ capacity ];
    capacity_ = capacity;
    best_ = old.best_;
    removed_ = old.removed_;
    old.forEach( [ & ]( Node & node ) { adopt( static_cast< Slot & >( node ) ); } );
  }

  void divide( U32 shift ) {
    WordMap old( std::move( *this ) );
    parts_ = new WordMap[ partCount ];
    capacity_ = inParts;
    filter_ = old.filter_;
    best_ = old.best_;
    size_ = old.size_;
    old.forEach( [ & ]( Node & node ) {
      Slot & slot = static_cast< Slot & >( node );
      WordMap & map = part( hashOfWord( slot.word ), shift );
      if ( 4 * ( map.size_ + 1 ) > 3 * map.capacity_ )
        map.rehash( std::max( largest / 32, map.capacity_ * 2 ) );
      map.best_ = best_;
      map.adopt( slot );
    } );
  }

  void swap( WordMap & other ) noexcept {
    std::swap( filter_, other.filter_ );
    std::swap( best_, other.best_ );
    std::swap( size_, other.size_ );
    std::swap( removed_, other.removed_ );
    std::swap( capacity_, other.capacity_ );
    std::swap( slots_, other.slots_ );
  }

  // Bits of all words in the map, so that most lookups of others touch no slot. Those of erased
  // words remain until the array is empty or changes its size.
  U64 filter_ = 0;
  U64 best_ = worstRank;
  U32 size_ = 0;
  U32 removed_ = 0;   // removals since `best_` was exact
  U32 capacity_ = 0;  // 0, a power of two, or `inParts`
  union {
    Slot * slots_ = nullptr;
    WordMap * parts_;
  };
};

}  // namespace SoftAsic
