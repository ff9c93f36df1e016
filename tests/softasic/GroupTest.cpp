// Group creation: ids, stages, keys, slices, ports and preselectors, with their errors.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "tests/softasic/TestChip.h"

namespace SoftAsicTest {
namespace {

constexpr U32 lookup = bcmFieldQualifyStageLookup;
constexpr U32 egress = bcmFieldQualifyStageEgress;
constexpr U32 dst6 = bcmFieldQualifyDstIp6;
constexpr U32 src6 = bcmFieldQualifySrcIp6;

TEST( GroupTest, TakesTheGivenOrTheLowestFreeId ) {
  TestChip chip( smallProfile() );
  EXPECT_EQ( chip.createGroup( groupConfig( 1, { dst } ) ), BCM_E_NONE );
  EXPECT_EQ( chip.createGroup( groupConfig( 1, { dst } ) ), BCM_E_EXISTS );
  bcm_field_group_config_t chosen = groupConfig( 0, { dst } );
  chosen.flags = 0;
  EXPECT_EQ( chip.bcm_field_group_config_create( 0, &chosen ), BCM_E_NONE );
  EXPECT_EQ( chosen.group, 2U );

  const auto destroy = [ & ] { return chip.bcm_field_group_destroy( 0, 1 ); };
  EXPECT_EQ( ( Codes{ chip.bcm_field_entry_create_id( 0, 1, 5 ), destroy(),
                      chip.bcm_field_entry_destroy( 0, 5 ), destroy() } ),
             ( Codes{ 0, BCM_E_BUSY, 0, 0 } ) );
  EXPECT_EQ( chip.tables( 0 )[ 0 ].freeSlices, 3U );

  bcm_field_group_config_t strange = groupConfig( 7, { dst } );
  strange.flags |= 1U << 20;
  EXPECT_EQ( chip.createGroup( strange ), BCM_E_PARAM );
}

TEST( GroupTest, QualifierSetSelectsTheStage ) {
  TestChip chip( bigProfile() );
  ChipProfile onePort = smallProfile();
  onePort.singlePortKey = true;
  TestChip single( onePort );
  const auto create = [ & ]( U32 id, std::initializer_list< U32 > qualifiers ) {
    return chip.createGroup( groupConfig( id, qualifiers ) );
  };
  const U32 ports = bcmFieldQualifyInPorts;
  // Two stages at once; a qualifier that the stage lacks; a stage that the chip lacks.
  EXPECT_EQ( ( Codes{ create( 1, { dst, bcmFieldQualifyStageIngress } ),
                      create( 2, { dst, lookup } ), create( 3, { dst, egress } ),
                      create( 4, { lookup, egress } ), create( 4, { ports, egress } ),
                      create( 4, { 700 } ), single.createGroup( groupConfig( 1, { ports } ) ),
                      single.createGroup( groupConfig( 2, { dst, lookup } ) ) } ),
             ( Codes{ 0, 0, 0, BCM_E_PARAM, BCM_E_UNAVAIL, BCM_E_UNAVAIL, BCM_E_UNAVAIL,
                      BCM_E_UNAVAIL } ) );
  EXPECT_EQ( chip.group( 0, 1 )->stage, StageKind::ifp );
  EXPECT_EQ( chip.group( 0, 2 )->stage, StageKind::vfp );
  EXPECT_EQ( chip.group( 0, 3 )->stage, StageKind::efp );
}

TEST( GroupTest, WideKeysTakeTwoRowsOrTwoSlicesOrFail ) {
  // Key widths: dst 32, dst6 128, src6 + dst6 256 against slices of 200 bits.
  ChipProfile narrow = smallProfile();
  EXPECT_EQ( TestChip( narrow ).createGroup( groupConfig( 1, { src6, dst6 } ) ), BCM_E_UNAVAIL );

  ChipProfile doubled = narrow;
  doubled.stages[ 0 ].doubleWide = true;
  doubled.stages[ 0 ].paired = true;
  TestChip chip( doubled );
  ASSERT_EQ( chip.createGroup( groupConfig( 1, { dst6 } ) ), BCM_E_NONE );
  ASSERT_EQ( chip.createGroup( groupConfig( 2, { src6, dst6 } ) ), BCM_E_NONE );
  EXPECT_EQ( chip.status( 1 ).entries_total, 8 );
  EXPECT_EQ( chip.status( 2 ).entries_total, 4 );  // double-wide is preferred to paired
  EXPECT_EQ( chip.status( 2 ).entries_free, 4 + 2 * 4 );

  ChipProfile paired = narrow;
  paired.stages[ 0 ].paired = true;
  TestChip pairs( paired );
  ASSERT_EQ( pairs.createGroup( groupConfig( 1, { dst } ) ), BCM_E_NONE );  // slice 0 of a pair
  ASSERT_EQ( pairs.createGroup( groupConfig( 2, { src6, dst6 } ) ), BCM_E_NONE );
  EXPECT_EQ( pairs.group( 0, 2 )->slices, std::vector< U32 >{ 2 } );
  EXPECT_EQ( pairs.status( 2 ).entries_free, 8 );  // slice 1 alone is not a pair
  EXPECT_EQ( pairs.createGroup( groupConfig( 3, { src6, dst6 } ) ), BCM_E_RESOURCE );
  ASSERT_EQ( pairs.bcm_field_group_destroy( 0, 2 ), BCM_E_NONE );
  EXPECT_EQ( pairs.tables( 0 )[ 0 ].freeSlices, 3U );
}

TEST( GroupTest, LargeGroupsStartOnLargeSlices ) {
  ChipProfile profile = smallProfile( 2, 4 );
  bcm_field_group_config_t large = groupConfig( 1, { dst } );
  large.flags |= BCM_FIELD_GROUP_CREATE_LARGE;
  EXPECT_EQ( TestChip( profile ).createGroup( large ), BCM_E_UNAVAIL );  // no large slice

  profile.stages[ 0 ].slices.push_back( { 1, 16, 200, true } );
  TestChip chip( profile );
  ASSERT_EQ( chip.createGroup( groupConfig( 2, { dst } ) ), BCM_E_NONE );
  EXPECT_EQ( chip.group( 0, 2 )->slices, std::vector< U32 >{ 0 } );  // large slices last
  ASSERT_EQ( chip.createGroup( large ), BCM_E_NONE );
  EXPECT_EQ( chip.group( 0, 1 )->slices, std::vector< U32 >{ 2 } );
  large.group = 3;
  EXPECT_EQ( chip.createGroup( large ), BCM_E_RESOURCE );  // taken
  large.flags &= ~BCM_FIELD_GROUP_CREATE_LARGE;
  EXPECT_EQ( chip.createGroup( large ), BCM_E_NONE );
  EXPECT_EQ( chip.status( 1 ).entries_free, 16 );
}

TEST( GroupTest, ReturnsAnEmptiedSliceAtOnce ) {
  TestChip chip( smallProfile( 4, 8 ) );
  ASSERT_EQ( chip.createGroup( groupConfig( 1, { dst } ) ), BCM_E_NONE );
  for ( U32 id = 1; id <= 20; ++id )
    ASSERT_EQ( chip.addRule( 1, id, 1000 - id, 0, 0 ), BCM_E_NONE );
  ASSERT_EQ( chip.group( 0, 1 )->slices, ( std::vector< U32 >{ 0, 1, 2 } ) );
  for ( U32 id = 9; id <= 16; ++id )
    ASSERT_EQ( firstError( { chip.bcm_field_entry_remove( 0, id ),
                             chip.bcm_field_entry_destroy( 0, id ) } ),
               BCM_E_NONE );
  EXPECT_EQ( chip.group( 0, 1 )->slices, ( std::vector< U32 >{ 0, 2 } ) );
  EXPECT_EQ( chip.status( 1 ).entries_free, 4 + 2 * 8 );
  // Another group takes the slice, which leaves fewer rows for the first one.
  ASSERT_EQ( chip.createGroup( groupConfig( 2, { dst } ) ), BCM_E_NONE );
  EXPECT_EQ( chip.group( 0, 2 )->slices, std::vector< U32 >{ 1 } );
  EXPECT_EQ( chip.status( 1 ).entries_free, 4 + 8 );
}

// Row moves an entry, for entries that get 2,000 priorities in random order or one after the other.
TEST( GroupTest, PriorityChangesMoveFewRows ) {
  const auto movesOf = []( std::vector< ::SoftAsic::SliceProfile > slices, int order ) {
    ChipProfile profile = smallProfile();
    profile.stages[ 0 ].slices = std::move( slices );
    TestChip chip( profile );
    EXPECT_EQ( chip.createGroup( groupConfig( 1, { dst } ) ), BCM_E_NONE );
    std::vector< U32 > priorities;
    for ( U32 i = 1; i <= 2000; ++i )
      priorities.push_back( order < 0 ? 2001 - i : i );
    if ( order == 0 )
      std::shuffle( priorities.begin(), priorities.end(), std::mt19937( 1 ) );
    for ( U32 i = 0; i < 2000; ++i )
      EXPECT_EQ( firstError( { chip.bcm_field_entry_create_id( 0, 1, i + 1 ),
                               chip.bcm_field_entry_prio_set( 0, i + 1, priorities[ i ] ) } ),
                 BCM_E_NONE );
    const auto entries = chip.entries( 0, 1 );
    EXPECT_EQ( entries.size(), 2000U );
    for ( size_t i = 0; i < entries.size(); ++i )
      EXPECT_EQ( entries[ i ].priority, 2000 - i );
    return static_cast< double >( chip.tables( 0 )[ 0 ].moves ) / 2000;
  };
  // One slice, half full and full; the same rows in slices of different depths.
  EXPECT_LT( movesOf( { { 1, 4000, 200, false } }, 0 ), 5 );
  EXPECT_LT( movesOf( { { 1, 2000, 200, false } }, 0 ), 25 );
  EXPECT_LT( movesOf( { { 6, 50, 200, false }, { 2, 700, 200, false }, { 6, 50, 200, true } }, 0 ),
             40 );
  EXPECT_LT( movesOf( { { 10, 200, 200, false } }, 1 ), 1.5 );
  EXPECT_EQ( movesOf( { { 10, 200, 200, false } }, -1 ), 0 );
}

TEST( GroupTest, InstanceBitsMustNameAnExistingInstance ) {
  TestChip chip( bigProfile() );
  const U32 pipe1 = 1U << 24;
  const U32 pipe2 = 2U << 24;
  const U32 copy1 = 1U << 26;
  EXPECT_EQ( chip.createGroup( perCopy( groupConfig( 1 | pipe1 | copy1, { dst } ) ) ), 0 );
  EXPECT_EQ( chip.group( 0, 1 | pipe1 | copy1 )->pipe, 1U );
  EXPECT_EQ( chip.group( 0, 1 | pipe1 | copy1 )->copy, 1U );
  const auto create = [ & ]( U32 id, U32 qualifier ) {
    return chip.createGroup( groupConfig( id, { qualifier } ) );
  };
  // Single-instance tables have neither instance bits nor per-copy mode.
  EXPECT_EQ( ( Codes{ create( 1 | pipe1, dst ), create( 2 | pipe2, dst ), create( 2 | copy1, dst ),
                      create( 2 | 1U << 27, dst ), create( 2 | pipe1, lookup ),
                      chip.createGroup( perCopy( groupConfig( 2, { lookup } ) ) ) } ),
             ( Codes{ 0, BCM_E_PARAM, BCM_E_PARAM, BCM_E_PARAM, BCM_E_PARAM, BCM_E_UNAVAIL } ) );
  ChipProfile shared = smallProfile();
  shared.pipes = 2;
  shared.sharedByPipes = true;
  TestChip one( shared );
  EXPECT_EQ( ( Codes{ one.createGroup( groupConfig( 1 | pipe1, { dst } ) ),
                      one.createGroup( perCopy( groupConfig( 1, { dst } ) ) ),
                      one.createGroup( groupConfig( 1, { dst } ) ),
                      one.bcm_field_entry_create_id( 0, 1, 9 | pipe1 ),
                      one.bcm_field_entry_create_id( 0, 1, 9 | copy1 ) } ),
             ( Codes{ BCM_E_PARAM, BCM_E_UNAVAIL, 0, 0, BCM_E_PARAM } ) );
}

TEST( GroupTest, PortsMustBeInThePipe ) {
  TestChip chip( bigProfile() );
  bcm_field_group_config_t config = groupConfig( 1, { dst } );
  config.flags |= BCM_FIELD_GROUP_CREATE_WITH_PORT;
  config.ports = portSet( { 2, 9 } );
  EXPECT_EQ( chip.createGroup( config ), BCM_E_PORT );  // port 9 is in pipe 1
  config.ports = portSet( { 2 } );
  ASSERT_EQ( chip.createGroup( config ), BCM_E_NONE );
  ASSERT_EQ( chip.addRule( 1, 5, 1, 0, 0 ), BCM_E_NONE );
  EXPECT_EQ( chip.winner( {}, 2 ), 5U );
  EXPECT_EQ( chip.winner( {}, 3 ), 0U );
}

TEST( GroupTest, PreselectorsSelectTheGroupsToLookUp ) {
  TestChip chip( bigProfile() );
  bcm_field_group_config_t config = groupConfig( 1, { dst, lookup } );
  config.preselset.add( 0 );
  EXPECT_EQ( chip.createGroup( config ), BCM_E_NOT_FOUND );

  bcm_field_presel_t presel = 99;
  for ( U32 i = 0; i < 4; ++i )
    ASSERT_TRUE( chip.bcm_field_presel_create( 0, &presel ) == 0 && presel == i );
  EXPECT_EQ( chip.bcm_field_presel_create( 0, &presel ), BCM_E_RESOURCE );
  const U32 id = BCM_FIELD_QUALIFY_PRESEL;
  EXPECT_EQ( chip.bcm_field_qualify_Stage( 0, id, bcmFieldStageLookup ), BCM_E_NONE );
  EXPECT_EQ( chip.bcm_field_qualify_MixedSrcClassId( 0, id, portSet( { 3, 4, 9 } ), { 1 }, { 3 } ),
             BCM_E_NONE );
  EXPECT_EQ( chip.bcm_field_qualify_Stage( 0, id | 77, bcmFieldStageLookup ), BCM_E_NOT_FOUND );

  ASSERT_EQ( chip.createGroup( config ), BCM_E_NONE );
  ASSERT_EQ( chip.addRule( 1, 5, 1, 0, 0 ), BCM_E_NONE );
  EXPECT_EQ( chip.bcm_field_qualify_Stage( 0, 5, bcmFieldStageLookup ), BCM_E_PARAM );
  EXPECT_EQ( chip.winner( {}, 9 ), 5U );
  EXPECT_EQ( chip.winner( {}, 3 ), 0U );   // class of pipe 0
  EXPECT_EQ( chip.winner( {}, 10 ), 0U );  // not in the port set
  EXPECT_EQ( chip.bcm_field_qualify_MixedSrcClassId( 0, id, portSet( { 3 } ), { 1 }, { 0 } ), 0 );
  EXPECT_EQ( chip.winner( {}, 3 ), 5U );  // changed while in use
  EXPECT_EQ( chip.bcm_field_qualify_Stage( 0, id, bcmFieldStageIngress ), BCM_E_NONE );
  EXPECT_EQ( chip.winner( {}, 3 ), 0U );  // other stage

  EXPECT_EQ( chip.bcm_field_presel_destroy( 0, 0 ), BCM_E_BUSY );
  chip.bcm_field_entry_remove( 0, 5 );
  chip.bcm_field_entry_destroy( 0, 5 );
  ASSERT_EQ( chip.bcm_field_group_destroy( 0, 1 ), BCM_E_NONE );
  EXPECT_EQ( chip.bcm_field_presel_destroy( 0, 0 ), BCM_E_NONE );
  EXPECT_EQ( chip.preselectors( 0 ).size(), 3U );
  EXPECT_EQ( TestChip( smallProfile() ).bcm_field_presel_create( 0, &presel ), BCM_E_UNAVAIL );
}

}  // namespace
}  // namespace SoftAsicTest
