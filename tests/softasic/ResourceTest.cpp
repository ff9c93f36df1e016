// Range checkers and policers: pools, use by entries, and policing.
#include <gtest/gtest.h>

#include <functional>
#include <sstream>

#include "tests/softasic/TestChip.h"

namespace SoftAsicTest {
namespace {

using ::SoftAsic::Colour;
using ::SoftAsic::Meter;

constexpr U32 pipe1 = 1U << 24;

ChipProfile withResources( ChipProfile profile ) {
  profile.rangeCheckers = profile.policers = 3;
  return profile;
}

class RangeTest : public testing::Test {
 protected:
  int create( U32 flags, U32 low, U32 high ) {
    return chip.bcm_field_range_create( 0, &id, flags, low, high );
  }
  int destroy( U32 range ) { return chip.bcm_field_range_destroy( 0, range ); }
  int qualify( U32 entry, U32 range ) {
    return chip.bcm_field_qualify_RangeCheck( 0, entry, range, 0 );
  }
  TestChip chip{ withResources( smallProfile() ) };
  U32 id = 0;
};

TEST_F( RangeTest, AllocatesFromThePoolAndChecksIntervals ) {
  constexpr U32 src = BCM_FIELD_RANGE_SRCPORT;
  constexpr U32 vlan = BCM_FIELD_RANGE_OUTERVLAN;
  EXPECT_EQ( ( Codes{ create( src, 0, 0x10000 ), create( vlan, 5, 4096 ), create( src, 6, 5 ),
                      create( 0, 1, 2 ), create( src | vlan, 1, 2 ), create( 16, 1, 2 ) } ),
             Codes( 6, BCM_E_PARAM ) );
  EXPECT_EQ( ( Codes{ create( src, 0, 0xFFFF ), create( vlan, 5, 5 ), create( vlan, 5, 5 ),
                      create( vlan, 5, 6 ), static_cast< int >( id ) } ),
             ( Codes{ 0, 0, 0, BCM_E_RESOURCE, 3 } ) );
  EXPECT_EQ( ( Codes{ destroy( 2 ), destroy( 2 ), destroy( 0 ), destroy( 4 ) } ),
             ( Codes{ 0, BCM_E_NOT_FOUND, BCM_E_NOT_FOUND, BCM_E_NOT_FOUND } ) );
  EXPECT_EQ( create( vlan, 1, 2 ), BCM_E_NONE );
  EXPECT_EQ( id, 2U );
}

TEST_F( RangeTest, CheckersInUseAreBusy ) {
  ASSERT_EQ(
      firstError(
          { chip.createGroup( groupConfig( 1, { bcmFieldQualifyRangeCheck } ) ),
            chip.createGroup( groupConfig( 2, { bcmFieldQualifyDstIp } ) ),
            chip.bcm_field_entry_create_id( 0, 1, 5 ), chip.bcm_field_entry_create_id( 0, 1, 6 ),
            chip.bcm_field_entry_create_id( 0, 2, 7 ), create( BCM_FIELD_RANGE_DSTPORT, 1, 2 ) } ),
      BCM_E_NONE );
  EXPECT_EQ( ( Codes{ qualify( 7, id ), qualify( 99, id ), qualify( 5, 3 ) } ),
             ( Codes{ BCM_E_PARAM, BCM_E_NOT_FOUND, BCM_E_NOT_FOUND } ) );
  const std::pair< std::function< int() >, std::vector< U32 > > steps[] = {
      { [ & ] { return qualify( 5, id ); }, { 5 } },
      { [ & ] { return chip.kelmor_field_entry_copy_id( 0, 5, 6 ); }, { 5, 6 } },
      { [ & ] { return chip.bcm_field_entry_install( 0, 6 ); }, { 5, 6 } },
      { [ & ] { return chip.bcm_field_qualify_clear( 0, 5 ); }, { 6 } },
      { [ & ] { return chip.bcm_field_qualify_clear( 0, 6 ); },
        { 6 } },  // still in the installed rule
      { [ & ] { return chip.bcm_field_entry_remove( 0, 6 ); }, {} },
      { [ & ] { return qualify( 6, id ); }, { 6 } },
      { [ & ] { return chip.bcm_field_entry_destroy( 0, 6 ); }, {} } };
  for ( const auto & [ act, users ] : steps ) {
    ASSERT_EQ( act(), BCM_E_NONE );
    EXPECT_EQ( chip.ranges( 0 )[ 0 ].entries, users );
    EXPECT_TRUE( users.empty() || destroy( id ) == BCM_E_BUSY );
  }
  EXPECT_EQ( destroy( id ), BCM_E_NONE );
}

// Per packet: time in ms, bytes, colour before and after. 1,000 bytes are 8 kbit.
TEST( MeterTest, ColoursAsCalculatedByHand ) {
  const std::pair< bcm_policer_config_t, const char * > cases[] = {
      // 8 kbit/s, bucket of 16 kbit: one packet per second, for green packets only.
      { { 0, bcmPolicerModeCommitted, 8, 16, 99, 99 },
        "0 1000 gg  0 1000 gg  0 1 gr  999 1000 gr  1000 1000 gg  1500 500 gg "
        "1000000 2000 gg  1000000 1 gr  1001000 1000 yr" },
      // 8 kbit/s into a bucket of 8 kbit that overflows into another of 8 kbit.
      { { 0, bcmPolicerModeSrTcm, 8, 8, 0, 8 },
        "0 1000 gg  0 1000 gy  0 1 gr  1500 500 yy  1500 1000 gg  2000 1000 gr  2500 1000 rr "
        "2500 1000 gg" },
      { { BCM_POLICER_COLOR_BLIND, bcmPolicerModeSrTcm, 8, 8, 0, 8 },
        "0 1000 rg  0 1000 yy  0 1000 gr" },
      // 8 kbit/s, bucket of 8 kbit; peak 16 kbit/s, bucket of 24 kbit.
      { { 0, bcmPolicerModeTrTcm, 8, 8, 16, 24 },
        "0 1000 gg  0 1000 gy  0 1000 yy  0 1 gr  500 1000 gy  1000 1000 rr  1000 1000 gg "
        "1000 1 gr" },
      // The largest rate and bucket do not overflow.
      { { 0, bcmPolicerModeCommitted, ~0U, ~0U, 0, 0 },
        "0 536870911875 gg  0 1 gr  1001 536870911875 gg  4000000000 536870911876 gr" } };
  const std::string letters = "gyr";
  for ( const auto & [ config, packets ] : cases ) {
    ASSERT_TRUE( Meter::accepts( config ) );
    Meter meter( config, 0 );
    std::istringstream in( packets );
    U64 at = 0;
    U64 bytes = 0;
    for ( std::string colours; in >> at >> bytes >> colours; )
      EXPECT_EQ( letters[ U32( meter.mark( static_cast< Colour >( letters.find( colours[ 0 ] ) ),
                                           bytes, at * 1000000 ) ) ],
                 colours[ 1 ] )
          << "mode " << config.mode << " at " << at << ", " << bytes << " bytes";
  }
  const bcm_policer_config_t refused[] = { { 0, 3, 1, 1, 1, 1 }, { 4, 0, 1, 1, 0, 0 },
                                           { 0, 0, 1, 0, 0, 0 }, { 0, 1, 1, 0, 9, 0 },
                                           { 0, 2, 2, 1, 1, 1 }, { 0, 2, 1, 1, 1, 0 } };
  for ( const bcm_policer_config_t & bad : refused )
    EXPECT_FALSE( Meter::accepts( bad ) );
}

class PolicerTest : public testing::Test {
 protected:
  PolicerTest() {
    for ( const U32 bits : { 0U, pipe1 } ) {
      EXPECT_EQ( chip.createGroup( groupConfig( 1 | bits, { bcmFieldQualifyDstIp } ) ), 0 );
      EXPECT_EQ( chip.addRule( 1 | bits, 5 | bits, 5, 0, 0 ), 0 );
      EXPECT_EQ( chip.addRule( 1 | bits, 6 | bits, 6, 0, 0 ), 0 );
    }
  }
  int create( U32 & policer, U32 flags = 0 ) {
    config.flags = flags;
    return chip.bcm_policer_create( 0, &config, &policer );
  }
  int createAt( U32 policer ) { return create( policer, BCM_POLICER_WITH_ID ); }
  int attach( U32 entry, U32 policer, int level = 0 ) {
    return chip.bcm_field_entry_policer_attach( 0, entry, level, policer );
  }
  int detach( U32 entry ) { return chip.bcm_field_entry_policer_detach( 0, entry, 0 ); }
  int destroy( U32 policer ) { return chip.bcm_policer_destroy( 0, policer ); }
  bcm_policer_config_t config = { 0, bcmPolicerModeCommitted, 8, 16, 0, 0 };
  TestChip chip{ withResources( bigProfile() ) };
  U32 id = 0;
};

TEST_F( PolicerTest, AllocatesPerPipeAndTracksUsers ) {
  const U32 far = 2 | pipe1;  // pool of another pipe
  EXPECT_EQ( ( Codes{ create( id ), create( id ), create( id ), create( id ) } ),
             ( Codes{ 0, 0, 0, BCM_E_RESOURCE } ) );
  EXPECT_EQ( id, 3U );
  EXPECT_EQ( ( Codes{ createAt( far ), createAt( far ), createAt( 0 ), createAt( 4 ),
                      createAt( 1 | 2U << 24 ), createAt( 1 | 1U << 26 ) } ),
             ( Codes{ 0, BCM_E_EXISTS, BCM_E_PARAM, BCM_E_PARAM, BCM_E_PARAM, BCM_E_PARAM } ) );
  EXPECT_EQ( ( Codes{ attach( 5, 2, 1 ), attach( 5, far ), attach( 5, 9 ), attach( 5, 2 ),
                      attach( 6, 2 ), attach( 5 | pipe1, far ), attach( 5, 1 ) } ),
             ( Codes{ BCM_E_PARAM, BCM_E_PARAM, BCM_E_NOT_FOUND, 0, 0, 0, BCM_E_EXISTS } ) );
  EXPECT_EQ( chip.policers( 0 )[ 1 ].entries, ( std::vector< U32 >{ 5, 6 } ) );
  EXPECT_EQ( ( Codes{ destroy( 2 ), chip.bcm_field_entry_remove( 0, 5 ),
                      chip.bcm_field_entry_destroy( 0, 5 ), detach( 5 ), detach( 5 ),
                      chip.bcm_field_entry_destroy( 0, 5 ), destroy( 2 ),
                      chip.bcm_field_entry_policer_detach_all( 0, 6 ),
                      chip.bcm_field_entry_policer_detach_all( 0, 6 ), destroy( 2 ) } ),
             ( Codes{ BCM_E_BUSY, 0, BCM_E_BUSY, 0, BCM_E_NOT_FOUND, 0, BCM_E_BUSY, 0, 0, 0 } ) );
  EXPECT_EQ( create( id ), BCM_E_NONE );
  EXPECT_EQ( id, 2U );
}

TEST_F( PolicerTest, DropsAndCountsByColour ) {
  const bcm_field_stat_t types[] = { bcmFieldStatPackets, bcmFieldStatGreenBytes,
                                     bcmFieldStatYellowPackets, bcmFieldStatRedBytes };
  U32 stat = 0;
  config = { 0, bcmPolicerModeSrTcm, 1, 1, 0, 1 };
  ASSERT_EQ(
      firstError( { chip.bcm_field_stat_create( 0, 1, 4, types, &stat ),
                    chip.bcm_field_entry_stat_attach( 0, 6, stat ), create( id ), attach( 6, id ),
                    chip.bcm_field_action_add( 0, 6, bcmFieldActionCopyToCpu, 0, 0 ),
                    chip.bcm_field_entry_install( 0, 6 ) } ),
      BCM_E_NONE );
  const auto send = [ & ]( U32 count, Colour colour ) {
    for ( U32 i = 0; i < count; ++i ) {
      const auto verdict = chip.send( {} );
      EXPECT_EQ( verdict.colour, colour );
      EXPECT_EQ( verdict.drop, colour == Colour::red );
      EXPECT_EQ( verdict.permit && verdict.copyToCpu, colour != Colour::red );
    }
  };
  ASSERT_EQ( frameOf( {} ).size(), 54U );  // 432 bits
  send( 2, Colour::green );
  send( 2, Colour::yellow );
  send( 3, Colour::red );
  chip.advance( 0, ( 432 - 136 ) * 1000000 );  // 136 bits left
  send( 1, Colour::green );
  send( 1, Colour::red );
  const auto view = *chip.statistic( 0, stat );
  EXPECT_EQ( view.values[ 0 ].second, 9U );
  EXPECT_EQ( view.values[ 1 ].second, 3 * 54U );
  EXPECT_EQ( view.values[ 3 ].second, 4 * 54U );
  // Refilled; packets that an earlier stage coloured yellow.
  U32 early = 0;
  config = { 0, bcmPolicerModeSrTcm, 1, 1, 0, 1 };
  ASSERT_EQ( chip.bcm_policer_set( 0, id, &config ), BCM_E_NONE );
  config.ckbits_burst = 0;
  ASSERT_EQ(
      firstError( { chip.createGroup( groupConfig( 9, { bcmFieldQualifyStageLookup } ) ),
                    chip.bcm_field_entry_create_id( 0, 9, 9 ), chip.bcm_field_entry_install( 0, 9 ),
                    create( early ), attach( 9, early ) } ),
      BCM_E_NONE );
  send( 2, Colour::yellow );
  ASSERT_EQ( chip.bcm_field_entry_policer_detach( 0, 9, 0 ), BCM_E_NONE );
  send( 2, Colour::green );  // yellow packets did not use the committed bucket
  send( 1, Colour::red );
}

}  // namespace
}  // namespace SoftAsicTest
