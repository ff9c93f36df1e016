// A map of 32-bit ids that come in families: ids that differ only in bitCount bits from firstBit on
// (the copies of one object) lie side by side. A walk visits one family after the other.
//
//   template < class K, class V >
//   using CopyMap = Kiv::FamilyMap< K, V, 24, 3 >;     // a Map for Kiv::Values
//   CopyMap< U32, U32 > counterId;
//   counterId.insert( 1 << 24 | object, 7 );           // copy 1 of the object
//   if( U32 * id = counterId[ object ] ) { ... }        // copy 0; null when absent
//
// Invariants: as for PageMap: members keep their address until they are removed, and the destructor
// of a value that is being removed may change, clear and destroy the map.
//
// Cost: as for PageMap, with families in place of keys. A FamilyMap< U32, U32, 24, 3 > takes 36
// bytes a family, whatever the number of its members. V has a cheap default value, which fills the
// places that are free.
//
// When not to use it: for keys of which most are alone in their family; use PageMap or HashMap.
//
// Locks: none; even a search changes the map, see also kiv/MapIter.h.
#pragma once

#include <bit>
#include <optional>
#include <type_traits>
#include <utility>

#include "kiv/MapIter.h"
#include "kiv/NodePool.h"
#include "kiv/PageMap.h"
#include "kiv/Types.h"

namespace Kiv {

template < class K, class V, U32 firstBit, U32 bitCount >
class FamilyMap {
  static_assert( std::is_same_v< K, U32 > && firstBit + bitCount <= 32 );
  static_assert( bitCount >= 1 && bitCount <= 3, "a family has at most 8 places" );

 public:
  using Key = K;
  using Mapped = V;
  using Iter = MapIter< FamilyMap >;

  FamilyMap() = default;
  FamilyMap( const FamilyMap & ) = delete;
  FamilyMap & operator=( const FamilyMap & ) = delete;
  ~FamilyMap() { clear(); }

  // The member, or null. Valid until the member is removed.
  V * find( const K & key ) {
    Family * const family = familyWith( key );
    return family ? &family->values[ placeOf( key ) ] : nullptr;
  }
  const V * find( const K & key ) const { return const_cast< FamilyMap * >( this )->find( key ); }
  V * operator[]( const K & key ) { return find( key ); }
  const V * operator[]( const K & key ) const { return find( key ); }

  // Inserts unless the key is present: the member with this key, and whether it is new. The value
  // is moved from only if it is.
  std::pair< V *, bool > insert( const K & key, const V & value ) {
    return insert( key, V( value ) );
  }
  std::pair< V *, bool > insert( const K & key, V && value ) {
    Family * family = familyOf( key );
    if ( !family )
      family = families_.insert( keyOf( key ), Family() ).first;
    V & place = family->values[ placeOf( key ) ];
    if ( family->has( placeOf( key ) ) )
      return { &place, false };
    family->present |= bitOf( key );
    place = std::move( value );
    ++size_;
    return { &place, true };
  }

  // Whether there was such a member.
  bool erase( const K & key ) {
    // Only a destructor can touch the map while its value is in the table.
    if constexpr ( std::is_trivially_destructible_v< V > ) {
      Family * const family = familyWith( key );
      if ( family )
        unlink( *family, key );
      return family != nullptr;
    } else {
      return take( key ).has_value();
    }
  }

  // Removes a member and returns its value, or nothing. The value is destroyed by the caller, so
  // that its destructor may change, clear or destroy the map.
  std::optional< V > take( const K & key ) {
    Family * const family = familyWith( key );
    if ( !family )
      return std::nullopt;
    std::optional< V > value( std::exchange( family->values[ placeOf( key ) ], V() ) );
    unlink( *family, key );
    return value;
  }

  // Removes all members; iterators are at the end afterwards.
  void clear() {
    Iter::mapEnded( iters_ );
    size_ = 0;
    families_.clear();
  }

  U32 size() const { return size_; }
  bool empty() const { return size_ == 0; }
  bool isMemberOf( const K & key ) const { return find( key ) != nullptr; }
  // Starts at the first member, or at the end.
  Iter iter() const { return Iter( *this ); }

 private:
  friend class MapIter< FamilyMap >;

  using NodeRef = U32;
  static constexpr NodeRef noNodeRef() { return noNode; }

  static constexpr U32 places = 1u << bitCount;

  struct Family {
    V values[ places ] = {};
    U8 present = 0;  // a bit for each place

    bool has( U32 place ) const { return ( present >> place & 1 ) != 0; }
  };

  static U32 placeOf( U32 key ) { return key >> firstBit & ( places - 1 ); }
  static U8 bitOf( U32 key ) { return static_cast< U8 >( 1u << placeOf( key ) ); }
  // The key of the family: that of its first place.
  static U32 keyOf( U32 key ) { return key & ~( ( places - 1 ) << firstBit ); }

  Family * familyOf( U32 key ) { return families_.find( keyOf( key ) ); }
  // That of a member; null: there is no such member.
  Family * familyWith( U32 key ) {
    Family * const family = familyOf( key );
    return family && family->has( placeOf( key ) ) ? family : nullptr;
  }

  // Takes a member out whose value is moved away or trivial. Its family was searched last.
  void unlink( Family & family, U32 key ) {
    if ( !iters_.empty() )
      Iter::memberRemoved( iters_, families_.lastNode( keyOf( key ) ) * places + placeOf( key ) );
    family.present &= static_cast< U8 >( ~bitOf( key ) );
    --size_;
    if ( family.present == 0 )
      families_.erase( keyOf( key ) );
  }

  const Family & familyAt( U32 node ) const { return families_.nodeValue( node ); }

  // The iterator's steps; it counts places.
  U32 firstNode() const { return firstIn( families_.firstNode(), 0 ); }
  U32 nextNode( U32 at ) const { return firstIn( at / places, at % places + 1 ); }
  U32 resumeNode( const K &, U32 following ) const { return following; }
  K nodeKey( U32 at ) const { return families_.nodeKey( at / places ) | at % places << firstBit; }
  const V & nodeValue( U32 at ) const { return familyAt( at / places ).values[ at % places ]; }

  // The first member from that place of that family on.
  U32 firstIn( U32 node, U32 place ) const {
    for ( ; node != noNode; node = families_.nextNode( node ), place = 0 )
      if ( const U32 left = static_cast< U32 >( familyAt( node ).present ) >> place; left != 0 )
        return node * places + place + static_cast< U32 >( std::countr_zero( left ) );
    return noNode;
  }

  PageMap< U32, Family > families_;
  U32 size_ = 0;
  mutable MapIterList iters_;
};

}  // namespace Kiv
