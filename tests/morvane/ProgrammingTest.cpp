// Programming entries: input ports, loopback, enabling, compression.

#include "tests/morvane/TestSwitch.h"

namespace Test::Programming {

// Every geometry that differs in how a group is copied.
const Chip chips[] = { {},
                       { .pipes = 4 },
                       { .pipes = 2, .secondCopy = true },
                       { .pipes = 4, .secondCopy = true, .presels = true },
                       { .pipes = 4, .shared = true } };

std::vector< U32 > copiesOf( const TestSwitch & sw, U32 id ) {
  std::vector< U32 > ids;
  for ( const PipeCopy c : sw.groups->pipeCopies( 0, 1 ) )
    ids.push_back( c.entryId( id ) );
  return ids;
}

TEST( ProgrammingTest, InputPortsAreAppliedToEveryCopy ) {
  for ( const Chip & chip : chips ) {
    TestSwitch sw( chip );
    sw.platform.group( 1, { bcmFieldQualifyInPorts, bcmFieldQualifyInPort, bcmFieldQualifyDstIp } );
    sw.platform.user( ipAclTcamGroup, 1, 4, tcamAllocateOnDemand );
    sw.start();
    MorvaneBoundedTcamEntryManager & acl = sw.bounded( ipAclTcamGroup );
    const UnitEntriesCreated & records = sw.records( acl );
    sw.match( 0, sw.take( ipAclTcamGroup ), 5 );
    bcm_pbmp_t some = {}, all = {};
    for ( U32 port = 0; port < chip.pipes * portsPerPipe; ++port )
      all.add( port );
    some.add( 1 );
    some.add( chip.pipes * portsPerPipe - 1 );
    const auto check = [ & ]( const auto & matches ) {
      EXPECT_EQ( acl.installEntry( 0, 0x10000 ), 0 );
      for ( U32 port = 0; port < chip.pipes * portsPerPipe; ++port )
        EXPECT_EQ( sw.hit( 0, port, 5 ) != 0, matches( port ) ) << port;
    };
    acl.inPortsForEntryIs( 0, 0x10000, some, all, false );
    check( [ & ]( U32 port ) { return some.has( port ); } );
    EXPECT_FALSE( records.tcamEntryBcmPbmpHas( 0x10000 ) );
    for ( const U32 id : copiesOf( sw, 0x10000 ) )
      EXPECT_TRUE( records.entryInPorts( id ).data == some &&
                   acl.inPortsForEntry( 0, id ).data == some );
    sw.match( 0, 0x10000, 5 );
    check( []( U32 ) { return true; } );  // a temporary store is applied once
    acl.inPortForEntryIs( 0, 0x10000, 2, true );
    check( []( U32 port ) { return port == 2; } );
    for ( const U32 id : copiesOf( sw, 0x10000 ) )
      EXPECT_TRUE( records.entryInPorts( id ).data == bcm_pbmp_t{ { 4 } } &&
                   records.entryInPorts( id ).mask.has( 0 ) );
    acl.removeEntry( 0, 0x10000 );
    sw.match( 0, 0x10000, 5 );
    check( []( U32 port ) { return port == 2; } );  // a permanent one at each installation
    acl.tcamEntryBcmPbmpForget( 0, 0x10000 );
    acl.inPortsForEntryIs( 0, 0x10000, some, all, false );
    acl.removeEntry( 0, 0x10000 );  // discards a temporary store
    sw.match( 0, 0x10000, 5 );
    check( []( U32 ) { return true; } );
    EXPECT_EQ( sw.audit(), "" );
  }
}

TEST( ProgrammingTest, LoopbackRedirectsUseThePortOfEachPipe ) {
  for ( const bool singleView : { false, true } ) {
    TestSwitch sw( { .pipes = 2 } );
    sw.platform.acl( 1, 4 );
    sw.start( singleView );
    MorvaneBoundedTcamEntryManager & acl = sw.bounded( ipAclTcamGroup );
    const U32 id = sw.take( ipAclTcamGroup );
    bcm_pbmp_t out = {};
    out.add( 3 );
    acl.loopbackRedirectIs( 0, id, bcmFieldActionRedirectPbmp, out );
    acl.installEntry( 0, id );
    // The redirect stays in force, to each pipe's own port, however often the entry is installed.
    for ( U32 installation = 1; installation <= 3; ++installation, acl.installEntry( 0, id ) ) {
      for ( const U32 pipe : { 0U, 1U } ) {
        bcm_pbmp_t expected = out;
        expected.add( singleView ? 7 : 8 * pipe + 7 );
        const auto actions = sw.asic.entry( 0, tcamId( id, pipe, 0 ) )->effective.actions;
        ASSERT_EQ( actions.size(), 1U );
        EXPECT_EQ( actions[ 0 ].action, bcmFieldActionRedirectPbmp );
        EXPECT_EQ( actions[ 0 ].ports, expected );
      }
      EXPECT_EQ( sw.log.count( SdkOp::bcm_field_action_ports_add ), 2 * installation );
      EXPECT_EQ( sw.audit(), "" );
    }
    EXPECT_FALSE( sw.records( acl ).outportsBcmPbmpHas( id ) );
  }
}

TEST( ProgrammingTest, EnablingToleratesOneCode ) {
  TestSwitch sw( { .pipes = 2 } );
  sw.platform.acl( 1, 4 ).user( qosTcamGroup, 1, 4, tcamAllocateOnDemand );
  sw.start( true );
  MorvaneBoundedTcamEntryManager & acl = sw.bounded( ipAclTcamGroup );
  const U32 id = sw.take( ipAclTcamGroup );
  const struct {
    int rc, tolerated;
    bool fatal;
  } rows[] = { { -7, -7, false }, { -7, 0, true }, { -7, 7, true }, { -10, -7, true } };
  for ( const auto & row : rows ) {
    sw.faults.arm( { .op = SdkOp::bcm_field_entry_enable_set, .pipe = 1, .rc = row.rc } );
    const auto disable = [ & ] { acl.enableEntry( 0, id, false, row.tolerated ); };
    EXPECT_EQ( inChild( disable ).aborted, row.fatal );
  }
  sw.faults.arm( { .op = SdkOp::bcm_field_entry_enable_set, .times = 0, .rc = -7 } );
  acl.enableEntry( 0, id, false, -7 );
  EXPECT_EQ( sw.audit(), "" );  // neither the chip nor the records changed
  EXPECT_THAT( deathOf( [ & ] { sw.bounded( qosTcamGroup ).enableEntry( 0, id, true, -7 ); } ),
               HasSubstr( "Assertion `groupManager()->tcamManagerForEntry( entry ).rawPtr_ == this'"
                          " failed." ) );
}

TEST( ProgrammingTest, CompressionIsForGroupsInUse ) {
  TestSwitch sw( { .pipes = 2, .slices = 4, .depth = 4 } );
  sw.platform.acl( 1, 16 );
  sw.start();
  MorvaneBoundedTcamEntryManager & acl = sw.bounded( ipAclTcamGroup );
  sw.groups->sliceFreedIs( 1, true );
  EXPECT_TRUE( callTexts( [ & ] { acl.compressEntries( 0 ); } ).empty() );
  EXPECT_TRUE( sw.groups->sliceFreed( 1 ) );
  for ( U32 i = 0; i < 12; ++i )
    sw.take( ipAclTcamGroup, i );
  for ( const U32 gone : { 1, 2, 4, 5, 6, 9, 10 } )
    acl.releaseEntry( 0, 0x10000 + gone );
  sw.faults.arm( { .op = SdkOp::bcm_field_group_compress, .pipe = 1, .rc = -11 } );
  EXPECT_THAT( callTexts( [ & ] { acl.compressEntries( 0 ); } ),
               ElementsAre( "bcm_field_group_compress( unit, groupId ) no rc check",
                            "bcm_field_group_compress( unit, groupId ) no rc check" ) );
  EXPECT_EQ( sw.asic.group( 0, 1 )->slices.size(), 2U );
  EXPECT_EQ( sw.asic.group( 0, 0x1000001 )->slices.size(), 3U );
  EXPECT_FALSE( sw.groups->sliceFreedHas( 1 ) );
  EXPECT_EQ( sw.audit(), "" );
}

}  // namespace Test::Programming
