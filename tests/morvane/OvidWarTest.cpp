// The outer-VLAN workaround: which packets an entry and its twin match while rules and bitmaps
// change, which twins a change touches, and what is left when an SDK call throws.

#include "tests/morvane/TestSwitch.h"

namespace Test::Ovid {

constexpr U32 id = 0x10000, other = 0x10001, wide = 0x10002;

// Two pipes of eight ports; entries of group 1 match a VLAN and an address. The group brings no
// port qualifier of its own.
struct OvidSwitch : TestSwitch {
  explicit OvidSwitch( TcamAllocationStrategy strategy = tcamAllocateOnDemand )
      : TestSwitch( { .pipes = 2, .shared = true } ) {
    platform.group( 1, { bcmFieldQualifyOuterVlanId, bcmFieldQualifyDstIp } );
    platform.user( ipAclTcamGroup, 1, 4, strategy );
    start();
  }
  MorvaneBoundedTcamEntryManager & acl() { return bounded( ipAclTcamGroup ); }
  void install( U32 entry, U16 vlan, U16 mask = 0xFFF ) {
    match( 0, entry, 5 );
    SDK_CHECKED( bcm_field_qualify_OuterVlanId( 0, entry, vlan, mask ) );
    acl().installEntry( 0, entry );
  }
  void take( std::initializer_list< U32 > entries ) {
    for ( const U32 entry : entries )
      acl().getEntry( 0, entry, "rule" );
  }
  void untagged( U16 vlan, std::initializer_list< U32 > ports ) {
    bcm_pbmp_t bitmap = {};
    for ( const U32 port : ports )
      bitmap.add( port );
    vlans->ovidUtBitmapIs( { 0, vlan }, bitmap );
  }
  // The ports on which a packet hits the entry: "1 2", or "all". No tag: vlan 0.
  std::string ports( U32 entry, U16 vlan ) {
    std::vector< U32 > hits;
    for ( U32 port = 0; port < 16; ++port )
      if ( tcamNumberBits.get( hit( 0, port, 5, vlan ) ) == entry )
        hits.push_back( port );
    return hits.size() == 16 ? "all" : fmt::format( "{}", fmt::join( hits, " " ) );
  }
};

TEST( OvidWarTest, EntryAndTwinMatchTheirVlanAndNothingElse ) {
  for ( const auto strategy : { tcamAllocateOnDemand, tcamAllocateAtBeginning } ) {
    OvidSwitch sw( strategy );
    const auto ports = [ & ]( std::initializer_list< U32 > own, bool permanent ) {
      bcm_pbmp_t data = {}, mask = {};
      for ( const U32 port : own )
        data.add( port );
      for ( U32 port = 0; port < 16; ++port )
        mask.add( port );
      sw.acl().inPortsForEntryIs( 0, id, data, mask, permanent );
    };
    const auto enable = [ & ]( bool on ) { sw.acl().enableEntry( 0, id, on, 0 ); };
    const struct {
      const char * step;
      std::function< void() > act;
      const char *untagged, *tagged10, *tagged11;
    } rows[] = {
        { "no bitmap", [ & ] { sw.take( { id } ), sw.install( id, 10 ); }, "", "all", "" },
        { "ports come",
          [ & ] {
            sw.untagged( 10, { 1, 9 } );
          },
          "1 9", "all", "" },
        { "another VLAN",
          [ & ] {
            sw.untagged( 11, { 3, 9 } );
          },
          "1 9", "all", "" },
        { "own ports",
          [ & ] {
            ports( { 2, 9 }, true ), sw.install( id, 10 );
          },
          "9", "2 9", "" },
        { "ports move",
          [ & ] {
            sw.untagged( 10, { 1, 2 } );
          },
          "2", "2 9", "" },
        { "any port", [ & ] { sw.acl().tcamEntryBcmPbmpForget( 0, id ), sw.install( id, 10 ); },
          "1 2", "all", "" },
        { "disabled", [ & ] { enable( false ), sw.untagged( 10, { 4 } ); }, "", "", "" },
        { "installed so", [ & ] { sw.install( id, 0, 0 ), sw.install( id, 10 ); }, "", "", "" },
        { "enabled", [ & ] { enable( true ); }, "4", "all", "" },
        { "other VLAN", [ & ] { sw.install( id, 11 ); }, "3 9", "", "all" },
        { "both VLANs", [ & ] { sw.install( id, 10, 0xFFE ); }, "3 4 9", "all", "all" },
        { "one grows",
          [ & ] {
            sw.untagged( 10, { 4, 5 } );
          },
          "3 4 5 9", "all", "all" },
        { "one goes",
          [ & ] {
            sw.vlans->ovidUtBitmapDel( { 0, 11 } );
          },
          "4 5", "all", "all" },
        { "no VLAN", [ & ] { sw.install( id, 0, 0 ); }, "all", "all", "all" },
        { "off and on", [ & ] { enable( false ), enable( true ); }, "all", "all", "all" },
        { "VLAN 0", [ & ] { sw.install( id, 0 ), sw.untagged( 10, { 6 } ); }, "all", "", "" },
        { "removed", [ & ] { sw.install( id, 10 ), sw.acl().removeEntry( 0, id ); }, "", "", "" },
        { "not yet", [ & ] { sw.untagged( 10, { 7 } ), enable( true ); }, "", "", "" },
        { "in again", [ & ] { sw.acl().installEntry( 0, id ); }, "7", "all", "" },
        { "new user",
          [ & ] { sw.install( id, 0, 0 ), sw.acl().releaseEntry( 0, id ), sw.take( { id } ); }, "",
          "", "" },
        { "its rule", [ & ] { sw.install( id, 10 ); }, "7", "all", "" },
    };
    for ( const auto & row : rows ) {
      row.act();
      const U64 before = sw.acl().hitsForEntry( 0, id );
      const std::string found = sw.ports( id, 0 );
      EXPECT_EQ( found, row.untagged ) << row.step;
      const U64 hits =
          found == "all" ? 16 : std::count( found.begin(), found.end(), ' ' ) + !found.empty();
      EXPECT_EQ( sw.acl().hitsForEntry( 0, id ) - before, hits ) << row.step;
      EXPECT_EQ( sw.ports( id, 10 ), row.tagged10 ) << row.step;
      EXPECT_EQ( sw.ports( id, 11 ), row.tagged11 ) << row.step;
      EXPECT_EQ( sw.audit(), "" ) << row.step;
    }
  }
}

TEST( OvidWarTest, AChangedBitmapTouchesTheTwinsOfItsVlan ) {
  OvidSwitch sw;
  sw.take( { id, other, wide } );
  sw.install( id, 10 ), sw.install( other, 12 ), sw.install( wide, 8, 0xFFC );
  const auto touched = [ & ]( const std::function< void() > & change ) {
    sw.log.clear();
    change();
    return fmt::format( "{}", fmt::join( sw.calls( { SdkOp::bcm_field_entry_install } ), "," ) );
  };
  const std::string both = "entry_install 1010000,entry_install 1010002";
  EXPECT_EQ( touched( [ & ] { sw.untagged( 10, { 1 } ); } ), both );
  EXPECT_EQ( touched( [ & ] { sw.untagged( 10, { 1 } ); } ), "" );
  EXPECT_EQ( touched( [ & ] { sw.untagged( 11, { 1 } ); } ), "" );  // the ports stay the same
  EXPECT_EQ( touched( [ & ] { sw.untagged( 11, { 2 } ); } ), "entry_install 1010002" );
  EXPECT_EQ( touched( [ & ] { sw.vlans->ovidUtBitmapIs( { 1, 10 }, {} ); } ), "" );
  // A qualifier that is not installed yet does not slip in with the ports.
  sw.match( 0, id, 6 );
  EXPECT_EQ( touched( [ & ] { sw.untagged( 10, { 3 } ); } ), both );
  EXPECT_EQ( sw.ports( id, 0 ), "3" );
  EXPECT_EQ( Kiv::valueToStrep( MorvaneUnitOvidKey( 3, 10 ) ).view(),
             "Value('Morvane::MorvaneUnitOvidKey', ** {'unit': 3, 'ovid': 10})" );

  // The chip forgets; a state machine that somebody still holds must not go on.
  const Kiv::Ptr< MorvaneOvidWarSm > before = sw.groups->ovidWarSm();
  sw.asic.reset( 0 );
  testing::internal::CaptureStdout();
  sw.groups->doSdkReInit();
  testing::internal::GetCapturedStdout();
  EXPECT_EQ( touched( [ & ] { sw.untagged( 10, { 5 } ); } ), "" );
  sw.take( { id } );
  sw.install( id, 10 );
  EXPECT_EQ( sw.ports( id, 0 ), "5" );
  EXPECT_EQ( sw.audit(), "" );
}

TEST( OvidWarTest, AnEntryNeedsRoomForItsTwin ) {
  TestSwitch sw( { .shared = true, .slices = 1, .depth = 5 } );
  sw.platform.group( 1, { bcmFieldQualifyOuterVlanId, bcmFieldQualifyDstIp } );
  sw.platform.user( ipAclTcamGroup, 1, 4, tcamAllocateOnDemand );
  sw.platform.user( ipCoppTcamGroup, 1, 3, tcamAllocateAsChunk );
  sw.start();
  MorvaneBoundedTcamEntryManager & acl = sw.bounded( ipAclTcamGroup );
  EXPECT_EQ( acl.entriesAvailable( 0 ), 2U );
  EXPECT_EQ( sw.take( ipCoppTcamGroup ), 0U );
  EXPECT_TRUE( sw.take( ipAclTcamGroup, 0 ) != 0 && sw.take( ipAclTcamGroup, 1 ) != 0 );
  const std::string before = sw.state();
  EXPECT_EQ( sw.take( ipAclTcamGroup, 2 ), 0U );
  EXPECT_TRUE( acl.exhausted( 0 ) );
  EXPECT_EQ( sw.state(), before );
  acl.releaseEntry( 0, id );
  EXPECT_NE( sw.take( ipAclTcamGroup, 2 ), 0U );
  EXPECT_EQ( sw.audit(), "" );
}

// Throws from call 1, 2, 3 ... of each operation on an installed rule on VLAN 10.
TEST( OvidWarTest, MapBooksAndChipAgreeWhenACallThrows ) {
  const struct {
    const char * name;
    std::function< void( OvidSwitch & ) > run;
  } rows[] = { { "first installation", []( OvidSwitch & sw ) { sw.install( other, 11 ); } },
               { "no VLAN at first", []( OvidSwitch & sw ) { sw.install( other, 0, 0 ); } },
               { "same VLAN", []( OvidSwitch & sw ) { sw.acl().installEntry( 0, id ); } },
               { "other VLAN", []( OvidSwitch & sw ) { sw.install( id, 11 ); } },
               { "no VLAN", []( OvidSwitch & sw ) { sw.install( id, 0, 0 ); } },
               { "VLAN again", []( OvidSwitch & sw ) { sw.install( wide, 10 ); } },
               { "bitmap", []( OvidSwitch & sw ) { sw.untagged( 10, { 3 } ); } },
               { "removal",
                 []( OvidSwitch & sw ) {
                   if ( sw.books( sw.acl() ).entryInstalled( id ) )
                     sw.acl().removeEntry( 0, id );
                 } },
               { "release", []( OvidSwitch & sw ) {
                  if ( sw.books( sw.acl() ).entryCreatedHas( id ) )
                    sw.acl().releaseEntry( 0, id );
                } } };
  for ( const auto & row : rows ) {
    for ( U32 nth = 1;; ++nth ) {
      OvidSwitch sw( tcamAllocateAsChunk );
      sw.take( { id, other, wide } );
      sw.untagged( 10, { 1 } ), sw.untagged( 11, { 2 } );
      sw.install( id, 10 ), sw.install( wide, 0, 0 );
      sw.faults.arm(
          { .nth = nth, .exception = std::make_exception_ptr( std::runtime_error( "bus" ) ) } );
      testing::internal::CaptureStderr();  // a callback that throws is reported
      try {
        row.run( sw );
      } catch ( const std::runtime_error & ) {
      }
      testing::internal::GetCapturedStderr();
      sw.faults.disarm();
      if ( row.name != std::string( "release" ) ) {  // goes on where it stopped
        EXPECT_EQ( sw.audit(), "" ) << row.name << " call " << nth;
      }
      sw.untagged( 11, { 2, 5 } );  // also takes up what an earlier change left undone
      EXPECT_EQ( sw.groups->ovidWarSm()->overdueSize(), 0U );
      row.run( sw );
      EXPECT_EQ( sw.audit(), "" ) << row.name << " call " << nth << " tried again";
      if ( !sw.faults.fired() ) {
        EXPECT_GT( nth, 2U ) << row.name;
        break;
      }
    }
  }
}

TEST( OvidWarTest, TheAuditorSeesSpoiledTwins ) {
  const U32 twin = ovidTwinId( id ), idle = ovidTwinId( other );
  const struct {
    const char * difference;
    std::function< void( OvidSwitch & ) > spoil;
  } rows[] = {
      { "wrong on port 4",
        [ & ]( OvidSwitch & sw ) {
          bcm_pbmp_t some = {}, all;
          some.add( 4 ), std::fill_n( all.pbits, 8, ~0U );
          SDK_CHECKED( bcm_field_qualify_InPorts( 0, twin, some, all ) );
          SDK_CHECKED( bcm_field_entry_install( 0, twin ) );
          sw.acl().addInPortsForEntry( 0, twin, some, all );
        } },
      { "does not match VLAN 0",
        [ & ]( OvidSwitch & ) {
          SDK_CHECKED( bcm_field_qualify_OuterVlanId( 0, twin, 1, 0xFFF ) );
          SDK_CHECKED( bcm_field_entry_install( 0, twin ) );
        } },
      { "holds another rule",
        [ & ]( OvidSwitch & ) {
          SDK_CHECKED( bcm_field_action_add( 0, twin, bcmFieldActionDrop, 0, 0 ) );
          SDK_CHECKED( bcm_field_entry_install( 0, twin ) );
        } },
      { "not qualified as it is installed",
        [ & ]( OvidSwitch & ) { SDK_CHECKED( bcm_field_qualify_DstIp( 0, twin, 1, 1 ) ); } },
      { "is enabled",
        [ & ]( OvidSwitch & ) { SDK_CHECKED( bcm_field_entry_enable_set( 0, idle, 1 ) ); } },
      { "VLAN 10 is mapped to 0 entries, 1 match it",
        [ & ]( OvidSwitch & sw ) {
          sw.groups->ovidWarSm()->entryDel( 0, id, { 10, 0xFFF } );
        } },
  };
  for ( const auto & row : rows ) {
    OvidSwitch sw;
    sw.take( { id, other } );
    sw.install( id, 10 ), sw.install( other, 0, 0 );
    ASSERT_EQ( sw.audit(), "" );
    row.spoil( sw );
    EXPECT_THAT( sw.audit(), HasSubstr( row.difference ) );
  }
}

}  // namespace Test::Ovid
