// An ordered map: keys need <; iteration runs in ascending key order.
//
//   Kiv::RbTreeMap< U32, Kiv::String8 > owners;
//   owners.insert( entry, "acl" );
//   for( auto i = owners.iter(); i; ++i ) { ... i.key(), i.value() ... }
//
// Invariants: members keep their address until they are removed. A member that is inserted during
// a walk is visited when its key is above the iterator's. The destructor of a value that is being
// removed may change, clear and destroy the map.
//
// Cost: find, insert and erase take a number of steps that grows with the logarithm of the size; a
// whole walk takes constant time a member. Only insert allocates, when a chunk of nodes is full. A
// member takes 12 bytes beside its key and value. Memory is released by clear, not by erase.
//
// Locks: none; see kiv/MapIter.h.
#pragma once

#include <optional>
#include <utility>

#include "kiv/MapIter.h"
#include "kiv/NodePool.h"
#include "kiv/RbTree.h"
#include "kiv/Types.h"

namespace Kiv {

template < class K, class V >
class RbTreeMap {
 public:
  using Key = K;
  using Mapped = V;
  using Iter = MapIter< RbTreeMap >;

  RbTreeMap() = default;
  RbTreeMap( const RbTreeMap & ) = delete;
  RbTreeMap & operator=( const RbTreeMap & ) = delete;
  ~RbTreeMap() { clear(); }

  // The member, or null. Valid until the member is removed.
  V * find( const K & key ) { return valueOrNull( findNode( key ) ); }
  const V * find( const K & key ) const {
    return const_cast< RbTreeMap * >( this )->valueOrNull( findNode( key ) );
  }
  V * operator[]( const K & key ) { return find( key ); }
  const V * operator[]( const K & key ) const { return find( key ); }

  // Inserts unless the key is present: the member with this key, and whether it is new. The value
  // is moved from only if it is.
  std::pair< V *, bool > insert( const K & key, const V & value ) {
    return insert( key, V( value ) );
  }
  std::pair< V *, bool > insert( const K & key, V && value ) {
    // Down to a leaf without a branch on the comparison, which no processor could predict; the
    // last node that was not below the key is the only one that can have it.
    U32 parent = noNode;
    U32 side = rbLeft;
    U32 notBelow = noNode;
    for ( U32 node = table_.tree.root(); node != noNode; ) {
      const Node & current = table_.nodes[ node ];
      side = current.key < key ? rbRight : rbLeft;
      notBelow = side == rbLeft ? node : notBelow;
      parent = std::exchange( node, current.links.child[ side ] );
    }
    if ( notBelow != noNode && !( key < table_.nodes[ notBelow ].key ) )
      return { valueOrNull( notBelow ), false };
    U32 node = table_.nodes.create( Node{ {}, key, std::move( value ) } );
    table_.tree.insert( table_.nodes, node, parent, side );
    ++table_.size;
    return { valueOrNull( node ), true };
  }

  // Whether there was such a member.
  bool erase( const K & key ) { return take( key ).has_value(); }

  // Removes a member and returns its value, or nothing. The value is destroyed by the caller, so
  // that its destructor may change, clear or destroy the map.
  std::optional< V > take( const K & key ) {
    const U32 node = findNode( key );
    if ( node == noNode )
      return std::nullopt;
    if ( !iters_.empty() )
      Iter::memberRemoved( iters_, node );
    table_.tree.erase( table_.nodes, node );
    --table_.size;
    std::optional< V > value( std::move( table_.nodes[ node ].value ) );
    table_.nodes.destroy( node );
    return value;
  }

  // Removes all members; iterators are at the end afterwards.
  void clear() {
    Iter::mapEnded( iters_ );
    Table removed = std::exchange( table_, Table() );
    U32 node = removed.tree.outermost( removed.nodes, removed.tree.root(), rbLeft );
    while ( node != noNode )
      node = destroyAndDescend( removed, node );
  }

  U32 size() const { return table_.size; }
  bool empty() const { return table_.size == 0; }
  bool isMemberOf( const K & key ) const { return findNode( key ) != noNode; }
  // Starts at the lowest key, or at the end.
  Iter iter() const { return Iter( *this ); }

 private:
  friend class MapIter< RbTreeMap >;

  struct Node {
    RbLinks links;
    K key;
    V value;
  };

  struct Table {
    NodePool< Node > nodes;
    RbTree< NodePool< Node > > tree;
    U32 size = 0;
  };

  V * valueOrNull( U32 node ) { return node == noNode ? nullptr : &table_.nodes[ node ].value; }

  U32 findNode( const K & key ) const {
    U32 notBelow = noNode;
    for ( U32 node = table_.tree.root(); node != noNode; ) {
      const Node & current = table_.nodes[ node ];
      const U32 side = current.key < key ? rbRight : rbLeft;
      notBelow = side == rbLeft ? node : notBelow;
      node = current.links.child[ side ];
    }
    return notBelow != noNode && !( key < table_.nodes[ notBelow ].key ) ? notBelow : noNode;
  }

  // The first node with a key above this one.
  U32 nodeAbove( const K & key ) const {
    U32 above = noNode;
    for ( U32 node = table_.tree.root(); node != noNode; ) {
      const Node & current = table_.nodes[ node ];
      bool right = !( key < current.key );
      if ( !right )
        above = node;
      node = current.links.child[ right ? rbRight : rbLeft ];
    }
    return above;
  }

  // Destroys a node without a left child and cuts it off; returns the next node to destroy.
  static U32 destroyAndDescend( Table & table, U32 node ) {
    RbLinks links = table.nodes[ node ].links;
    U32 right = links.child[ rbRight ];
    if ( right != noNode ) {
      table.nodes[ node ].links.child[ rbRight ] = noNode;
      return table.tree.outermost( table.nodes, right, rbLeft );
    }
    if ( links.parent != noNode ) {
      RbLinks & above = table.nodes[ links.parent ].links;
      above.child[ above.child[ rbLeft ] == node ? rbLeft : rbRight ] = noNode;
    }
    table.nodes.destroy( node );
    return links.parent;
  }

  // The iterator's steps.
  U32 firstNode() const {
    return table_.tree.outermost( table_.nodes, table_.tree.root(), rbLeft );
  }
  U32 nextNode( U32 node ) const { return table_.tree.successor( table_.nodes, node ); }
  U32 resumeNode( const K & key, U32 ) const { return nodeAbove( key ); }
  const K & nodeKey( U32 node ) const { return table_.nodes[ node ].key; }
  const V & nodeValue( U32 node ) const { return table_.nodes[ node ].value; }

  Table table_;
  mutable MapIterList iters_;
};

}  // namespace Kiv
