#include "Fru/Hal/BitRange.h"

#include <gtest/gtest.h>

namespace {

using Fru::Hal::BitRange;
using Fru::Hal::RegisterValue;
using Kiv::U32;

constexpr BitRange pipe{ 24, 2 };
static_assert( pipe.mask() == 0x03000000 && pipe.set( 0xffffffff, 1 ) == 0xfdffffff );
static_assert( BitRange{ 31, 1 }.mask() == 0x80000000 );

TEST( BitRangeTest, SettingARangeKeepsTheOtherBits ) {
  for ( unsigned first = 0; first < 32; ++first ) {
    for ( unsigned width = 0; first + width <= 32; ++width ) {
      BitRange range{ first, width };
      for ( U32 word : { 0u, ~0u, 0xa5a5a5a5u } ) {
        for ( U32 value : { 0u, range.max() / 3, range.max() } ) {
          U32 changed = range.set( word, value );
          ASSERT_EQ( range.get( changed ), value );
          ASSERT_EQ( ( changed ^ word ) & ~range.mask(), 0u );
        }
      }
      ASSERT_EQ( range.get( ~0u ), range.max() );
    }
  }
}

TEST( BitRangeDeathTest, TooWideValueEndsTheProcess ) {
  volatile U32 wide = 4;
  EXPECT_FALSE( pipe.fits( wide ) );
  EXPECT_DEATH( pipe.set( 0, wide ), "fits\\( value \\)" );
}

TEST( RegisterValueTest, LaterFieldsOverwriteEarlierOnes ) {
  RegisterValue value( 0xff );
  EXPECT_EQ( value.set( { 4, 8 }, 0x12 ).set( { 4, 4 }, 0xa ).word(), 0x1afu );
  EXPECT_EQ( value.get( { 8, 4 } ), 1u );
}

}  // namespace
