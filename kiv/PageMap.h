// An ordered map of 32-bit keys that mostly lie close together, as ids do that are handed out from
// the lowest free one; iteration runs in ascending key order.
//
//   Kiv::PageMap< U32, Kiv::String8 > owners;
//   owners.insert( entry, "acl" );
//   for( auto i = owners.iter(); i; ++i ) { ... i.key(), i.value() ... }
//
// Invariants: members keep their address until they are removed. A member that is inserted during
// a walk is visited when its key is above the iterator's. The destructor of a value that is being
// removed may change, clear and destroy the map.
//
// Cost: pages have room for 32 neighbouring keys; find, insert and erase search the page among the
// sorted pages, unless it was the last one, and a walk takes constant time a member. Only the first
// key of a page allocates, where no page is free. A member of a full page takes a quarter of a byte
// beside its value. Memory is released by clear, not by erase.
//
// When not to use it: for keys that are far apart, each of which takes a page; use HashMap or
// RbTreeMap.
//
// Locks: none; even a search changes the map, see also kiv/MapIter.h.
#pragma once

#include <algorithm>
#include <bit>
#include <memory>
#include <new>
#include <optional>
#include <type_traits>
#include <utility>
#include <vector>

#include "kiv/Assert.h"
#include "kiv/MapIter.h"
#include "kiv/NodePool.h"
#include "kiv/Types.h"

namespace Kiv {

template < class K, class V >
class PageMap {
  static_assert( std::is_same_v< K, U32 > && std::is_nothrow_move_constructible_v< V > );

 public:
  using Key = K;
  using Mapped = V;
  using Iter = MapIter< PageMap >;

  PageMap() = default;
  PageMap( const PageMap & ) = delete;
  PageMap & operator=( const PageMap & ) = delete;
  ~PageMap() { clear(); }

  // The member, or null. Valid until the member is removed.
  V * find( K key ) {
    Page * const page = pageWith( key );
    return page ? &page->value( slotOf( key ) ) : nullptr;
  }
  const V * find( K key ) const { return const_cast< PageMap * >( this )->find( key ); }
  V * operator[]( K key ) { return find( key ); }
  const V * operator[]( K key ) const { return find( key ); }

  // Inserts unless the key is present: the member with this key, and whether it is new. The value
  // is moved from only if it is.
  std::pair< V *, bool > insert( K key, const V & value ) { return insert( key, V( value ) ); }
  std::pair< V *, bool > insert( K key, V && value ) {
    Page * page = pageOf( key );
    if ( !page )
      page = addPage( key / pageSize );
    V * const place = &page->value( slotOf( key ) );
    if ( page->has( slotOf( key ) ) )
      return { place, false };
    new ( place ) V( std::move( value ) );
    page->present |= bitOf( key );
    ++table_.size;
    return { place, true };
  }

  // Whether there was such a member.
  bool erase( K key ) {
    // Only a destructor can touch the map while its value is in the table.
    if constexpr ( std::is_trivially_destructible_v< V > ) {
      Page * const page = pageWith( key );
      if ( page )
        unlink( *page, key );
      return page != nullptr;
    } else {
      return take( key ).has_value();
    }
  }

  // Removes a member and returns its value, or nothing. The value is destroyed by the caller, so
  // that its destructor may change, clear or destroy the map.
  std::optional< V > take( K key ) {
    Page * const page = pageWith( key );
    if ( !page )
      return std::nullopt;
    std::optional< V > value( std::move( page->value( slotOf( key ) ) ) );
    std::destroy_at( &page->value( slotOf( key ) ) );
    unlink( *page, key );
    return value;
  }

  // Removes all members; iterators are at the end afterwards. The values are destroyed when the map
  // is empty already.
  void clear() {
    Iter::mapEnded( iters_ );
    const Table removed = std::exchange( table_, Table() );
    for ( const Place & place : removed.order )
      for ( Page & page = *removed.pages[ place.page ]; page.present != 0;
            page.present &= page.present - 1 )
        std::destroy_at( &page.value( static_cast< U32 >( std::countr_zero( page.present ) ) ) );
  }

  U32 size() const { return table_.size; }
  bool empty() const { return table_.size == 0; }
  bool isMemberOf( K key ) const { return find( key ) != nullptr; }
  // Starts at the lowest key, or at the end.
  Iter iter() const { return Iter( *this ); }

 private:
  friend class MapIter< PageMap >;

  using NodeRef = U32;
  static constexpr NodeRef noNodeRef() { return noNode; }
  template < class, class, U32, U32 >
  friend class FamilyMap;

  static constexpr U32 pageSize = 32;

  struct Page {
    U32 present = 0;  // a bit for each slot
    U32 number = 0;   // keys divided by pageSize; of a free page: the next free one
    U32 index = 0;    // in Table::pages
    // Raw bytes, so that free slots hold no values.
    alignas( V ) std::byte bytes[ pageSize * sizeof( V ) ];

