// All maps against a naive model, and their iterators during changes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <vector>

#include "kiv/Exception.h"
#include "kiv/FamilyMap.h"
#include "kiv/HashMap.h"
#include "kiv/PageMap.h"
#include "kiv/Ptr.h"
#include "kiv/RbTreeMap.h"
#include "kiv/String8.h"

namespace {

using Kiv::String8;
using Kiv::U32;

template < class K, class V >
using CopyMap = Kiv::FamilyMap< K, V, 24, 3 >;

// The keys that the rest of the walk visits, in order.
template < class Iterator >
std::vector< U32 > keysFrom( Iterator i ) {
  std::vector< U32 > met;
  for ( ; i; ++i )
    met.push_back( i.key() );
  return met;
}

template < class M >
class MapTest : public testing::Test {};

using Maps = testing::Types< Kiv::HashMap< U32, String8 >, Kiv::RbTreeMap< U32, String8 >,
                             Kiv::PageMap< U32, String8 >, CopyMap< U32, String8 >,
                             Kiv::FamilyMap< U32, String8, 1, 2 > >;
TYPED_TEST_SUITE( MapTest, Maps );

TYPED_TEST( MapTest, RandomOperationsMatchTheModel ) {
  std::mt19937 random( 7 );
  TypeParam map;
  std::map< U32, std::pair< String8, const String8 * > > model;  // value and address
  for ( int step = 0; step < 60000; ++step ) {
    // Waves of growth and shrinkage, over ids like the managers'.
    U32 key = random() % 700 | ( random() % 4 ) << 24;
    if ( random() % 10 < ( step / 3000 % 2 == 0 ? 7u : 3u ) ) {
      String8 value( std::to_string( step ) );
      auto [ member, inserted ] = map.insert( key, value );
      auto expected = model.emplace( key, std::pair( value, member ) );
      ASSERT_EQ( inserted, expected.second ) << "step " << step;
    } else {
      ASSERT_EQ( map.erase( key ), model.erase( key ) == 1 ) << "step " << step;
    }
    ASSERT_EQ( map.size(), model.size() );
    if ( step % 500 == 0 ) {
      std::set< U32 > walked;
      for ( auto i = map.iter(); i; ++i ) {
        ASSERT_TRUE( walked.insert( i.key() ).second );
        ASSERT_EQ( i.value(), model.at( i.key() ).first ) << "step " << step;
        ASSERT_EQ( map.find( i.key() ), model.at( i.key() ).second ) << "a member moved";
      }
      ASSERT_EQ( walked.size(), model.size() ) << "step " << step;
    }
  }
  map.clear();
  EXPECT_TRUE( map.empty() );
  EXPECT_EQ( map[ model.begin()->first ], nullptr );
}

TYPED_TEST( MapTest, WalkSurvivesRemovalOfAnySubset ) {
  // At each member of the walk, each member is removed in turn: the walk visits no member twice, no
  // removed one, and all others.
  constexpr U32 count = 9;
  for ( U32 at = 0; at < count; ++at ) {
    for ( U32 removed = 0; removed < 1u << count; removed += 1 + removed % 3 ) {
      TypeParam map;
      for ( U32 key = 0; key < count; ++key )
        map.insert( key, "x" );
      std::set< U32 > met, before;
      for ( auto i = map.iter(); i; ++i ) {
        ASSERT_TRUE( met.insert( i.key() ).second );
        if ( met.size() == at + 1 ) {
          before = met;
          U32 own = i.key();
          for ( U32 key = 0; key < count; ++key )
            if ( removed >> key & 1 )
              map.erase( key );
          ASSERT_TRUE( i && i.key() == own );
        } else if ( met.size() > at + 1 ) {
          ASSERT_FALSE( removed >> i.key() & 1 );
        }
      }
      for ( U32 key = 0; key < count; ++key )
        ASSERT_EQ( met.count( key ) == 1, !( removed >> key & 1 ) || before.count( key ) == 1 );
    }
  }
}

TYPED_TEST( MapTest, CopiedIteratorsAreTracked ) {
  TypeParam map;
  for ( U32 key = 0; key < 3; ++key )
    map.insert( key, "x" );
  auto walk = keysFrom( map.iter() );
  auto one = map.iter();
  auto two = one;
  ++two;
  map.erase( walk[ 1 ] );
  EXPECT_EQ( one.value(), "x" );
  EXPECT_EQ( two.key(), walk[ 1 ] );
  one = two;
  ++one;
  EXPECT_EQ( one.key(), walk[ 2 ] );
  EXPECT_THAT( [ & ] { two.value(); },
               testing::ThrowsMessage< Kiv::RangeException >( "out-of-range collection access" ) );
  ++one;
  EXPECT_FALSE( one );
  EXPECT_THROW( one.key(), Kiv::RangeException );
  EXPECT_THROW( one.value(), Kiv::RangeException );
}

TYPED_TEST( MapTest, IteratorsEndWhenTheMapIsDestroyed ) {
  auto map = std::make_unique< TypeParam >();
  map->insert( 1, "x" );
  auto cleared = map->iter();
  map->clear();
  EXPECT_FALSE( cleared );
  map->insert( 2, "x" );
  auto orphan = map->iter();
  auto second = orphan;
  map->erase( 2 );
  map.reset();
  EXPECT_FALSE( orphan );
  ++orphan;
  EXPECT_FALSE( ++second );
  // One that moves on to a map that has ended leaves the other iterators of its own.
  TypeParam other;
  other.insert( 1, "x" );
  auto kept = other.iter();
  {
    auto moved = other.iter();
    moved = orphan;
  }
  other.erase( 1 );
  EXPECT_THROW( kept.value(), Kiv::RangeException );
  EXPECT_THROW( orphan.key(), Kiv::RangeException );
  EXPECT_FALSE( orphan.isMemberOf( 2 ) );
}

TYPED_TEST( MapTest, InsertionDuringAWalkSkipsNoMember ) {
  TypeParam map;
  for ( U32 key = 0; key < 8; ++key )
    map.insert( key * 1000, "old" );
  std::set< U32 > old;
  U32 next = 1;
  for ( auto i = map.iter(); i; ++i ) {
    if ( i.value() == "old" ) {
      EXPECT_TRUE( old.insert( i.key() ).second );
      for ( int n = 0; n < 50; ++n, next += 2 )
        map.insert( next, "new" );
    }
  }
  EXPECT_EQ( old.size(), 8u );
  EXPECT_EQ( map.size(), 8 + 400u );
}

template < class M >
class OrderedMapTest : public testing::Test {};

using OrderedMaps = testing::Types< Kiv::RbTreeMap< U32, int >, Kiv::PageMap< U32, int > >;
TYPED_TEST_SUITE( OrderedMapTest, OrderedMaps );

TYPED_TEST( OrderedMapTest, WalksInKeyOrderAcrossRemovals ) {
  TypeParam map;
  for ( U32 key : { 50, 10, 30, 20, 40 } )
    map.insert( key, 0 );
  auto i = map.iter();
  ++i;
  map.erase( 20 );
  map.erase( 30 );
  map.insert( 25, 0 );  // above the iterator: visited
  map.insert( 15, 0 );
  EXPECT_EQ( keysFrom( ++i ), ( std::vector< U32 >{ 25, 40, 50 } ) );
  // Neighbours that no page holds together, and the last key of all.
  for ( U32 key : { 0xffffffffu, 63u, 64u, 32u, 31u, 0x80000000u } )
    map.insert( key, 0 );
  EXPECT_EQ( keysFrom( map.iter() ),
             ( std::vector< U32 >{ 10, 15, 25, 31, 32, 40, 50, 63, 64, 0x80000000, 0xffffffff } ) );
}

// A value whose destructor changes the map that held it.
template < template < class, class > class Map >
struct Echo : Kiv::PtrInterface {
  using EchoMap = Map< U32, Kiv::Ptr< Echo > >;
  Echo( EchoMap & owner, U32 id ) : map( owner ), key( id ) {}
  ~Echo() override {
    EXPECT_FALSE( map.isMemberOf( key ) );
    if ( key < 100 ) {
      map.erase( key + 1 );
      map.insert( key + 100, Kiv::make< Echo >( map, key + 100 ) );
    }
  }
  static void removeAll() {
    EchoMap map;
    for ( U32 key = 0; key < 20; ++key )
      map.insert( key, Kiv::make< Echo >( map, key ) );
    map.erase( 0 );  // each destructor removes the next one
    EXPECT_EQ( map.size(), 20u );
    EXPECT_TRUE( map.isMemberOf( 119 ) );
    map.clear();
    EXPECT_TRUE( map.empty() );
  }
  EchoMap & map;
  U32 key;
};

// A value whose destructor clears or destroys the map that held it.
struct Ender : Kiv::PtrInterface {
  explicit Ender( const std::function< void() > & function ) : end( function ) {}
  ~Ender() override { end(); }
  template < template < class, class > class Map >
  static void endMap( bool destroys ) {
    auto map = std::make_unique< Map< U32, Kiv::Ptr< Ender > > >();
    int ends = 0;
    const auto end = [ & ] {
      ++ends;
      if ( destroys )
        map.reset();
      else
        map->clear();
    };
    for ( U32 key = 0; key < 20; ++key )
      map->insert( key, Kiv::make< Ender >( end ) );
    auto walk = map->iter();
    EXPECT_TRUE( map->erase( 7 ) );
    EXPECT_FALSE( walk );
    EXPECT_EQ( ends, 20 );
    EXPECT_TRUE( destroys || map->empty() );
  }
  std::function< void() > end;
};

TEST( MapReentryTest, ValueDestructorMayChangeOrDestroyTheMap ) {
  Echo< Kiv::HashMap >::removeAll();
  Echo< Kiv::RbTreeMap >::removeAll();
  Echo< Kiv::PageMap >::removeAll();
  Echo< CopyMap >::removeAll();
  for ( bool destroys : { false, true } ) {
    Ender::endMap< Kiv::HashMap >( destroys );
    Ender::endMap< Kiv::RbTreeMap >( destroys );
    Ender::endMap< Kiv::PageMap >( destroys );
    Ender::endMap< CopyMap >( destroys );
  }
}

}  // namespace
