// An unordered map: keys need == and Kiv::hash; iteration order carries no meaning.
//
//   Kiv::HashMap< U32, U32 > unitId;
//   unitId.insert( unit, 7 );
//   if( U32 * id = unitId[ unit ] ) { ... }           // null when absent
//
// Invariants: members keep their address until they are removed. At most three members a bucket on
// average; the bucket array grows in powers of two, never while an iterator is alive (the next
// insert without one catches up). Members may be changed, removed and inserted from the destructor
// of a value that is being removed.
//
// Cost: every operation takes constant time on average. find and erase never allocate; insert does
// when a chunk of nodes or the bucket array is full. A HashMap< U32, U32 > takes 14 or 15 bytes a
// member. Memory is released by clear, not by erase.
//
// When not to use it: where the order of iteration shows anywhere; use RbTreeMap.
//
// Locks: none; see kiv/MapIter.h.
#pragma once

#include <algorithm>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

#include "kiv/Hash.h"
#include "kiv/MapIter.h"
#include "kiv/NodePool.h"
#include "kiv/Types.h"

namespace Kiv {

template < class K, class V >
class HashMap {
 public:
  using Key = K;
  using Mapped = V;
  using Iter = MapIter< HashMap >;

  HashMap() = default;
  HashMap( const HashMap & ) = delete;
  HashMap & operator=( const HashMap & ) = delete;
  ~HashMap() { clear(); }

  // The member, or null. Valid until the member is removed.
  V * find( const K & key ) { return valueOrNull( findNode( key ) ); }
  const V * find( const K & key ) const {
    return const_cast< HashMap * >( this )->valueOrNull( findNode( key ) );
  }
  V * operator[]( const K & key ) { return find( key ); }
  const V * operator[]( const K & key ) const { return find( key ); }

  // Inserts unless the key is present: the member with this key, and whether it is new. The value
  // is moved from only if it is.
  std::pair< V *, bool > insert( const K & key, const V & value ) {
    return insert( key, V( value ) );
  }
  std::pair< V *, bool > insert( const K & key, V && value ) {
    if ( V * present = valueOrNull( findNode( key ) ) )
      return { present, false };
    return { valueOrNull( insertNode( key, std::move( value ) ) ), true };
  }

  // Whether there was such a member.
  bool erase( const K & key ) {
    // Only a destructor can touch the map while its value is in the table.
    if constexpr ( std::is_trivially_destructible_v< V > ) {
      const U32 node = unlink( key );
      if ( node != noNode )
        table_.nodes.destroy( node );
      return node != noNode;
    } else {
      return take( key ).has_value();
    }
  }

  // Removes a member and returns its value, or nothing. The value is destroyed by the caller, so
  // that its destructor may change, clear or destroy the map.
  std::optional< V > take( const K & key ) {
    const U32 node = unlink( key );
    if ( node == noNode )
      return std::nullopt;
    std::optional< V > value( std::move( table_.nodes[ node ].value ) );
    table_.nodes.destroy( node );
    return value;
  }

  // Removes all members; iterators are at the end afterwards. The values are destroyed when the map
  // is empty already.
  void clear() {
    Iter::mapEnded( iters_ );
    Table removed = std::exchange( table_, Table() );
    for ( U32 bucket = 0; bucket < removed.bucketCount; ++bucket ) {
      for ( U32 node = removed.heads[ bucket ]; node != noNode; ) {
        U32 next = removed.nodes[ node ].next;
        removed.nodes.destroy( node );
        node = next;
      }
    }
  }

  U32 size() const { return table_.size; }
  bool empty() const { return table_.size == 0; }
  bool isMemberOf( const K & key ) const { return findNode( key ) != noNode; }
  // Starts at the first member, or at the end.
  Iter iter() const { return Iter( *this ); }

 private:
  friend class MapIter< HashMap >;

  using NodeRef = U32;
  static constexpr NodeRef noNodeRef() { return noNode; }