    bool has( U32 slot ) const { return ( present >> slot & 1 ) != 0; }
    V & value( U32 slot ) {
      return *std::launder( reinterpret_cast< V * >( bytes + slot * sizeof( V ) ) );
    }
  };

  struct Place {
    U32 number;
    U32 page;
  };

  struct Table {
    std::vector< std::unique_ptr< Page > > pages;  // they stay where they are
    std::vector< Place > order;                    // of the pages with members, by number
    U32 freePages = noNode;                        // a list
    Page * last = nullptr;                         // that was found last, if it has members
    U32 size = 0;
  };

  static U32 slotOf( K key ) { return key % pageSize; }
  static U32 bitOf( K key ) { return 1u << slotOf( key ); }

  // The first place at or above the page.
  auto placeOf( U32 number ) const {
    return std::lower_bound(
        table_.order.begin(), table_.order.end(), number,
        []( const Place & place, U32 wanted ) { return place.number < wanted; } );
  }

  // The page of the key, which is then the last one; or null.
  Page * pageOf( K key ) {
    const U32 number = key / pageSize;
    if ( table_.last && table_.last->number == number )
      return table_.last;
    const auto place = placeOf( number );
    if ( place == table_.order.end() || place->number != number )
      return nullptr;
    return table_.last = table_.pages[ place->page ].get();
  }

  // The page of a member; null: there is no such member.
  Page * pageWith( K key ) {
    Page * const page = pageOf( key );
    return page && page->has( slotOf( key ) ) ? page : nullptr;
  }

  // Takes a member out whose value is moved away or trivial.
  void unlink( Page & page, K key ) {
    if ( !iters_.empty() )
      Iter::memberRemoved( iters_, page.index * pageSize + slotOf( key ) );
    page.present &= ~bitOf( key );
    --table_.size;
    if ( page.present == 0 )
      freePage( page );
  }

  // Throws std::bad_alloc, nothing changed then but for a free page more.
  [[gnu::noinline]] Page * addPage( U32 number ) {
    if ( table_.freePages == noNode ) {
      KIV_ASSERT( table_.pages.size() < noNode / pageSize );
      table_.pages.push_back( std::make_unique_for_overwrite< Page >() );
      Page & added = *table_.pages.back();
      added.index = static_cast< U32 >( table_.pages.size() - 1 );
      added.number = std::exchange( table_.freePages, added.index );
    }
    Page & page = *table_.pages[ table_.freePages ];
    table_.order.insert( placeOf( number ), { number, page.index } );
    table_.freePages = std::exchange( page.number, number );
    return table_.last = &page;
  }

  void freePage( Page & page ) {
    table_.order.erase( placeOf( page.number ) );
    page.number = std::exchange( table_.freePages, page.index );
    table_.last = nullptr;
  }

  // What FamilyMap and the iterator use. A node is a slot of a page.
  V & nodeValue( U32 node ) { return table_.pages[ node / pageSize ]->value( node % pageSize ); }
  const V & nodeValue( U32 node ) const {
    return table_.pages[ node / pageSize ]->value( node % pageSize );
  }
  K nodeKey( U32 node ) const {
    return table_.pages[ node / pageSize ]->number * pageSize + node % pageSize;
  }
  // Of the member that was searched last.
  U32 lastNode( K key ) const { return table_.last->index * pageSize + slotOf( key ); }

  U32 firstNode() const { return firstFrom( table_.order.begin() ); }
  U32 nextNode( U32 node ) const {
    const U32 page = node / pageSize;
    const U32 above = ~1u << node % pageSize;  // no bit for the last slot
    return ( table_.pages[ page ]->present & above ) != 0 ? lowestIn( page, above )
                                                          : firstAbove( nodeKey( node ) );
  }
  U32 resumeNode( K key, U32 ) const { return firstAbove( key ); }

  // The first member from the page of that place on.
  U32 firstFrom( typename std::vector< Place >::const_iterator place ) const {
    return place == table_.order.end() ? noNode : lowestIn( place->page, ~0u );
  }
  // There is one in the mask.
  U32 lowestIn( U32 page, U32 mask ) const {
    return page * pageSize +
           static_cast< U32 >( std::countr_zero( table_.pages[ page ]->present & mask ) );
  }
  U32 firstAbove( K key ) const {
    const auto place = placeOf( key / pageSize );
    if ( place == table_.order.end() || place->number != key / pageSize )
      return firstFrom( place );
    const U32 above = ~1u << slotOf( key );  // no bit for the last slot
    return ( table_.pages[ place->page ]->present & above ) != 0 ? lowestIn( place->page, above )
                                                                 : firstFrom( place + 1 );
  }

  Table table_;
  mutable MapIterList iters_;
};

}  // namespace Kiv
