// Both maps against a naive model, their iterators under change, and what they cost.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <map>
#include <new>
#include <random>
#include <set>
#include <vector>

#include "kiv/FamilyMap.h"
#include "kiv/HashMap.h"
#include "kiv/Ptr.h"
#include "kiv/RbTree.h"
#include "kiv/RbTreeMap.h"
#include "kiv/String8.h"

namespace {

std::atomic< std::size_t > heapCalls = 0;
std::atomic< std::size_t > heapBytes = 0;

}  // namespace

// Not inlined: the compiler would see free() meet a block of operator new.
[[gnu::noinline]] void * operator new( std::size_t size ) {
  ++heapCalls;
  heapBytes += size;
  if ( void * block = std::malloc( size ) ) {
    return block;
  }
  throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete( void * block ) noexcept {
  std::free( block );
}
[[gnu::noinline]] void operator delete( void * block, std::size_t ) noexcept {
  std::free( block );
}

namespace {

using Kiv::String8;
using Kiv::U32;

// The keys that the rest of a walk meets, in its order.
template < class Iterator >
std::vector< U32 > keysFrom( Iterator i ) {
  std::vector< U32 > met;
  for ( ; i; ++i ) {
    met.push_back( i.key() );
  }
  return met;
}

template < class M >
class MapTest : public testing::Test {};

using Maps = testing::Types< Kiv::HashMap< U32, String8 >, Kiv::RbTreeMap< U32, String8 >,
                             Kiv::FamilyMap< U32, String8 > >;
TYPED_TEST_SUITE( MapTest, Maps );

TYPED_TEST( MapTest, RandomOperationsAgreeWithAModel ) {
  std::mt19937 random( 7 );
  TypeParam map;
  std::map< U32, std::pair< String8, const String8 * > > model;  // value and address
  for ( int step = 0; step < 60000; ++step ) {
    // Waves of growth and shrinkage, over ids as the managers make them.
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

TYPED_TEST( MapTest, AWalkSurvivesTheRemovalOfAnySubset ) {
  // At each member of the walk each other member, or itself, goes: never twice, never one that
  // went, and all that stayed.
  constexpr U32 count = 9;
  for ( U32 at = 0; at < count; ++at ) {
    for ( U32 removed = 0; removed < 1u << count; removed += 1 + removed % 3 ) {
      TypeParam map;
      for ( U32 key = 0; key < count; ++key ) {
        map.insert( key, "x" );
      }
      std::set< U32 > met;
      std::set< U32 > before;
      for ( auto i = map.iter(); i; ++i ) {
        ASSERT_TRUE( met.insert( i.key() ).second );
        if ( met.size() == at + 1 ) {
          before = met;
          U32 own = i.key();
          for ( U32 key = 0; key < count; ++key ) {
            if ( removed >> key & 1 ) {
              map.erase( key );
            }
          }
          ASSERT_TRUE( i && i.key() == own );
        } else if ( met.size() > at + 1 ) {
          ASSERT_FALSE( removed >> i.key() & 1 );
        }
      }
      for ( U32 key = 0; key < count; ++key ) {
        ASSERT_EQ( met.count( key ) == 1, !( removed >> key & 1 ) || before.count( key ) == 1 );
      }
    }
  }
}

TYPED_TEST( MapTest, CopiesOfAnIteratorAreTrackedToo ) {
  TypeParam map;
  for ( U32 key = 0; key < 3; ++key ) {
    map.insert( key, "x" );
  }
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
  EXPECT_DEATH( two.value(), "removed_" );
}

TYPED_TEST( MapTest, IteratorsEndWithTheirMap ) {
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
  EXPECT_EQ( orphan.key(), 2u );
  EXPECT_FALSE( orphan.isMemberOf( 2 ) );
}

TYPED_TEST( MapTest, InsertingDuringAWalkLosesNoMember ) {
  TypeParam map;
  for ( U32 key = 0; key < 8; ++key ) {
    map.insert( key * 1000, "old" );
  }
  std::set< U32 > old;
  U32 next = 1;
  for ( auto i = map.iter(); i; ++i ) {
    if ( i.value() == "old" ) {
      EXPECT_TRUE( old.insert( i.key() ).second );
      for ( int n = 0; n < 50; ++n, next += 2 ) {
        map.insert( next, "new" );
      }
    }
  }
  EXPECT_EQ( old.size(), 8u );
  EXPECT_EQ( map.size(), 8 + 400u );
}

TEST( RbTreeMapTest, WalksInKeyOrderAlsoPastARemovedMember ) {
  Kiv::RbTreeMap< U32, int > map;
  for ( U32 key : { 50, 10, 30, 20, 40 } ) {
    map.insert( key, 0 );
  }
  auto i = map.iter();
  ++i;
  map.erase( 20 );
  map.erase( 30 );
  map.insert( 25, 0 );  // above the iterator: not missed
  map.insert( 15, 0 );
  EXPECT_EQ( keysFrom( ++i ), ( std::vector< U32 >{ 25, 40, 50 } ) );
}

// A value whose end calls back into the map that held it.
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
  EchoMap & map;
  U32 key;
};

template < template < class, class > class Map >
void removeEchoes() {
  typename Echo< Map >::EchoMap map;
  for ( U32 key = 0; key < 20; ++key ) {
    map.insert( key, Kiv::make< Echo< Map > >( map, key ) );
  }
  map.erase( 0 );  // each removes the next one
  EXPECT_EQ( map.size(), 20u );
  EXPECT_TRUE( map.isMemberOf( 119 ) );
  map.clear();
  EXPECT_TRUE( map.empty() );
}

TEST( MapReentryTest, AValuesEndMayChangeItsMap ) {
  removeEchoes< Kiv::HashMap >();
  removeEchoes< Kiv::RbTreeMap >();
  removeEchoes< Kiv::FamilyMap >();
}

// Heap bytes per member after that many insertions; nothing but insert may allocate.
template < class Map, class V >
double bytesPerMember( U32 members, const V & value ) {
  std::size_t before = heapBytes;
  Map map;
  EXPECT_EQ( heapBytes, before );
  for ( U32 key = 0; key < members; ++key ) {
    map.insert( key, value );
  }
  auto taken = static_cast< double >( heapBytes - before );
  std::size_t calls = heapCalls;
  for ( U32 key = 0; key < members; ++key ) {
    map.erase( key );
    map.find( key + 1 );
  }
  for ( U32 key = 0; key < members; ++key ) {
    map.insert( key + members, value );  // in the freed slots
  }
  EXPECT_EQ( heapCalls, calls );
  return taken / members;
}

TEST( MapCostTest, BytesPerMemberAndAllocations ) {
  // All arrays that growth went through are counted, old ones too: less than twice what stays.
  using Hash = Kiv::HashMap< U32, U32 >;
  using Tree = Kiv::RbTreeMap< U32, String8 >;
  EXPECT_LE( ( bytesPerMember< Hash >( 1u << 17, 1u ) ), 12 + 8 + 0.5 );
  EXPECT_LE( ( bytesPerMember< Hash >( 100000, 1u ) ), 12 + 2 * 8 * 1.32 + 0.5 );
  EXPECT_LE( ( bytesPerMember< Tree >( 100000, String8( "x" ) ) ), 16 + 2 * sizeof( void * ) );
  EXPECT_LE( ( bytesPerMember< Hash >( 8, 1u ) ), 12 + 4 + 2 );
  EXPECT_LE( ( bytesPerMember< Kiv::FamilyMap< U32, U32 > >( 100000, 1u ) ),
             44 + 2 * 8 * 1.32 + 0.5 );
}

// The tree's shape alone, over a pool where node n has key n.
struct Shape {
  struct Node {
    Kiv::RbLinks links;
  };
  std::vector< Node > pool = std::vector< Node >( 300 );
  Kiv::RbTree< std::vector< Node > > tree;

  void insert( U32 key ) {
    U32 parent = Kiv::noNode;
    U32 side = Kiv::rbLeft;
    for ( U32 node = tree.root(); node != Kiv::noNode; node = pool[ parent ].links.child[ side ] ) {
      parent = node;
      side = key > node ? Kiv::rbRight : Kiv::rbLeft;
    }
    pool[ key ].links = Kiv::RbLinks();
    tree.insert( pool, key, parent, side );
  }

  // Black nodes from here down; checks colours, parents and order on the way.
  int blackHeight( U32 node, U32 parent, U32 low, U32 high ) const {
    if ( node == Kiv::noNode ) {
      return 0;
    }
    const Kiv::RbLinks & links = pool[ node ].links;
    EXPECT_TRUE( links.parent == parent && low <= node && node < high );
    EXPECT_FALSE( links.red && ( parent == Kiv::noNode || pool[ parent ].links.red ) );
    int left = blackHeight( links.child[ Kiv::rbLeft ], node, low, node );
    EXPECT_EQ( left, blackHeight( links.child[ Kiv::rbRight ], node, node + 1, high ) );
    return left + !links.red;
  }
};

TEST( RbTreeTest, KeepsItsInvariantsAfterEveryOperation ) {
  std::mt19937 random( 3 );
  Shape shape;
  std::set< U32 > present;
  for ( int step = 0; step < 4000 && !testing::Test::HasFailure(); ++step ) {
    U32 key = random() % 300;
    if ( present.insert( key ).second ) {
      shape.insert( key );
    } else if ( step / 400 % 2 || random() % 2 ) {
      shape.tree.erase( shape.pool, key );
      present.erase( key );
    }
    shape.blackHeight( shape.tree.root(), Kiv::noNode, 0, 300 );
  }
}

}  // namespace
