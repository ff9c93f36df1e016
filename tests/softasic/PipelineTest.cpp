// Instance selection, action resolution across groups, and statistics.
#include <gtest/gtest.h>

#include "tests/softasic/TestChip.h"

namespace SoftAsicTest {
namespace {

using ::SoftAsic::Match;
using ::SoftAsic::QualifierView;
using ::SoftAsic::Verdict;

TEST( PipelineTest, LooksUpThePipeAndCopyOfThePort ) {
  TestChip chip( bigProfile() );
  for ( U32 pipe = 0; pipe < 2; ++pipe )
    for ( U32 copy = 0; copy < 2; ++copy ) {
      const U32 bits = pipe << 24 | copy << 26;
      ASSERT_EQ( chip.createGroup( perCopy( groupConfig( 1 | bits, { dst } ) ) ), BCM_E_NONE );
      ASSERT_EQ( chip.addRule( 1 | bits, 9 | bits, 1, 0, 0 ), BCM_E_NONE );
    }
  for ( U32 port = 0; port < 16; ++port ) {
    const U32 bits = ( port / 8 ) << 24 | ( port % 8 / 4 ) << 26;
    EXPECT_EQ( chip.send( {}, port ).matches,
               ( std::vector< Match >{ { StageKind::ifp, 1 | bits, 9 | bits } } ) );
  }
  EXPECT_THROW( chip.send( {}, 16 ), std::out_of_range );
}

TEST( PipelineTest, SharedIngressTablesTreatUntaggedAsPriorityTagged ) {
  for ( const bool shared : { false, true } ) {
    ChipProfile profile = bigProfile();
    profile.secondCopy = profile.groupByPreselector = false;
    profile.sharedByPipes = shared;
    TestChip chip( profile );
    for ( const U32 stage : { bcmFieldQualifyStageLookup, bcmFieldQualifyStageIngress,
                              bcmFieldQualifyStageEgress } ) {
      chip.createGroup( groupConfig( stage, { bcmFieldQualifyOuterVlanId, stage } ) );
      chip.bcm_field_entry_create_id( 0, stage, stage );
      chip.bcm_field_qualify_OuterVlanId( 0, stage, 0, 0xFFFF );
      ASSERT_EQ( chip.bcm_field_entry_install( 0, stage ), BCM_E_NONE );
    }
    EXPECT_EQ( chip.winner( {} ), shared ? bcmFieldQualifyStageIngress : 0U );
    Packet packet;
    EXPECT_EQ( chip.send( packet ).matches.size(), shared ? 1U : 0U );
    packet.tags = { 0 };
    EXPECT_EQ( chip.send( packet ).matches.size(), 3U );
    const Frame frame = frameOf( packet );  // a truncated tag is not untagged
    EXPECT_TRUE( chip.inject( 0, 2, frame.data(), 15 ).matches.empty() );
    packet.tags = { 5 };
    EXPECT_TRUE( chip.send( packet ).matches.empty() );
  }
}

class ActionTest : public testing::Test {
 protected:
  // Groups 1, 2, 3 of ascending priority in a stage, each with one match-all rule.
  void makeGroups( U32 stageQualifier ) {
    for ( U32 id = 1; id <= 3; ++id ) {
      bcm_field_group_config_t config = groupConfig( id, { dst, stageQualifier } );
      config.priority = static_cast< int >( id );
      ASSERT_EQ( chip.createGroup( config ), BCM_E_NONE );
      ASSERT_EQ( chip.bcm_field_entry_create_id( 0, id, id ), BCM_E_NONE );
      ASSERT_EQ( chip.bcm_field_entry_install( 0, id ), BCM_E_NONE );
    }
  }
  void act( U32 entry, bcm_field_action_t action, std::initializer_list< U32 > ports = {} ) {
    const bool withPorts = action >= bcmFieldActionRedirectPbmp;
    ASSERT_EQ( withPorts ? chip.bcm_field_action_ports_add( 0, entry, action, portSet( ports ) )
                         : chip.bcm_field_action_add( 0, entry, action, 0, 0 ),
               BCM_E_NONE );
    ASSERT_EQ( chip.bcm_field_entry_install( 0, entry ), BCM_E_NONE );
  }
  TestChip chip{ bigProfile() };
};

TEST_F( ActionTest, HighestGroupDecidesAndOtherActionsAccumulate ) {
  makeGroups( bcmFieldQualifyStageIngress );
  Verdict verdict = chip.send( {} );
  EXPECT_EQ( verdict.matches.size(), 3U );
  EXPECT_EQ( verdict.matches.front().group, 3U );
  EXPECT_FALSE( verdict.drop || verdict.permit || verdict.copyToCpu || verdict.redirect );
  act( 1, bcmFieldActionDrop );
  EXPECT_TRUE( chip.send( {} ).drop );
  act( 2, bcmFieldActionPermit );
  act( 3, bcmFieldActionCopyToCpu );
  verdict = chip.send( {} );
  EXPECT_TRUE( verdict.permit && verdict.copyToCpu );
  EXPECT_FALSE( verdict.drop );
  act( 1, bcmFieldActionRedirectPbmp, { 1 } );
  act( 2, bcmFieldActionRedirectPbmp, { 2 } );
  act( 1, bcmFieldActionEgressMask, { 5 } );
  act( 1, bcmFieldActionMirrorPbmp, { 3 } );
  act( 2, bcmFieldActionMirrorPbmp, { 4 } );
  act( 2, bcmFieldActionEgressMask, { 6 } );
  act( 2, bcmFieldActionEgressMask, { 7 } );  // replaces 6
  verdict = chip.send( {} );
  EXPECT_EQ( verdict.redirectPorts, portSet( { 2 } ) );
  EXPECT_EQ( verdict.egressMask, portSet( { 5, 7 } ) );
  EXPECT_EQ( verdict.mirrorPorts, portSet( { 3, 4 } ) );
}

TEST_F( ActionTest, DropEndsProcessingAfterItsStage ) {
  makeGroups( bcmFieldQualifyStageLookup );
  ASSERT_EQ( chip.createGroup( groupConfig( 8, { dst } ) ), BCM_E_NONE );
  ASSERT_EQ( chip.addRule( 8, 8, 1, 0, 0 ), BCM_E_NONE );
  ASSERT_EQ( chip.createGroup( groupConfig( 9, { dst, bcmFieldQualifyStageEgress } ) ), 0 );
  ASSERT_EQ( chip.addRule( 9, 9, 1, 0, 0, bcmFieldActionDrop ), BCM_E_NONE );
  Verdict verdict = chip.send( {} );
  ASSERT_EQ( verdict.matches.size(), 5U );
  EXPECT_EQ( verdict.matches[ 3 ].stage, StageKind::ifp );
  EXPECT_TRUE( verdict.drop );  // an earlier stage's permit does not prevent it
  act( 1, bcmFieldActionDrop );
  EXPECT_EQ( chip.send( {} ).matches.size(), 3U );
}

TEST( EgressTest, StageMatchesThePortOfForwardedPackets ) {
  TestChip chip( bigProfile() );
  constexpr U32 egress = bcmFieldQualifyStageEgress;
  EXPECT_EQ(
      ( Codes{ chip.createGroup( groupConfig( 1, { dst, bcmFieldQualifyOutPort } ) ),
               chip.createGroup( groupConfig( 1, { egress, bcmFieldQualifyInPort } ) ),
               chip.createGroup( groupConfig( 1, { dst } ) ), chip.addRule( 1, 5, 1, 7, ~0U ),
               chip.createGroup( groupConfig( 2, { egress, bcmFieldQualifyOutPort } ) ) } ),
      ( Codes{ BCM_E_UNAVAIL, BCM_E_UNAVAIL, 0, 0, 0 } ) );
  ASSERT_EQ( firstError( { chip.bcm_field_entry_create_id( 0, 2, 6 ),
                           chip.bcm_field_qualify_OutPort( 0, 6, 8, 0xFE ),
                           chip.bcm_field_action_add( 0, 6, bcmFieldActionDrop, 0, 0 ),
                           chip.bcm_field_entry_install( 0, 6 ) } ),
             BCM_E_NONE );
  EXPECT_EQ( chip.bcm_field_qualify_OutPort( 0, 6, 256, ~0U ), BCM_E_PARAM );  // not port 0
  EXPECT_EQ( chip.bcm_field_qualify_OutPort( 0, 5, 8, 0xFF ), BCM_E_PARAM );
  EXPECT_EQ( chip.entry( 0, 6 )->effective.qualifiers,
             ( std::vector< QualifierView >{ { bcmFieldQualifyOutPort, { 8 }, { 0xFE } } } ) );
  const Frame frame = frameOf( {} );
  const auto send = [ & ]( U32 in, U32 out ) {
    return chip.inject( 0, in, frame.data(), frame.size(), out );
  };
  for ( U32 port = 0; port < 16; ++port ) {
    EXPECT_EQ( send( 0, port ).drop, port == 8 || port == 9 );
    EXPECT_FALSE( send( port, 7 ).drop );
  }
  EXPECT_THROW( send( 0, 16 ), std::out_of_range );
}

class StatsTest : public testing::Test {
 protected:
  StatsTest() : chip( bigProfile() ) {
    chip.createGroup( groupConfig( 1, { dst } ) );
    chip.createGroup( groupConfig( 1 | pipe1, { dst } ) );
    chip.addRule( 1, 5, 1, 0, 0 );
    chip.addRule( 1, 6, 0, 0, 0 );
    chip.addRule( 1 | pipe1, 5 | pipe1, 1, 0, 0 );
  }
  int create( U32 group, U32 * id ) {
    const bcm_field_stat_t types[] = { bcmFieldStatPackets, bcmFieldStatBytes };
    return chip.bcm_field_stat_create( 0, group, 2, types, id );
  }
  static constexpr U32 pipe1 = 1U << 24;
  TestChip chip;
  U32 stat = 0;
};

TEST_F( StatsTest, CountsPacketsOfTheWinner ) {
  const bcm_field_stat_t types[] = { bcmFieldStatGreenBytes, bcmFieldStatPackets,
                                     bcmFieldStatRedPackets };
  ASSERT_EQ( chip.bcm_field_stat_create( 0, 1, 3, types, &stat ), BCM_E_NONE );
  ASSERT_EQ( chip.bcm_field_entry_stat_attach( 0, 5, stat ), BCM_E_NONE );
  for ( int i = 0; i < 3; ++i )
    chip.send( {}, 2 );
  chip.send( {}, 9 );  // other pipe
  const U64 bytes = frameOf( {} ).size();
  EXPECT_EQ( chip.statistic( 0, stat )->values, ( std::vector< std::pair< bcm_field_stat_t, U64 > >{
                                                    { bcmFieldStatPackets, 3 },
                                                    { bcmFieldStatGreenBytes, 3 * bytes },
                                                    { bcmFieldStatRedPackets, 0 } } ) );
  U64 value = 99;
  EXPECT_EQ( chip.bcm_field_stat_get( 0, stat, bcmFieldStatBytes, &value ), BCM_E_PARAM );
  ASSERT_EQ( chip.bcm_field_stat_set( 0, stat, bcmFieldStatPackets, ~0ULL ), BCM_E_NONE );
  chip.send( {}, 2 );
  EXPECT_EQ( chip.bcm_field_stat_get( 0, stat, bcmFieldStatPackets, &value ), BCM_E_NONE );
  EXPECT_EQ( value, 0U );  // counters wrap
}

TEST_F( StatsTest, ObjectsServeOneEntryOfTheirInstance ) {
  U32 other = 0;
  U32 far = 0;
  ASSERT_EQ( firstError( { create( 1, &stat ), create( 1, &other ), create( 1 | pipe1, &far ) } ),
             BCM_E_NONE );
  EXPECT_TRUE( stat != 0 && stat != other && other != far );
  const auto attach = [ & ]( U32 entry, U32 id ) {
    return chip.bcm_field_entry_stat_attach( 0, entry, id );
  };
  const auto detach = [ & ]( U32 id ) { return chip.bcm_field_entry_stat_detach( 0, 5, id ); };
  const auto destroy = [ & ] { return chip.bcm_field_stat_destroy( 0, stat ); };
  EXPECT_EQ( ( Codes{ attach( 5, far ), attach( 5, 1000 ), attach( 5, stat ), attach( 5, other ),
                      attach( 6, stat ), destroy(), detach( other ) } ),
             ( Codes{ BCM_E_PARAM, BCM_E_NOT_FOUND, 0, BCM_E_EXISTS, BCM_E_BUSY, BCM_E_BUSY,
                      BCM_E_NOT_FOUND } ) );
  EXPECT_EQ(
      ( Codes{ chip.bcm_field_entry_remove( 0, 5 ), chip.bcm_field_entry_destroy( 0, 5 ),
               detach( stat ), chip.bcm_field_entry_destroy( 0, 5 ), destroy(), destroy() } ),
      ( Codes{ 0, BCM_E_BUSY, 0, 0, 0, BCM_E_NOT_FOUND } ) );
}

}  // namespace
}  // namespace SoftAsicTest
