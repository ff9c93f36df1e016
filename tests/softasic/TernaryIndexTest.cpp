// The lookup index by itself, against brute force, at sizes that a chip of a test does not have.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <deque>
#include <random>

#include "softasic/TernaryIndex.h"

namespace SoftAsicTest {
namespace {

using namespace Kiv::Integers;
using SoftAsic::IndexItem;
using SoftAsic::TernaryIndex;

constexpr U32 words = 3;

class TernaryIndexTest : public testing::TestWithParam< unsigned > {
 protected:
  struct Item : IndexItem {
    std::array< U64, 2 * words > rule = {};
  };

  U64 below( U64 bound ) { return random() % bound; }

  // The most selective word changes as the index grows, so that branches of all sizes migrate.
  // Ranks are in random order; a few rules have equal keys.
  void insert() {
    Item & item = items.emplace_back();
    const U64 size = index.size();
    const U64 spread[] = { size < 100 ? 1000U : 3U, size < 1000 ? 40U : 100000U,
                           size < 1000 ? 300U : 4U };
    for ( U32 i = 0; i < words; ++i ) {
      const U64 masks[] = { 0, ~U64{ 0 } << 4, ~U64{ 0 }, ~U64{ 0 } };
      item.rule[ words + i ] = masks[ below( 4 ) ];
      if ( i == 2 && below( 2 ) == 0 )  // a hundred masks
        item.rule[ words + i ] = ( ~U64{ 0 } << below( 20 ) ) ^ below( 5 );
      item.rule[ i ] = below( spread[ i ] ) << 2;
    }
    if ( below( 8 ) == 0 )
      item.rule = items[ below( items.size() ) ].rule;
    const auto wildcards = std::count( item.rule.begin() + words, item.rule.end(), 0U );
    item.rank = ( below( 1000000 ) + 150000U * U64( wildcards ) ) << 20 | items.size();
    item.key = item.rule.data();
    index.insert( item );
    inside.push_back( &item );
  }

  void remove() {
    Item *& item = inside[ below( inside.size() ) ];
    index.remove( *item );
    item = inside.back();
    inside.pop_back();
  }

  // Near a rule, which may have been removed.
  void expectBestOfAll() {
    std::array< U64, words > key = {};
    const Item & near = items[ below( items.size() ) ];
    for ( U32 i = 0; i < words; ++i )
      key[ i ] =
          ( near.rule[ i ] & near.rule[ words + i ] ) | ( below( 64 ) & ~near.rule[ words + i ] );
    const Item * best = nullptr;
    for ( const Item * item : inside ) {
      bool matches = best == nullptr || item->rank < best->rank;
      for ( U32 i = 0; i < words && matches; ++i )
        matches = ( ( key[ i ] ^ item->rule[ i ] ) & item->rule[ words + i ] ) == 0;
      best = matches ? item : best;
    }
    ASSERT_EQ( index.lookup( key.data() ), best ) << index.size() << " items";
  }

  // Inserts and removes, one more often than the other, until the index has the size.
  void resize( size_t size, U32 checkEvery ) {
    const bool grow = size > inside.size();
    for ( U32 step = 1; inside.size() != size && !HasFatalFailure(); ++step ) {
      if ( inside.empty() || ( below( 4 ) != 0 ) == grow )
        insert();
      else
        remove();
      if ( step % checkEvery == 0 )
        expectBestOfAll();
    }
    ASSERT_EQ( index.size(), size );
  }

  TernaryIndex index{ words };
  std::deque< Item > items;
  std::vector< Item * > inside;
  std::mt19937_64 random{ GetParam() };
};

// Up and down over the sizes at which lists split, branches select their word again, and hash maps
// are divided and united.
TEST_P( TernaryIndexTest, FindsTheBestAtEverySize ) {
  for ( const size_t size : { 1200, 100, 700, 0, 1500, 2 } )
    ASSERT_NO_FATAL_FAILURE( resize( size, 1 ) );
  for ( const size_t size : { 14000, 3000, 9000, 0 } )
    ASSERT_NO_FATAL_FAILURE( resize( size, 8 ) );
}

INSTANTIATE_TEST_SUITE_P( Seeds, TernaryIndexTest, testing::Range( 1U, 4U ) );

}  // namespace
}  // namespace SoftAsicTest
