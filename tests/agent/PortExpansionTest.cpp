#include "agent/feature/PortExpansion.h"

#include <gtest/gtest.h>

#include <random>

namespace Agent {

namespace {

void expectExact( const PortRange & range ) {
  const auto matches = expandPorts( range );
  // Consecutive prefixes cover the range exactly.
  U32 next = range.low;
  for ( const PortMatch & match : matches ) {
    const U32 size = 0x10000U - match.mask;
    EXPECT_EQ( match.value, next ) << range.low << "-" << range.high;
    EXPECT_EQ( size & ( size - 1 ), 0U );
    EXPECT_EQ( match.value & ( size - 1 ), 0U );
    next += size;
  }
  EXPECT_EQ( next, range.high + 1U );
  // Minimal: no two neighbours can be merged.
  for ( size_t i = 1; i < matches.size(); ++i ) {
    const U32 size = 0x10000U - matches[ i ].mask;
    EXPECT_FALSE( matches[ i ].mask == matches[ i - 1 ].mask &&
                  ( matches[ i - 1 ].value & size ) == 0 );
  }
}

}  // namespace

TEST( PortExpansionTest, CoversEveryRangeExactly ) {
  EXPECT_EQ( expandPorts( { 0, 65535 } ), ( std::vector< PortMatch >{ { 0, 0 } } ) );
  EXPECT_EQ( expandPorts( { 80, 80 } ), ( std::vector< PortMatch >{ { 80, 0xFFFF } } ) );
  EXPECT_EQ( expandPorts( { 1024, 65535 } ).size(), 6U );
  EXPECT_EQ( expandPorts( { 1, 65534 } ).size(), 30U );
  std::mt19937 random( 1 );
  for ( int i = 0; i < 20000; ++i ) {
    const auto a = static_cast< U16 >( random() );
    const auto b = static_cast< U16 >( i % 2 == 0 ? random() : a + random() % 64 );
    expectExact( { std::min( a, b ), std::max( a, b ) } );
  }
}

}  // namespace Agent
