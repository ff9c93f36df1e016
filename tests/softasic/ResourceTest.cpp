// Range checkers and policers: pools, who uses them, and what they do to packets.
#include <gtest/gtest.h>

#include <functional>

#include "tests/softasic/TestChip.h"

namespace SoftAsicTest {
namespace {

using ::SoftAsic::Colour;
using ::SoftAsic::Meter;

constexpr U32 pipe1 = 1U << 24;

ChipProfile withResources( ChipProfile profile ) {
  profile.rangeCheckers = 4;
  profile.policers = 3;
  return profile;
}

class RangeTest : public testing::Test {
 protected:
  RangeTest() {
    EXPECT_EQ( chip.createGroup( groupConfig( 1, { bcmFieldQualifyRangeCheck } ) ), 0 );
    EXPECT_EQ( chip.createGroup( groupConfig( 2, { bcmFieldQualifyDstIp } ) ), 0 );
    for ( const U32 entry : { 5U, 6U } )
      EXPECT_EQ( chip.bcm_field_entry_create_id( 0, 1, entry ), 0 );
  }
  U32 make( U32 flags, U32 low, U32 high ) {
    U32 id = 0;
    EXPECT_EQ( chip.bcm_field_range_create( 0, &id, flags, low, high ), BCM_E_NONE );
    return id;
  }
  int qualify( U32 entry, U32 range, bool invert = false ) {
    return chip.bcm_field_qualify_RangeCheck( 0, entry, range, invert ? 1 : 0 );
  }
  TestChip chip{ withResources( smallProfile() ) };
};

TEST_F( RangeTest, PoolAndIntervals ) {
  const struct {
    U32 flags, low, high;
    int rc;
  } cases[] = {
      { BCM_FIELD_RANGE_SRCPORT, 0, 0xFFFF, BCM_E_NONE },
      { BCM_FIELD_RANGE_SRCPORT, 0, 0x10000, BCM_E_PARAM },
      { BCM_FIELD_RANGE_OUTERVLAN, 5, 5, BCM_E_NONE },
      { BCM_FIELD_RANGE_OUTERVLAN, 5, 4096, BCM_E_PARAM },
      { BCM_FIELD_RANGE_DSTPORT, 6, 5, BCM_E_PARAM },
      { 0, 1, 2, BCM_E_PARAM },
      { BCM_FIELD_RANGE_SRCPORT | BCM_FIELD_RANGE_DSTPORT, 1, 2, BCM_E_PARAM },
      { BCM_FIELD_RANGE_DSTPORT, 1, 2, BCM_E_NONE },
      { BCM_FIELD_RANGE_DSTPORT, 1, 2, BCM_E_NONE },  // the chip does not share
      { BCM_FIELD_RANGE_DSTPORT, 1, 2, BCM_E_RESOURCE },
  };
  U32 given = 0;
  for ( const auto & [ flags, low, high, rc ] : cases ) {
    U32 id = 0;
    EXPECT_EQ( chip.bcm_field_range_create( 0, &id, flags, low, high ), rc ) << flags;
    EXPECT_EQ( id, rc == BCM_E_NONE ? ++given : 0U );
  }
  EXPECT_EQ( chip.group( 0, 1 )->keyBits, 4U );
  ASSERT_EQ( chip.bcm_field_range_destroy( 0, 2 ), BCM_E_NONE );
  for ( const U32 unknown : { 0U, 2U, 5U } )
    EXPECT_EQ( chip.bcm_field_range_destroy( 0, unknown ), BCM_E_NOT_FOUND );
  EXPECT_EQ( make( BCM_FIELD_RANGE_PACKETLEN, 64, 1518 ), 2U );
  EXPECT_EQ( chip.ranges( 0 )[ 1 ].high, 1518U );
}

TEST_F( RangeTest, BusyWhileARuleHoldsIt ) {
  const U32 id = make( BCM_FIELD_RANGE_DSTPORT, 10, 20 );
  ASSERT_EQ( chip.bcm_field_entry_create_id( 0, 2, 7 ), BCM_E_NONE );
  EXPECT_EQ( qualify( 7, id ), BCM_E_PARAM );  // not in the group's set
  EXPECT_EQ( qualify( 99, id ), BCM_E_NOT_FOUND );
  EXPECT_EQ( qualify( 5, 4 ), BCM_E_NOT_FOUND );
  const struct {
    std::function< int() > act;
    std::vector< U32 > users;
  } steps[] = {
      { [ & ] { return qualify( 5, id ); }, { 5 } },
      { [ & ] { return chip.kelmor_field_entry_copy_id( 0, 5, 6 ); }, { 5, 6 } },
      { [ & ] { return chip.bcm_field_entry_install( 0, 6 ); }, { 5, 6 } },
      { [ & ] { return chip.bcm_field_qualify_clear( 0, 5 ); }, { 6 } },
      { [ & ] { return chip.bcm_field_qualify_clear( 0, 6 ); }, { 6 } },  // still installed with it
      { [ & ] { return chip.bcm_field_entry_remove( 0, 6 ); }, {} },
      { [ & ] { return qualify( 6, id, true ); }, { 6 } },
      { [ & ] { return chip.bcm_field_entry_destroy( 0, 6 ); }, {} },
  };
  for ( const auto & [ act, users ] : steps ) {
    ASSERT_EQ( act(), BCM_E_NONE );
    EXPECT_EQ( chip.ranges( 0 )[ 0 ].entries, users );
    if ( !users.empty() ) {
      EXPECT_EQ( chip.bcm_field_range_destroy( 0, id ), BCM_E_BUSY );
    }
  }
  EXPECT_EQ( chip.bcm_field_range_destroy( 0, id ), BCM_E_NONE );
}

TEST_F( RangeTest, MatchesTheIntervalAndNothingWithoutTheField ) {
  const U32 destination = make( BCM_FIELD_RANGE_DSTPORT, 10, 20 );
  ASSERT_EQ( firstError( { qualify( 5, destination ),
                           qualify( 5, make( BCM_FIELD_RANGE_SRCPORT, 1000, 1000 ) ),
                           chip.bcm_field_entry_install( 0, 5 ), qualify( 6, destination, true ),
                           chip.bcm_field_entry_install( 0, 6 ) } ),
             BCM_E_NONE );
  Packet packet;
  for ( const auto & [ port, winner ] :
        { std::pair{ 9, 6U }, { 10, 5U }, { 15, 5U }, { 20, 5U }, { 21, 6U }, { 0xFFFF, 6U } } ) {
    packet.dstPort = static_cast< U16 >( port );
    EXPECT_EQ( chip.winner( packet ), winner ) << port;
  }
  packet.protocol = 1;  // no ports: the inverted check matches as little as the other
  EXPECT_EQ( chip.winner( packet ), 0U );

  ASSERT_EQ( chip.bcm_field_qualify_clear( 0, 5 ), BCM_E_NONE );
  const U32 length = static_cast< U32 >( frameOf( packet ).size() );
  ASSERT_EQ( firstError( { qualify( 5, make( BCM_FIELD_RANGE_OUTERVLAN, 7, 8 ) ),
                           qualify( 5, make( BCM_FIELD_RANGE_PACKETLEN, 0, length + 4 ) ),
                           chip.bcm_field_entry_install( 0, 5 ) } ),
             BCM_E_NONE );
  EXPECT_EQ( chip.winner( packet ), 0U );
  packet.tags = { 0x6008 };
  EXPECT_EQ( chip.winner( packet ), 5U );
  packet.tags = { 0x6008, 0x0007 };  // one tag more is too long
  EXPECT_EQ( chip.winner( packet ), 0U );
}

// Times in milliseconds; a packet of 1,000 bytes is 8 kilobits. Levels after each row in comments.
TEST( Meter, BucketsByHand ) {
  struct Row {
    U64 at, bytes;
    Colour before, after;
  };
  constexpr Colour g = Colour::green;
  constexpr Colour y = Colour::yellow;
  constexpr Colour r = Colour::red;
  const struct {
    bcm_policer_config_t config;
    std::vector< Row > rows;
  } cases[] = {
      // 8 kbit/s, burst 16 kbit: one packet a second.
      { { 0, bcmPolicerModeCommitted, 8, 16, 99, 99 },
        { { 0, 1000, g, g },
          { 0, 1000, g, g },
          { 0, 1, g, r },  // 0
          { 999, 1000, g, r },
          { 1000, 1000, g, g },  // 0
          { 1500, 500, g, g },
          { 1000000, 2000, g, g },
          { 1000000, 1, g, r },         // full, no more
          { 1001000, 1000, y, r } } },  // only green may use it
      // The committed bucket overflows into the excess bucket of 8 kbit.
      { { 0, bcmPolicerModeSrTcm, 8, 8, 0, 8 },
        { { 0, 1000, g, g },
          { 0, 1000, g, y },
          { 0, 1, g, r },        // 0, 0
          { 1500, 500, y, y },   // 8, 4 - 4
          { 1500, 1000, g, g },  // 0, 0
          { 2000, 1000, g, r },
          { 2500, 1000, r, r },
          { 2500, 1000, g, g } } },
      // Colour-blind takes what came yellow, and even red, for green.
      { { BCM_POLICER_COLOR_BLIND, bcmPolicerModeSrTcm, 8, 8, 0, 8 },
        { { 0, 1000, r, g }, { 0, 1000, y, y }, { 0, 1000, g, r } } },
      // Committed 8 kbit/s, burst 8; peak 16 kbit/s, burst 24.
      { { 0, bcmPolicerModeTrTcm, 8, 8, 16, 24 },
        { { 0, 1000, g, g },
          { 0, 1000, g, y },
          { 0, 1000, y, y },
          { 0, 1, g, r },       // 0, 0
          { 500, 1000, g, y },  // 4, 0
          { 1000, 1000, r, r },
          { 1000, 1000, g, g },  // 0, 0
          { 1000, 1, g, r } } },
      { { 0, bcmPolicerModeCommitted, ~0U, ~0U, 0, 0 },  // no overflow at the far end
        { { 0, 536870911875, g, g }, { 0, 1, g, r }, { ~0U, 536870911875, g, g } } },
  };
  for ( const auto & [ config, rows ] : cases ) {
    ASSERT_TRUE( Meter::accepts( config ) );
    Meter meter( config, 0 );
    for ( const Row & row : rows )
      EXPECT_EQ( meter.mark( row.before, row.bytes, row.at * 1000000 ), row.after )
          << "mode " << config.mode << " at " << row.at << ", " << row.bytes << " bytes";
  }
  for ( const bcm_policer_config_t & bad :
        std::initializer_list< bcm_policer_config_t >{ { 0, 3, 1, 1, 1, 1 },
                                                       { 4, 0, 1, 1, 0, 0 },
                                                       { 0, 0, 1, 0, 0, 0 },
                                                       { 0, 1, 1, 0, 9, 0 },
                                                       { 0, 2, 2, 1, 1, 1 },
                                                       { 0, 2, 1, 1, 1, 0 } } )
    EXPECT_FALSE( Meter::accepts( bad ) );
}

class PolicerTest : public testing::Test {
 protected:
  PolicerTest() {
    for ( const U32 bits : { 0U, pipe1 } ) {
      EXPECT_EQ( chip.createGroup( groupConfig( 1 | bits, { bcmFieldQualifyDstIp } ) ), 0 );
      for ( const U32 entry : { 5U, 6U } )
        EXPECT_EQ( chip.addRule( 1 | bits, entry | bits, entry, 0, 0 ), 0 );
    }
  }
  int create( U32 & id, U32 flags = 0 ) {
    config.flags = flags;
    return chip.bcm_policer_create( 0, &config, &id );
  }
  int attach( U32 entry, U32 policer, int level = 0 ) {
    return chip.bcm_field_entry_policer_attach( 0, entry, level, policer );
  }
  bcm_policer_config_t config = { 0, bcmPolicerModeCommitted, 8, 16, 0, 0 };
  TestChip chip{ withResources( bigProfile() ) };
};

TEST_F( PolicerTest, IdsPoolsAndUsers ) {
  U32 id = 0;
  for ( const U32 number : { 1U, 2U, 3U } ) {
    ASSERT_EQ( create( id ), BCM_E_NONE );
    EXPECT_EQ( id, number );
  }
  EXPECT_EQ( create( id ), BCM_E_RESOURCE );
  U32 far = 2 | pipe1;  // another pipe's pool
  EXPECT_EQ( create( far, BCM_POLICER_WITH_ID ), BCM_E_NONE );
  EXPECT_EQ( create( far, BCM_POLICER_WITH_ID ), BCM_E_EXISTS );
  for ( U32 bad : { 0U, 4U, 1U | 2U << 24, 1U | 1U << 26 } )
    EXPECT_EQ( create( bad, BCM_POLICER_WITH_ID ), BCM_E_PARAM );

  EXPECT_EQ( attach( 5, 2, 1 ), BCM_E_PARAM );
  EXPECT_EQ( attach( 5, far ), BCM_E_PARAM );
  EXPECT_EQ( attach( 5, 9 ), BCM_E_NOT_FOUND );
  ASSERT_EQ( firstError( { attach( 5, 2 ), attach( 6, 2 ), attach( 5 | pipe1, far ) } ), 0 );
  EXPECT_EQ( attach( 5, 1 ), BCM_E_EXISTS );
  EXPECT_EQ( chip.policers( 0 )[ 1 ].entries, ( std::vector< U32 >{ 5, 6 } ) );
  EXPECT_EQ( chip.bcm_policer_destroy( 0, 2 ), BCM_E_BUSY );
  ASSERT_EQ( chip.bcm_field_entry_remove( 0, 5 ), BCM_E_NONE );
  EXPECT_EQ( chip.bcm_field_entry_destroy( 0, 5 ), BCM_E_BUSY );
  ASSERT_EQ( chip.bcm_field_entry_policer_detach( 0, 5, 0 ), BCM_E_NONE );
  EXPECT_EQ( chip.bcm_field_entry_policer_detach( 0, 5, 0 ), BCM_E_NOT_FOUND );
  EXPECT_EQ( chip.bcm_field_entry_destroy( 0, 5 ), BCM_E_NONE );
  EXPECT_EQ( chip.bcm_policer_destroy( 0, 2 ), BCM_E_BUSY );
  for ( int i = 0; i < 2; ++i )
    EXPECT_EQ( chip.bcm_field_entry_policer_detach_all( 0, 6 ), BCM_E_NONE );
  EXPECT_EQ( chip.bcm_policer_destroy( 0, 2 ), BCM_E_NONE );
  EXPECT_EQ( chip.bcm_policer_set( 0, 2, &config ), BCM_E_NOT_FOUND );
  EXPECT_EQ( create( id ), BCM_E_NONE );
  EXPECT_EQ( id, 2U );
}

TEST_F( PolicerTest, DropsAndCountsByColour ) {
  const bcm_field_stat_t types[] = { bcmFieldStatPackets, bcmFieldStatGreenBytes,
                                     bcmFieldStatYellowPackets, bcmFieldStatRedPackets,
                                     bcmFieldStatRedBytes };
  U32 stat = 0;
  U32 id = 0;
  const U32 bytes = static_cast< U32 >( frameOf( {} ).size() );  // 54: 1 kbit holds two
  ASSERT_EQ( bytes, 54U );
  config = { 0, bcmPolicerModeSrTcm, 1, 1, 0, 1 };
  ASSERT_EQ(
      firstError( { chip.bcm_field_stat_create( 0, 1, 5, types, &stat ),
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
  send( 2, Colour::green );
  send( 2, Colour::yellow );
  send( 3, Colour::red );
  chip.advance( 0, 432000000 - 136000000 );  // 432 bits, of which 136 were left
  send( 1, Colour::green );
  send( 1, Colour::red );
  EXPECT_EQ( chip.now( 0 ), 296000000U );
  std::vector< U64 > values;
  const auto view = *chip.statistic( 0, stat );
  for ( const auto & value : view.values )
    values.push_back( value.second );
  EXPECT_EQ( values, ( std::vector< U64 >{ 9, 3 * bytes, 2, 4, 4 * bytes } ) );
  ASSERT_EQ( chip.bcm_policer_set( 0, id, &config ), BCM_E_NONE );  // full again
  send( 2, Colour::green );
}

TEST_F( PolicerTest, LaterStagesSeeTheColour ) {
  ASSERT_EQ( chip.createGroup( groupConfig( 9, { bcmFieldQualifyStageLookup } ) ), BCM_E_NONE );
  ASSERT_EQ( chip.bcm_field_entry_create_id( 0, 9, 9 ), BCM_E_NONE );
  ASSERT_EQ( chip.bcm_field_entry_install( 0, 9 ), BCM_E_NONE );
  U32 first = 0;
  U32 second = 0;
  config = { 0, bcmPolicerModeSrTcm, 0, 0, 0, 1 };  // all yellow
  ASSERT_EQ( create( first ), BCM_E_NONE );
  config = { 0, bcmPolicerModeCommitted, 0, 99, 0, 0 };
  ASSERT_EQ( create( second ), BCM_E_NONE );
  ASSERT_EQ( firstError( { attach( 9, first ), attach( 6, second ) } ), BCM_E_NONE );
  auto verdict = chip.send( {} );
  EXPECT_TRUE( verdict.drop && verdict.matches.size() == 2 );
  config.flags = BCM_POLICER_COLOR_BLIND;
  ASSERT_EQ( chip.bcm_policer_set( 0, second, &config ), BCM_E_NONE );
  verdict = chip.send( {} );
  EXPECT_TRUE( !verdict.drop && verdict.colour == Colour::yellow );
}

}  // namespace
}  // namespace SoftAsicTest
