// Statistics: real packets counted on every pipe and copy, read, cleared, and refused.

#include "tests/morvane/TestSwitch.h"

namespace Test::Statistics {

Kiv::Ptr< StatTypes > types( const std::vector< U32 > & list ) {
  const auto made = Kiv::make< StatTypes >( Kiv::Name( "types" ) );
  for ( U32 i = 0; i < list.size(); ++i )
    made->typeIs( i, list[ i ] );
  return made;
}

TEST( StatisticsTest, HitsAreSummedOverPipesAndCopies ) {
  TestSwitch sw( { .pipes = 2, .secondCopy = true, .presels = true } );
  sw.platform.acl( 1, 4 );
  sw.start();
  MorvaneBoundedTcamEntryManager & acl = sw.bounded( ipAclTcamGroup );
  const U32 id = acl.getEntryWithStats( 0, 0x10000, "all", types( { 0, 1, 2, 3, 4, 5, 6, 7 } ) );
  sw.match( 0, id, 9 );
  acl.installEntry( 0, id );
  for ( const U32 port : { 0, 7, 8, 15 } )  // each in another pipe and copy
    for ( U32 n = 0; n <= port; ++n )
      EXPECT_NE( sw.hit( 0, port, 9 ), 0U );
  EXPECT_EQ( acl.hitsForEntry( 0, id ), 1U + 8 + 9 + 16 );
  EXPECT_EQ( acl.hitsForPipeEntry( 0, tcamId( id, 1, 1 ) ), 16U );
  EXPECT_EQ( acl.byteHitsForEntry( 0, id ), 64U );  // of pipe 0, copy 0 alone

  // Every getter reads its own counter.
  const U32 unit = 0, stat = sw.records( acl ).entryStats( id );
  for ( U32 type = 0; type < 8; ++type )
    SDK_CHECKED( bcm_field_stat_set( unit, stat, bcm_field_stat_t( type ), 10 + type ) );
  const auto read = [ & ] {
    return fmt::format( "{} {} {} {} {} {} {} {}", acl.hitsForPipeEntry( 0, id ),
                        acl.byteHitsForEntry( 0, id ), acl.greenPktHitsForEntry( 0, id ),
                        acl.greenByteHitsForEntry( 0, id ), acl.yellowPktHitsForEntry( 0, id ),
                        acl.yellowByteHitsForEntry( 0, id ), acl.pktDropsForEntry( 0, id ),
                        acl.byteDropsForEntry( 0, id ) );
  };
  EXPECT_EQ( read(), "10 11 12 13 14 15 16 17" );
  acl.clearHitsForEntry( 0, id );
  EXPECT_EQ( read(), "0 11 0 13 14 15 0 17" );
  EXPECT_EQ( acl.hitsForEntry( 0, id ), 0U );  // of all copies
  EXPECT_EQ( acl.byteHitsForEntry( 0, tcamId( id, 0, 1 ) ), 8U * 64 );
  EXPECT_EQ( callTexts( [ & ] { acl.clearBytesForEntry( 0, id ); } ).front(),
             "bcm_field_stat_set( unit, statsId, bcmFieldStatBytes, 0 ) (rv:0)" );
  EXPECT_EQ( read(), "0 0 0 0 14 15 0 0" );
  EXPECT_EQ( acl.byteHitsForEntry( 0, tcamId( id, 0, 1 ) ), 0U );
  acl.clearCountersForEntry( 0, id );
  EXPECT_EQ( read(), "0 0 0 0 0 0 0 0" );
}

TEST( StatisticsTest, InvalidTypesEndTheProcess ) {
  TestSwitch sw;
  sw.platform.acl( 1, 8 );
  sw.platform.group( 2, { bcmFieldQualifyDstIp } ).user( qosTcamGroup, 2, 8, tcamAllocateOnDemand );
  sw.platform.noStats = { 2 };
  sw.start();
  MorvaneBoundedTcamEntryManager & acl = sw.bounded( ipAclTcamGroup );
  const struct {
    std::vector< U32 > types;
    bool fits;
  } rows[] = { { { 0, 1 }, true },  { { 5, 4 }, true }, { { 0, 2 }, false },
               { { 3, 0 }, false }, { { 6 }, true },    { { 0, 4, 7 }, true } };
  for ( const auto & row : rows ) {
    const auto get = [ & ] { acl.getEntryWithStats( 0, 0x10000, "rule", types( row.types ) ); };
    const std::string text = deathOf( get );
    EXPECT_THAT( text,
                 HasSubstr( row.fits ? "survived"
                                     : "abs( statTypesList[ 0 ] - statTypesList[ 1 ] ) == 1" ) );
  }
  // A null list means packets and bytes; types are read in index order.
  EXPECT_NE( acl.getEntryWithStats( 0, 0x10001, "rule", nullptr ), 0U );
  const auto values = sw.asic.statistic( 0, sw.records( acl ).entryStats( 0x10001 ) )->values;
  EXPECT_TRUE( values.size() == 2 && values[ 0 ].first == 0 && values[ 1 ].first == 1 );

  // Colours add up; without a policer all is green.
  const std::pair< std::vector< U32 >, const char * > counted[] = {
      { { 2, 3 }, "2 128" }, { { 1 }, "0 128" }, { { 4, 2, 6 }, "2 0" } };
  for ( U32 i = 0; i < 3; ++i ) {
    const U32 id = acl.getEntryWithStats( 0, 0x10002 + i, "rule", types( counted[ i ].first ) );
    sw.match( 0, id, id ), acl.installEntry( 0, id );
    sw.hit( 0, 0, id ), sw.hit( 0, 0, id );
    EXPECT_EQ( fmt::format( "{} {}", acl.hitsForEntry( 0, id ), acl.byteHitsForEntry( 0, id ) ),
               counted[ i ].second );
  }
  // Statistics of their own.
  const U32 id = 0x10001, stat = sw.records( acl ).entryStats( id );
  acl.removeStats( 0, id );
  EXPECT_FALSE( sw.asic.statistic( 0, stat ) || sw.records( acl ).entryStatsHas( id ) );
  sw.faults.arm( { .op = SdkOp::bcm_field_stat_create, .rc = -14 } );
  EXPECT_EQ( acl.installStats( 0, 1, id, nullptr ), 0U );
  const U32 again = acl.installStats( 0, 1, id, nullptr );
  EXPECT_EQ( sw.asic.statistic( 0, again )->values.size(), 2U );
  EXPECT_EQ( sw.records( acl ).entryStats( id ), again );
  EXPECT_EQ( sw.audit(), "" );

  const U32 bare = sw.take( qosTcamGroup );
  sw.log.clear();
  sw.bounded( qosTcamGroup ).clearHitsForEntry( 0, bare );
  sw.bounded( qosTcamGroup ).clearBytesForEntry( 0, bare );
  sw.bounded( qosTcamGroup ).removeStats( 0, bare );
  EXPECT_EQ( sw.log.total(), 0U );
  acl.removeStats( 0, id );
  const std::function< void() > uses[] = {
      [ & ] { sw.bounded( qosTcamGroup ).hitsForEntry( 0, bare ); },
      [ & ] { acl.clearHitsForEntry( 0, id ); }, [ & ] { acl.clearBytesForEntry( 0, id ); },
      [ & ] { acl.clearCountersForEntry( 0, id ); } };
  for ( const auto & use : uses )
    EXPECT_THAT( deathOf( use ), HasSubstr( "Assertion `statsId > 0' failed." ) );
  acl.installStats( 0, 1, id, nullptr );
}

}  // namespace Test::Statistics
