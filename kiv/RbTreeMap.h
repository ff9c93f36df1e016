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
// whole walk takes constant time a member. Each member is a heap allocation of its own, as in the
// std::map that holds them.
//
// Locks: none; see kiv/MapIter.h.
#pragma once

#include <map>
#include <optional>
#include <utility>

#include "kiv/MapIter.h"
#include "kiv/Types.h"

namespace Kiv {

template < class K, class V >
class RbTreeMap {
  using Tree = std::map< K, V >;

 public:
  using Key = K;
  using Mapped = V;
  using Iter = MapIter< RbTreeMap >;

  RbTreeMap() = default;
  RbTreeMap( const RbTreeMap & ) = delete;
  RbTreeMap & operator=( const RbTreeMap & ) = delete;
  ~RbTreeMap() { clear(); }

  // The member, or null. Valid until the member is removed.
  V * find( const K & key ) {
    const auto at = tree_.find( key );
    return at == tree_.end() ? nullptr : &at->second;
  }
  const V * find( const K & key ) const { return const_cast< RbTreeMap * >( this )->find( key ); }
  V * operator[]( const K & key ) { return find( key ); }
  const V * operator[]( const K & key ) const { return find( key ); }

  // Inserts unless the key is present: the member with this key, and whether it is new. The value
  // is moved from only if it is.
  std::pair< V *, bool > insert( const K & key, const V & value ) {
    return insert( key, V( value ) );
  }
  std::pair< V *, bool > insert( const K & key, V && value ) {
    const auto [ at, added ] = tree_.try_emplace( key, std::move( value ) );
    return { &at->second, added };
  }

  // Whether there was such a member.
  bool erase( const K & key ) { return take( key ).has_value(); }

  // Removes a member and returns its value, or nothing. The value is destroyed by the caller, so
  // that its destructor may change, clear or destroy the map.
  std::optional< V > take( const K & key ) {
    const auto at = tree_.find( key );
    if ( at == tree_.end() )
      return std::nullopt;
    if ( !iters_.empty() )
      Iter::memberRemoved( iters_, NodeRef( at ) );
    return std::move( tree_.extract( at ).mapped() );
  }

  // Removes all members; iterators are at the end afterwards.
  void clear() {
    Iter::mapEnded( iters_ );
    const Tree removed = std::exchange( tree_, Tree() );
  }

  U32 size() const { return static_cast< U32 >( tree_.size() ); }
  bool empty() const { return tree_.empty(); }
  bool isMemberOf( const K & key ) const { return tree_.contains( key ); }
  // Starts at the lowest key, or at the end.
  Iter iter() const { return Iter( *this ); }

 private:
  friend class MapIter< RbTreeMap >;

  using NodeRef = std::optional< typename Tree::const_iterator >;  // none: no member
  static NodeRef noNodeRef() { return std::nullopt; }

  NodeRef refOf( typename Tree::const_iterator at ) const {
    return at == tree_.end() ? noNodeRef() : NodeRef( at );
  }

  // The iterator's steps.
  NodeRef firstNode() const { return refOf( tree_.begin() ); }
  NodeRef nextNode( const NodeRef & at ) const { return refOf( std::next( *at ) ); }
  NodeRef resumeNode( const K & key, const NodeRef & ) const {
    return refOf( tree_.upper_bound( key ) );
  }
  const K & nodeKey( const NodeRef & at ) const { return ( *at )->first; }
  const V & nodeValue( const NodeRef & at ) const { return ( *at )->second; }

  Tree tree_;
  mutable MapIterList iters_;
};

}  // namespace Kiv
