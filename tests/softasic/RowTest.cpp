// Row allocation: slices taken and released, and the cost of an insert.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/softasic/TestChip.h"

namespace SoftAsicTest {
namespace {

constexpr U32 group = 1;

class RowTest : public testing::Test {
 protected:
  RowTest() { chip.createGroup( groupConfig( group, { bcmFieldQualifyDstIp } ) ); }

  U64 moves() { return chip.tables( 0 )[ 0 ].moves; }
  std::vector< U32 > slices() { return chip.group( 0, group )->slices; }

  // Most rows moved by creating an entry or setting its priority.
  U64 create( U32 id, U32 priority ) {
    const U64 before = moves();
    EXPECT_EQ( chip.bcm_field_entry_create_id( 0, group, id ), BCM_E_NONE );
    const U64 created = moves();
    EXPECT_EQ( chip.bcm_field_entry_prio_set( 0, id, priority ), BCM_E_NONE );
    return std::max( created - before, moves() - created );
  }

  TestChip chip{ smallProfile( 4, 8 ) };  // 32 rows
};

TEST_F( RowTest, InsertCostIsBoundedByDepthAndSliceCount ) {
  // Every new entry goes before all others, with full slices after it.
  U64 worst = 0;
  for ( U32 id = 1; id <= 31; ++id )
    worst = std::max( worst, create( id, 100 + id ) );
  EXPECT_LE( worst, 2U * 8 + 4 + 1 );
  // Insert at either end; the only free row is at the other.
  ASSERT_EQ( chip.bcm_field_entry_destroy( 0, 31 ), BCM_E_NONE );
  EXPECT_LE( create( 50, 1 ), 2U * 8 + 4 + 1 );
  ASSERT_EQ( chip.bcm_field_entry_destroy( 0, 1 ), BCM_E_NONE );
  EXPECT_LE( create( 51, 500 ), 2U * 8 + 4 + 1 );
}

TEST_F( RowTest, ReturnsAnEmptiedSliceAtOnce ) {
  for ( U32 id = 1; id <= 20; ++id )
    create( id, 1000 - id );
  ASSERT_EQ( slices(), ( std::vector< U32 >{ 0, 1, 2 } ) );
  for ( U32 id = 9; id <= 16; ++id )
    ASSERT_EQ( chip.bcm_field_entry_destroy( 0, id ), BCM_E_NONE );
  EXPECT_EQ( slices(), ( std::vector< U32 >{ 0, 2 } ) );
  EXPECT_EQ( chip.status( group ).entries_free, 4 + 2 * 8 );
  // Another group takes the slice, which leaves fewer rows for the first one.
  ASSERT_EQ( chip.createGroup( groupConfig( 2, { bcmFieldQualifyDstIp } ) ), BCM_E_NONE );
  EXPECT_EQ( chip.group( 0, 2 )->slices, std::vector< U32 >{ 1 } );
  EXPECT_EQ( chip.status( group ).entries_free, 4 + 8 );
}

TEST_F( RowTest, CompressPacksRowsAndReleasesSlices ) {
  for ( U32 id = 1; id <= 32; ++id )
    create( id, 1000 - id );
  EXPECT_EQ( moves(), 0U );  // appending moves no rows
  for ( U32 id = 1; id <= 32; ++id )
    if ( id % 4 != 0 )
      chip.bcm_field_entry_destroy( 0, id );
  EXPECT_EQ( slices().size(), 4U );
  ASSERT_EQ( chip.bcm_field_group_compress( 0, group ), BCM_E_NONE );
  EXPECT_EQ( slices().size(), 1U );
  EXPECT_EQ( chip.status( group ).entries_total, 8 );
  EXPECT_EQ( chip.group( 0, group )->entries,
             ( std::vector< U32 >{ 4, 8, 12, 16, 20, 24, 28, 32 } ) );
  EXPECT_EQ( chip.bcm_field_group_compress( 0, 9 ), BCM_E_NOT_FOUND );
}

TEST_F( RowTest, CapacityRecordCountsSlices ) {
  TestChip big( bigProfile() );
  ASSERT_EQ( big.createGroup( groupConfig( group, { bcmFieldQualifyDstIp } ) ), BCM_E_NONE );
  for ( U32 id = 1; id <= 9; ++id )
    ASSERT_EQ( big.bcm_field_entry_create_id( 0, group, id ), BCM_E_NONE );
  kelmor_tcam_capacity_info_t info = {};
  ASSERT_EQ( big.kelmor_bcm_tcam_capacity_info_get( 0, &info ), BCM_E_NONE );
  ASSERT_EQ( info.stage_count, 3 );
  EXPECT_EQ( info.stage[ 0 ].stage, 1 );  // VFP
  EXPECT_EQ( info.stage[ 1 ].stage, 0 );  // IFP, one instance of four
  EXPECT_EQ( info.stage[ 2 ].stage, 2 );  // EFP
  EXPECT_EQ( info.stage[ 1 ].entries_total, 32 );
  int free = 0;
  for ( int i = 0; i < 4; ++i )
    free += info.stage[ 1 ].slice[ i ].entries_free;
  EXPECT_EQ( free, 32 - 9 );
}

}  // namespace
}  // namespace SoftAsicTest
