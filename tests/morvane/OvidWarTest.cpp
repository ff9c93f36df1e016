// The outer-VLAN workaround: which packets an entry and its twin match as rules and bitmaps change,
// which twins a change updates, and the state when an SDK call throws.

#include "tests/morvane/TestSwitch.h"

namespace Test::Ovid {

constexpr U32 id = 0x10000, other = 0x10001, wide = 0x10002;

// Two pipes of 24 ports; entries of group 1 match a VLAN and an address. The group's table has
// no port qualifier.
struct OvidSwitch : TestSwitch {
  OvidSwitch() : TestSwitch( { .pipes = 2, .shared = true, .ports = 24 } ) {
    platform.group( 1, { bcmFieldQualifyOuterVlanId, bcmFieldQualifyDstIp } );
    platform.user( ipAclTcamGroup, 1, 4, tcamAllocateAtBeginning );
    start();
  }
  MorvaneBoundedTcamEntryManager & acl() { return bounded( ipAclTcamGroup ); }
  void install( U32 entry, U16 vlan, U16 mask = 0xFFF ) {
    match( 0, entry, 5 );
    SDK_CHECKED( bcm_field_qualify_OuterVlanId( 0, entry, vlan, mask ) );
    acl().installEntry( 0, entry );
  }
  // The ports on which a packet hits the entry: "1 2", or "all". VLAN 0: untagged.
  std::string ports( U32 entry, U16 vlan ) {
    std::vector< U32 > hits;
    for ( U32 port = 0; port < 48; ++port )
      if ( tcamNumberBits.get( hit( 0, port, 5, vlan ) ) == entry )
        hits.push_back( port );
    return hits.size() == 48 ? "all" : fmt::format( "{}", fmt::join( hits, " " ) );
  }
};

// RandomWalkTest covers entries without input ports.
TEST( OvidWarTest, EntryAndTwinMatchTheirVlanAndNothingElse ) {
  OvidSwitch s;
  s.take( ipAclTcamGroup );
  const auto ports = [ & ]( U32 own ) {
    s.acl().inPortsForEntryIs( 0, id, { { own, 0x100 } }, { { ~0U, 0xFFFF } }, false );
  };
  const struct {
    std::function< void() > act;
    const char *untagged, *tagged10, *tagged11;
  } rows[] = {
      { [ & ] { s.install( id, 10 ); }, "", "all", "" },
      { [ & ] { s.untag( 0, 10, 0x80'00000202 ), s.untag( 0, 11, 0x208 ); }, "1 9 39", "all", "" },
      { [ & ] { ports( 0x204 ), s.install( id, 10 ); }, "9", "2 9 40", "" },
      { [ & ] { s.untag( 0, 10, 0x300'00000006 ); }, "2 40", "2 9 40", "" },
  };
  for ( const auto & row : rows ) {
    row.act();
    EXPECT_EQ( s.ports( id, 0 ), row.untagged ) << &row - rows;
    EXPECT_EQ( s.ports( id, 10 ), row.tagged10 ) << &row - rows;
    EXPECT_EQ( s.ports( id, 11 ), row.tagged11 ) << &row - rows;
    EXPECT_EQ( s.audit(), "" ) << &row - rows;
  }
}

TEST( OvidWarTest, TwinIsEnabledWhileItsRuleNeedsIt ) {
  OvidSwitch s;
  s.take( ipAclTcamGroup );
  s.untag( 0, 10, 0x2 );
  const auto needed = [ & ] { s.install( id, 0, 0 ), s.install( id, 10 ), s.install( id, 0, 0 ); };
  EXPECT_EQ( traced( needed, traceFailure ), R"(
4 fp entry install 65536
4 fp entry enable 16842752 0
4 fp entry copy 65536 16842752
4 fp entry install 16842752
4 fp entry install 65536
4 fp entry copy 65536 16842752
4 fp qual 16842752 OuterVlanId 0
4 fp qual 16842752 InPorts
4 fp entry install 16842752
4 fp entry enable 16842752 1
4 fp entry install 65536
4 fp entry enable 16842752 0
4 fp entry copy 65536 16842752
4 fp entry install 16842752
)" );
  EXPECT_FALSE( s.records( s.acl() ).entryInPortsHas( ovidTwinId( id ) ) );
  s.acl().enableEntry( 0, id, false, 0 );
  EXPECT_EQ( traced( [ & ] { s.install( id, 10 ); }, traceFailure ), R"(
4 fp entry install 65536
4 fp entry copy 65536 16842752
4 fp qual 16842752 OuterVlanId 0
4 fp qual 16842752 InPorts
4 fp entry install 16842752
)" );
  EXPECT_EQ( s.audit(), "" );
}

TEST( OvidWarTest, ChangedBitmapUpdatesTheTwinsOfItsVlan ) {
  OvidSwitch s;
  for ( const U32 offset : { 0, 1, 2 } )
    s.take( ipAclTcamGroup, offset );
  s.install( id, 10 ), s.install( other, 12 ), s.install( wide, 8, 0xFFC );
  const auto touched = [ & ]( U16 vlan, U32 port ) {
    s.log.clear();
    s.untag( 0, vlan, 1U << port );
    return fmt::format( "{}", fmt::join( s.calls( { SdkOp::bcm_field_entry_reinstall } ), "," ) );
  };
  EXPECT_EQ( touched( 10, 1 ), "entry_reinstall 1010000,entry_reinstall 1010002" );
  EXPECT_EQ( touched( 11, 1 ), "" );  // the ports stay the same
  EXPECT_EQ( touched( 11, 2 ), "entry_reinstall 1010002" );
  EXPECT_EQ( traced( [ & ] { s.untag( 0, 12, 0x2 ); } ), R"(
4 fp qual 16842753 InPorts
4 fp entry reinstall 16842753
2 rewriteOvidTwin Entry installed: 16842753
)" );
  s.match( 0, id, 6 );  // not installed with the changed ports
  touched( 10, 3 );
  EXPECT_EQ( s.ports( id, 0 ), "3" );

  EXPECT_STREQ( s.groups->ovidWarSm()->fwkType(), "Morvane::MorvaneOvidWarSm" );
  EXPECT_EQ( s.groups->entriesAvailable( 0, 1 ), ( 4U * 64 - 8 ) / 2 );

  // A state machine that outlives doSdkReInit must not touch the chip.
  const Kiv::Ptr< MorvaneOvidWarSm > before = s.groups->ovidWarSm();
  s.asic.reset( 0 );
  s.groups->doSdkReInit();
  EXPECT_EQ( touched( 10, 5 ) + s.audit(), "" );
}

// A group that lacks the VLAN has idle twins; elsewhere the refusal ends the process.
TEST( OvidWarTest, TwinOfAGroupWithoutTheVlanIsIdle ) {
  {
    OvidSwitch s;
    s.take( ipAclTcamGroup );
    s.faults.arm( { .op = SdkOp::bcm_field_qualify_OuterVlanId_get, .rc = BCM_E_PARAM } );
    EXPECT_THAT( deathOf( [ & ] { s.install( id, 10 ); } ), HasSubstr( "OuterVlanId_get" ) );
  }
  TestSwitch sw( { .pipes = 2, .shared = true } );
  sw.platform.acl( 1, 0, tcamAllocateUnbounded );
  sw.platform.include( 1, 0, { bcmFieldQualifyOuterVlanId } );
  sw.start();
  sw.faults.arm( { .op = SdkOp::bcm_field_group_config_create, .times = 2, .rc = -14 } );
  EXPECT_FALSE( sw.groups->initializeGroup( 0, 1 ) || sw.groups->ovidWar( 1 ) );
  sw.groups->groupIdToIncludeIndexDelAll();
  sw.groups->ovidWarIs( 1, true );
  const U32 entry = sw.take( ipAclTcamGroup );
  sw.manager( ipAclTcamGroup ).installEntry( 0, entry );
  EXPECT_TRUE( sw.records( sw.manager( ipAclTcamGroup ) ).ovidTwinIdle( entry ) );
  EXPECT_EQ( sw.audit(), "" );
}

// Throws from call 1, 2, 3 ... of a change; AnomalyTest covers the calls of entries with twins.
TEST( OvidWarTest, RecordsMatchTheChipWhenACallThrows ) {
  bool fired = true;
  for ( U32 nth = 1; fired; ++nth ) {
    OvidSwitch s;
    s.take( ipAclTcamGroup, 0 ), s.take( ipAclTcamGroup, 1 );
    s.untag( 0, 10, 0x2 ), s.install( id, 10 ), s.install( other, 0, 0 );
    s.faults.arm( { .nth = nth, .exception = std::make_exception_ptr( nth ) } );
    testing::internal::CaptureStderr();
    s.untag( 0, 10, 0x8 );
    const std::string reported = testing::internal::GetCapturedStderr();
    fired = s.faults.fired();
    EXPECT_EQ( reported.starts_with( "Exception in notification of ovidUtBitmap" ), fired );
    s.faults.disarm();
    EXPECT_EQ( s.audit(), "" ) << "call " << nth;
    s.groups->finishCleanup( 0 );  // as the unit's next operation does
    EXPECT_EQ( s.groups->unfinishedCleanup( 0 ), 0U );
    EXPECT_EQ( s.audit(), "" ) << "call " << nth << " again";
  }
}

}  // namespace Test::Ovid
