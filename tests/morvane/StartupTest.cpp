// Start-up: tables and maps, counter records, controls, managers, and what stops it.

#include <cstdlib>

#include "kiv/Exception.h"
#include "tests/morvane/TestSwitch.h"

namespace Test::Startup {

const Qualifiers lookup = { bcmFieldQualifyDstIp, bcmFieldQualifyStageLookup };

TEST( StartupTest, FillsTheTablesOfEveryGroup ) {
  TestSwitch sw( { .pipes = 2, .secondCopy = true, .units = 2 } );
  sw.platform.acl( 3, 10 ).group( 0, lookup ).group( 7, { bcmFieldQualifyStageIngress } );
  sw.platform.group( 9, { bcmFieldQualifyInPorts } ).group( 10, { bcmFieldQualifyInPort } );
  sw.platform.user( ipAclVfpTcamGroup, 0, 4, tcamAllocateOnDemand )
      .user( macAclTcamGroup, 3, 6, tcamAllocateOnDemand )
      .user( mirroringAclTcamGroup2, 7, 0, tcamAllocateUnbounded )
      .user( openFlowUdfTcamGroup, 9, 0, tcamAllocateUnbounded )
      .user( openFlowVxlanUdfTcamGroup, 10, 0, tcamAllocateUnbounded )
      .user( qosTcamGroup, 9, 3, tcamAllocateOnDemand )
      .exclude( 3, 5, {} )
      .include( 3, 0, {} )
      .map( 1, qosTcamGroup, 9 )
      .map( 0, qosTcamGroup, 3 )
      .map( 0, qosTcamGroup, 7 );
  sw.platform.users[ 1 ].mirroringAclUdf = true;  // not a mirroring group: not granted
  sw.platform.users[ 3 ].mirroringAclUdf = sw.platform.users[ 3 ].managedPriority = true;
  setenv( "SIMULATION_VMID", "", 1 );
  sw.start();
  unsetenv( "SIMULATION_VMID" );

  const MorvaneTcamGroupManager & groups = *sw.groups;
  EXPECT_TRUE( groups.simulation() );
  EXPECT_EQ( groups.groupIdToIndex( 7 ), 2U );
  EXPECT_TRUE( groups.groupIdToExcludeIndexHas( { 3, 5 } ) );
  EXPECT_FALSE( groups.groupIdToExcludeIndexHas( { 3, 0 } ) );
  EXPECT_TRUE( groups.groupIdToIncludeIndexHas( { 3, 0 } ) );
  EXPECT_TRUE( groups.managedPriority( 7 ) && !groups.managedPriority( 3 ) );
  EXPECT_TRUE( groups.groupMirroringAclValid( 7 ) && groups.groupMirroringAclUdfValid( 7 ) );
  EXPECT_FALSE( groups.groupMirroringAclValid( 0 ) || groups.groupMirroringAclUdfValid( 0 ) );
  EXPECT_EQ( groups.groupMirroringAclType( 7 ), -1 );
  EXPECT_TRUE( groups.groupOpenFlowAclUdfValid( 9 ) && groups.groupIdToOpenFlowAclUdf( 9 ) );
  EXPECT_TRUE( groups.groupOpenFlowVxlanAclUdfValid( 10 ) && groups.groupIdToMirroringAclUdf( 0 ) );
  EXPECT_EQ( sw.platform.users[ 6 ].group, 3U );  // the first map record of the chip type

  // Ranges of one group follow each other; group 0 starts at 1; unbounded shares take none.
  const auto range = [ & ]( TcamGroupAssignment user ) {
    return std::pair( sw.bounded( user ).baseEntry(), sw.bounded( user ).endEntry() );
  };
  EXPECT_EQ( range( ipAclTcamGroup ), std::pair( 0x30000U, 0x3000AU ) );
  EXPECT_EQ( range( macAclTcamGroup ), std::pair( 0x3000AU, 0x30010U ) );
  EXPECT_EQ( range( qosTcamGroup ), std::pair( 0x30010U, 0x30013U ) );
  EXPECT_EQ( range( ipAclVfpTcamGroup ), std::pair( 1U, 5U ) );
  EXPECT_EQ( sw.unbounded( mirroringAclTcamGroup2 ).desc(), "mirroringAclTcamGroup2" );

  // One record per pipe and copy of ingress groups, without leaving the ingress mark behind.
  std::vector< U32 > records;
  for ( auto it = groups.groupCountsIterConst(); it; ++it )
    records.push_back( it.key().pipeGroupId );
  EXPECT_THAT( records, ElementsAre( 0, 3, 7, 9, 10, 0x1000003, 0x1000007, 0x1000009, 0x4000003,
                                     0x4000007, 0x4000009, 0x5000003, 0x5000007, 0x5000009 ) );
  EXPECT_EQ( groups.stageIngressSize(), 0U );
  EXPECT_EQ( sw.audit(), "" );
}

TEST( StartupTest, SetsTheControlsOfEveryUnitInOrder ) {
  TestSwitch sw( { .units = 2 } );
  sw.platform.acl( 1, 4 );
  std::vector< std::string > expected;
  for ( int unit = 0; unit < 2; ++unit ) {
    for ( const char * control : { "RedirectExcludeSrcPort", "RedirectIngressVlanCheck",
                                   "RedirectNonUcastTrunkResolve", "PolicerGroupSharingEnable" } )
      expected.push_back( fmt::format(
          "bcm_field_control_set( unitIter.key(), bcmFieldControl{}, 1 ) (rc:0)", control ) );
    for ( const char * control : { "Ingress", "Lookup" } )
      expected.push_back( fmt::format(
          "bcm_port_control_set( unitIter.key(), 0, bcmPortControlFilter{}, 1 ) (rc:0)",
          control ) );
  }
  EXPECT_EQ( callTexts( [ & ] { sw.start(); } ), expected );
  EXPECT_EQ( sw.asic.controls( 1 ).controls,
             ( std::map< int, U32 >{ { 1, 1 }, { 2, 1 }, { 3, 1 }, { 4, 1 } } ) );
  EXPECT_TRUE( sw.groups->rangeCheckersExhaustedHas( 1 ) && sw.groups->udfResourceErrorHas( 1 ) );
}

TEST( StartupTest, InconsistentTablesEndTheProcess ) {
  const struct {
    const char * text;
    void ( *spoil )( TestSwitch & );
  } rows[] = {
      { "groupIdToIndexIteratorConst().isMemberOf( group )",
        []( TestSwitch & sw ) { sw.platform.map( 0, ipAclTcamGroup, 77 ); } },
      { "!groupIdToIndex( groupNum )",
        []( TestSwitch & sw ) { sw.platform.group( 3, lookup ).group( 3, lookup ); } },
      { "chipType == chipTypeFound", []( TestSwitch & sw ) { sw.platform.chipTypes[ 1 ] = 4; } },
      { "chipTypeFound != -1", []( TestSwitch & sw ) { sw.groups->modChipInfoDelAll(); } },
      { "noStatsPerEntryGroup( reservation->group )",
        []( TestSwitch & sw ) { sw.platform.users[ 0 ].noStatsPerEntry = true; } },
      { "highestTcamGroupId() < 256", []( TestSwitch & sw ) { sw.platform.group( 256, lookup ); } },
      { "endEntry <= entryNumberEnd",
        []( TestSwitch & sw ) { sw.platform.users[ 0 ].size = 0xFF0001; } },
      { "initializeGroup( unit )",
        []( TestSwitch & sw ) {
          sw.platform.users[ 0 ].strategy = tcamAllocateAtBeginning;
          sw.faults.arm( { .op = SdkOp::bcm_field_group_config_create, .times = 0, .rc = -14 } );
        } },
  };
  for ( const auto & row : rows ) {
    TestSwitch sw( { .units = 2 } );
    sw.platform.acl( 1, 4 );
    sw.construct();
    row.spoil( sw );
    EXPECT_THAT( deathOf( [ & ] { sw.groups->handleInitialized(); } ),
                 HasSubstr( row.text + std::string( "' failed." ) ) );
  }
  TestSwitch shared( { .pipes = 2, .shared = true } );
  shared.platform.acl( 1, 4 );
  shared.start();
  EXPECT_TRUE( shared.groups->ovidWarSm() );
  shared.groups->numPipeIs( 2 );
  EXPECT_THAT( deathOf( [ & ] { shared.groups->handleInitialized(); } ),
               HasSubstr( "Assertion `numPipe() == 1' failed." ) );
}

TEST( StartupTest, InitializedRunsStartUpOnEveryChangeAndThenTells ) {
  TestSwitch sw;
  sw.platform.acl( 1, 4 );
  sw.construct();
  struct Observer : MorvaneTcamGroupManager::Notifiee {
    void onInitialized() override { calls.push_back( sw->log.total() ); }
    TestSwitch * sw = nullptr;
    std::vector< U64 > calls;
  } observer;
  observer.sw = &sw;
  observer.notifierIs( sw.groups );
  for ( const bool value : { true, true, false } )
    sw.groups->initializedIs( value );
  EXPECT_THAT( observer.calls, ElementsAre( 6, 12 ) );
}

TEST( StartupTest, ReInitialisationRebuildsEverythingFromScratch ) {
  TestSwitch sw( { .pipes = 2, .presels = true } );
  sw.platform.acl( 1, 4 ).user( l2ControlPrioTcamGroup, 1, 3, tcamAllocateAtBeginning );
  sw.start();
  const std::string fresh = sw.state();
  const Kiv::Ptr< MorvaneTcamEntryManager > before( &sw.bounded( ipAclTcamGroup ) );
  sw.match( 0, sw.take( ipAclTcamGroup ), 7 );
  before->installEntry( 0, 0x10000 );
  sw.groups->sliceFreedIs( 1, true );
  sw.groups->rangeCheckerIs( { 1, 2, 3 } );
  sw.asic.reset( 0 );
  testing::internal::CaptureStdout();
  sw.groups->doSdkReInit();
  EXPECT_EQ( testing::internal::GetCapturedStdout(),
             "void Morvane::MorvaneTcamGroupManager::doSdkReInit() Cleaning up tcam manager\n"
             "void Morvane::MorvaneTcamGroupManager::doSdkReInit() Re-initializing tcam group "
             "manager\n" );
  EXPECT_EQ( sw.state(), fresh );
  EXPECT_EQ( sw.audit(), "" );
  EXPECT_NE( &sw.bounded( ipAclTcamGroup ), before.rawPtr_ );
  EXPECT_TRUE( sw.groups->sliceFreedSize() == 0 && sw.groups->rangeCheckerSize() == 0 );
}

TEST( StartupTest, ASecondManagerOfOneUserMustHaveTheSameParameters ) {
  TestSwitch sw;
  sw.platform.acl( 1, 4 );
  sw.start();
  const auto ask = [ & ]( U32 base, U32 end, TcamAllocationStrategy strategy ) -> std::string {
    try {
      const auto manager = sw.groups->entryManagerIs( ipAclTcamGroup, "ipAclTcamGroup",
                                                      sw.groups.rawPtr_, 1, base, end, strategy );
      return &*manager == &sw.bounded( ipAclTcamGroup ) ? "the same" : "another";
    } catch ( const Kiv::NameInUseException & e ) {
      return e.what();
    }
  };
  const auto text = []( const char * name, auto asked, auto had ) {
    return fmt::format(
        "Reinstantiating the entity with name ipAclTcamGroup where constructor "
        "parameter attribute _{} has a different value of {} than the current "
        "value of {} not allowed",
        name, asked, had );
  };
  EXPECT_EQ( ask( 65536, 65540, tcamAllocateOnDemand ), "the same" );
  EXPECT_EQ( ask( 65537, 65540, tcamAllocateOnDemand ), text( "baseEntry", 65537, 65536 ) );
  EXPECT_EQ( ask( 65536, 65541, tcamAllocateAsChunk ), text( "endEntry", 65541, 65540 ) );
  EXPECT_EQ( ask( 65536, 65540, tcamAllocateAsChunk ),
             text( "strategy", "tcamAllocateAsChunk", "tcamAllocateOnDemand" ) );
}

TEST( StartupTest, AManagerThatIsNotKeptGivesItsRangeBack ) {
  TestSwitch sw( { .units = 2 } );
  sw.platform.group( 1, { bcmFieldQualifyDstIp, bcmFieldQualifyInPorts } );
  sw.platform.user( qosTcamGroup, 1, 4, tcamAllocateOnDemand );
  sw.start();
  const auto make = [ & ]( U32 base ) {
    sw.groups->entryManagerIs( ipAclTcamGroup, "acl", sw.groups.rawPtr_, 1, base, base + 4,
                               tcamAllocateAtBeginning );
  };
  // Another activity makes the user's manager meanwhile, with other parameters.
  sw.meanwhile.arm( SdkOp::bcm_field_entry_create_id, [ & ] { make( 0x10020 ); } );
  EXPECT_THROW( make( 0x10010 ), Kiv::NameInUseException );
  EXPECT_EQ( sw.bounded( ipAclTcamGroup ).baseEntry(), 0x10020U );
  EXPECT_EQ( sw.audit(), "" );
  EXPECT_EQ( sw.counts( 0 ) + " " + sw.counts( 1 ), "1/4 1/4" );
}

}  // namespace Test::Startup