  struct Node {
    U32 next;
    K key;
    V value;
  };

  struct Table {
    std::unique_ptr< U32[] > heads;
    U32 bucketCount = 0;
    U32 size = 0;
    NodePool< Node > nodes;
  };

  static constexpr U32 firstBucketCount = 8;
  static constexpr U32 membersPerBucket = 3;  // at the most, where no iterator delays growth

  U32 bucketOf( U32 hashed ) const { return hashed & ( table_.bucketCount - 1 ); }

  U32 findNode( const K & key ) const {
    if ( table_.size == 0 )
      return noNode;
    U32 node = table_.heads[ bucketOf( hash( key ) ) ];
    while ( node != noNode ) {
      const Node & member = table_.nodes[ node ];
      if ( member.key == key )
        break;
      node = member.next;
    }
    return node;
  }

  V * valueOrNull( U32 node ) { return node == noNode ? nullptr : &table_.nodes[ node ].value; }

  // Takes a member out of its bucket and returns its node, which the caller destroys; or noNode.
  U32 unlink( const K & key ) {
    if ( table_.size == 0 )
      return noNode;
    U32 * link = &table_.heads[ bucketOf( hash( key ) ) ];
    while ( *link != noNode && !( table_.nodes[ *link ].key == key ) )
      link = &table_.nodes[ *link ].next;
    const U32 node = *link;
    if ( node == noNode )
      return noNode;
    if ( !iters_.empty() )
      Iter::memberRemoved( iters_, node );
    *link = table_.nodes[ node ].next;
    --table_.size;
    return node;
  }

  // The node of a new member. While an iterator is under way the buckets do not grow.
  U32 insertNode( const K & key, V && value ) {
    const U32 room = table_.bucketCount * membersPerBucket;
    if ( table_.size >= room && ( iters_.empty() || room == 0 ) ) [[unlikely]]
      growFor( table_.size + 1 );
    const U32 node = table_.nodes.create( Node{ noNode, key, std::move( value ) } );
    table_.nodes[ node ].next = std::exchange( table_.heads[ bucketOf( hash( key ) ) ], node );
    ++table_.size;
    return node;
  }

  // So that `size` members, more than there is room for, have room.
  void growFor( U32 size ) {
    U32 count = table_.bucketCount == 0 ? firstBucketCount : table_.bucketCount;
    while ( count * membersPerBucket < size )
      count *= 2;
    std::unique_ptr< U32[] > heads( new U32[ count ] );
    std::fill_n( heads.get(), count, noNode );
    for ( U32 bucket = 0; bucket < table_.bucketCount; ++bucket ) {
      for ( U32 node = table_.heads[ bucket ]; node != noNode; ) {
        U32 & head = heads[ hash( table_.nodes[ node ].key ) & ( count - 1 ) ];
        U32 next = std::exchange( table_.nodes[ node ].next, head );
        head = std::exchange( node, next );
      }
    }
    table_.heads = std::move( heads );
    table_.bucketCount = count;
  }

  // The iterator's steps.
  U32 firstNode() const { return firstNodeFrom( 0 ); }
  U32 nextNode( U32 node ) const {
    const Node & current = table_.nodes[ node ];
    return current.next != noNode ? current.next
                                  : firstNodeFrom( bucketOf( hash( current.key ) ) + 1 );
  }
  U32 resumeNode( const K &, U32 following ) const { return following; }
  const K & nodeKey( U32 node ) const { return table_.nodes[ node ].key; }
  const V & nodeValue( U32 node ) const { return table_.nodes[ node ].value; }

  U32 firstNodeFrom( U32 bucket ) const {
    for ( ; bucket < table_.bucketCount; ++bucket )
      if ( table_.heads[ bucket ] != noNode )
        return table_.heads[ bucket ];
    return noNode;
  }

  Table table_;
  mutable MapIterList iters_;
};

}  // namespace Kiv
