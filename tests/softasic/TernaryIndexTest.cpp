// The index alone: few distinct keys and many, growth and decay, against a linear search.
#include "softasic/TernaryIndex.h"

#include <gtest/gtest.h>

#include <array>
#include <random>
#include <vector>

namespace SoftAsic {
namespace {

constexpr U32 words = 3;

struct Item : IndexItem {
  std::array< U64, 2 * words > bits = {};
  bool in = false;
};

class TernaryIndexTest : public testing::TestWithParam< U32 > {
 protected:
  // Masks and values per word; 1 makes all items equal.
  U32 variety() const { return GetParam(); }

  void fill( Item & item, U64 rank ) {
    item.rank = rank;
    for ( U32 i = 0; i < words; ++i ) {
      const U64 mask = random() % variety();
      item.bits[ words + i ] = mask * 0x0101010101010101U;
      item.bits[ i ] = ( random() % variety() ) * 0x0101010101010101U;
    }
    item.key = item.bits.data();
  }
  const IndexItem * linear( const U64 * key ) const {
    const Item * best = nullptr;
    for ( const Item & item : items ) {
      bool match = item.in && ( best == nullptr || item.rank < best->rank );
      for ( U32 i = 0; match && i < words; ++i )
        match = ( ( key[ i ] ^ item.bits[ i ] ) & item.bits[ words + i ] ) == 0;
      if ( match )
        best = &item;
    }
    return best;
  }
  void check() {
    std::array< U64, words > key;
    for ( U64 & word : key )
      word = ( random() % variety() ) * 0x0101010101010101U;
    ASSERT_EQ( index.lookup( key.data() ), linear( key.data() ) );
  }

  TernaryIndex index{ words };
  std::mt19937 random{ 7 };
  std::vector< Item > items{ 600 };
};

TEST_P( TernaryIndexTest, AgreesWithLinearSearchWhileItGrowsAndShrinks ) {
  U64 rank = 0;
  U32 inside = 0;
  for ( const U32 target : { 600U, 30U, 400U, 5U, 17U, 0U, 64U, 0U } )
    while ( inside != target && !HasFatalFailure() ) {
      Item & item = items[ random() % items.size() ];
      const bool grow = target > inside;
      if ( item.in == grow )
        continue;
      if ( grow ) {
        // Ranks above, below and among the others.
        fill( item, U64{ random() % 1000 } << 32 | ++rank );
        index.insert( item );
      } else {
        index.remove( item );
      }
      item.in = grow;
      inside += grow ? 1U : ~0U;
      ASSERT_EQ( index.size(), inside );
      for ( int i = 0; i < 3; ++i )
        check();
    }
}

INSTANTIATE_TEST_SUITE_P( Variety, TernaryIndexTest, testing::Values( 1, 2, 5, 200 ) );

TEST( TernaryIndex, EqualItemsAndRulesWithoutWords ) {
  TernaryIndex index( 0 );
  std::vector< IndexItem > items( 100 );
  EXPECT_EQ( index.lookup( nullptr ), nullptr );
  for ( U32 i = 0; i < items.size(); ++i ) {
    items[ i ].rank = 100 - i;
    items[ i ].key = &items[ i ].rank;  // never read
    index.insert( items[ i ] );
  }
  EXPECT_EQ( index.lookup( nullptr ), &items[ 99 ] );
  index.remove( items[ 99 ] );
  EXPECT_EQ( index.lookup( nullptr ), &items[ 98 ] );
}

}  // namespace
}  // namespace SoftAsic
