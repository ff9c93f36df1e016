// Start-up: tables and maps, counter records, controls, managers, and what stops it.

#include <cstdlib>
#include <stdexcept>

#include "kiv/Exception.h"
#include "morvane/MorvaneTcamManager/QualifierSet.h"
#include "morvane/MorvaneTcamManager/Trace.h"
#include "morvane/PlatformCheck.h"
#include "shim/SdkDecorator.h"
#include "tests/morvane/UdfSwitch.h"

namespace Test::Startup {

const Qualifiers lookup = { bcmFieldQualifyDstIp, bcmFieldQualifyStageLookup };

// Notes what start-up writes, in order.
struct Recorder : MorvaneTcamGroupManager::Notifiee {
  template < class... Parts >
  void note( fmt::format_string< Parts... > format, Parts &&... parts ) {
    text += fmt::format( format, std::forward< Parts >( parts )... );
  }
  void onStarted() override { note( "started {}", groups->started() ); }
  void onMaxPorts() override { note( ", maxPorts {}", groups->maxPorts() ); }
  void onIpv6MirroringSupported() override {
    note( ", ipv6 {}", groups->ipv6MirroringSupported() );
  }
  void onSimulation() override { note( ", simulation {}", groups->simulation() ); }
  void onRangeCheckersExhausted( U32 unit ) override {
    note( "\nunit {}: ranges {}", unit, groups->rangeCheckersExhausted( unit ) );
  }
  void onUdfResourceError( U8 unit ) override {
    note( ", fields {}", groups->udfResourceError( unit ) );
  }
  void onGroupOpenFlowAclUdfValid( U8 g ) override {
    note( "\n{} flow {}", g, groups->groupOpenFlowAclUdfValid( g ) );
  }
  void onGroupOpenFlowVxlanAclUdfValid( U8 g ) override {
    note( ", {} vxlan {}", g, groups->groupOpenFlowVxlanAclUdfValid( g ) );
  }
  void onGroupMirroringAclUdfValid( U8 g ) override {
    note( ", {} fields {}", g, groups->groupMirroringAclUdfValid( g ) );
  }
  void onGroupMirroringAclValid( U8 g ) override {
    note( ", {} mirroring {}", g, groups->groupMirroringAclValid( g ) );
  }
  void onGroupMirroringAclType( U8 g ) override {
    note( ", {} type {}", g, groups->groupMirroringAclType( g ) );
  }
  void onGroupIdToIndex( U32 g ) override {
    note( "\n{} index {}", g, groups->groupIdToIndex( g ) );
  }
  void onGroupIdToExcludeIndex( const GroupQsetModKey & k ) override {
    note( "\n{}.{} excludes {}", k.groupId, k.chipType, groups->groupIdToExcludeIndex( k ) );
  }
  void onGroupIdToIncludeIndex( const GroupQsetModKey & k ) override {
    note( "\n{}.{} includes {}", k.groupId, k.chipType, groups->groupIdToIncludeIndex( k ) );
  }
  void onStageIngress( U32 g ) override { note( "\n{} ingress {}", g, groups->stageIngress( g ) ); }
  void onGroupCounts( const GroupIdToPipeGroupId & k ) override { note( ", {:x}", k.pipeGroupId ); }
  void onManagedPriority( U32 g ) override {
    note( "\n{} managed {}", g, groups->managedPriority( g ) );
  }
  void onGroupIdToMirroringAclUdf( U8 g ) override { note( ", {} has fields", g ); }
  void onGroupIdToOpenFlowAclUdf( U8 g ) override { note( ", {} has flow fields", g ); }
  void onGroupIdToOpenFlowVxlanAclUdf( U8 g ) override { note( ", {} has vxlan fields", g ); }
  void onEntryManager( TcamGroupAssignment user ) override {
    const auto manager = groups->entryManager( user );
    note( "\n{} {:x}-{:x}", enumName( user ), manager->baseEntry(), manager->endEntry() );
  }
  void onUnboundedEntryManager( TcamGroupAssignment user ) override {
    note( "\n{}", groups->unboundedEntryManager( user )->desc().charPtr() );
  }

  MorvaneTcamGroupManager * groups = nullptr;
  std::string text = "\n";
};

TEST( StartupTest, WritesItsRecordsStepByStep ) {
  TestSwitch sw( { .pipes = 2, .secondCopy = true, .units = 2 } );
  sw.chipInfo.maxPorts = 9;
  sw.platform.settings.ipv6MirroringSupported = true;
  sw.platform.settings.qosAclSharingSupported = true;
  sw.platform.settings.ingressRaclSharingSupported = true;
  sw.platform.acl( 1, 10 ).group( 0, lookup ).group( 2, { bcmFieldQualifyStageIngress } );
  sw.platform.group( 3, { bcmFieldQualifyInPorts } ).group( 4, { bcmFieldQualifyInPort } );
  sw.platform.user( ipAclVfpTcamGroup, 0, 4, tcamAllocateOnDemand )
      .user( macAclTcamGroup, 1, 6, tcamAllocateOnDemand )
      .user( mirroringAclTcamGroup4, 2, 0, tcamAllocateUnbounded )
      .user( openFlowUdfTcamGroup, 3, 0, tcamAllocateUnbounded )
      .user( openFlowVxlanUdfTcamGroup, 4, 0, tcamAllocateUnbounded )
      .user( qosTcamGroup, 3, 3, tcamAllocateOnDemand )
      .exclude( 1, 5, {} )
      .exclude( 2, 5, {} )
      .include( 1, 0, {} )
      .include( 1, 6, {} )
      .map( 1, qosTcamGroup, 3 )
      .map( 0, qosTcamGroup, 1 )  // the first of the chip type counts
      .map( 0, qosTcamGroup, 2 );
  sw.platform.users[ 1 ].mirroringAclUdf = true;  // not a mirroring group: not granted
  sw.platform.users[ 3 ].mirroringAclUdf = sw.platform.users[ 3 ].managedPriority = true;
  sw.construct();
  Recorder record;
  record.groups = sw.groups.rawPtr_;
  record.notifierIs( sw.groups );
  setenv( "SIMULATION_VMID", "", 1 );
  sw.groups->handleInitialized();
  unsetenv( "SIMULATION_VMID" );
  EXPECT_TRUE( sw.groups->qosAclSharingSupported() && sw.groups->ingressRaclSharingSupported() );
  EXPECT_EQ( record.text + "\n", R"(
started true, maxPorts 9, ipv6 true, simulation true
unit 0: ranges false, fields false
unit 1: ranges false, fields false
0 flow false, 0 vxlan false, 0 fields false, 0 mirroring false
1 flow false, 1 vxlan false, 1 fields false, 1 mirroring false
2 flow false, 2 vxlan false, 2 fields false, 2 mirroring false
3 flow false, 3 vxlan false, 3 fields false, 3 mirroring false
4 flow false, 4 vxlan false, 4 fields false, 4 mirroring false
1 index 0
0 index 1
2 index 2
3 index 3
4 index 4
1.5 excludes 0
2.5 excludes 1
1.0 includes 0
1.6 includes 1
1 ingress true, 1, 4000001, 1000001, 5000001
1 ingress false
1 managed false, 1 type -1, 1 has fields
ipAclTcamGroup 10000-1000a, 0
0 ingress false
0 managed false, 0 type -1, 0 has fields
ipAclVfpTcamGroup 1-5
1 ingress true
1 ingress false
macAclTcamGroup 1000a-10010
2 ingress true, 2, 4000002, 1000002, 5000002
2 ingress false
2 managed true, 2 type -1, 2 mirroring true, 2 has fields, 2 fields true
mirroringAclTcamGroup4
3 ingress true, 3, 4000003, 1000003, 5000003
3 ingress false
3 managed false, 3 type -1, 3 has flow fields
3 flow true, 3 has fields
openFlowUdfTcamGroup, 4
4 ingress false
4 managed false, 4 type -1, 4 has vxlan fields, 4 vxlan true, 4 has fields
openFlowVxlanUdfTcamGroup
1 ingress true
1 ingress false
qosTcamGroup 10010-10013
)" );
  EXPECT_EQ( sw.audit(), "" );
}

TEST( StartupTest, InconsistentTablesEndTheProcess ) {
  struct Row {
    std::string text;
    void ( *spoil )( TestSwitch & );
    Chip chip = { .units = 2 };
  };
  const Row rows[] = {
      // Found while start-up reads the tables.
      { "groupIdToIndexIteratorConst().isMemberOf( group )",
        []( TestSwitch & sw ) {
          sw.platform.map( 0, macAclTcamGroup, 1 ).map( 0, ipAclTcamGroup, 77 );
        } },
      { "!groupIdToIndex( groupNum )",
        []( TestSwitch & sw ) { sw.platform.group( 3, lookup ).group( 3, lookup ); } },
      { "chipType == chipTypeFound",
        []( TestSwitch & sw ) {
          sw.platform.chipTypes = { { 0, -1 }, { 1, 4 } };
        } },
      { "chipTypeFound != -1", []( TestSwitch & sw ) { sw.groups->modChipInfoDelAll(); } },
      { "noStatsPerEntryGroup( reservation->group )",
        []( TestSwitch & sw ) { sw.platform.users[ 0 ].noStatsPerEntry = true; } },
      { "highestTcamGroupId() < 256", []( TestSwitch & sw ) { sw.platform.group( 256, lookup ); } },
      { "numPipe() == 1",
        []( TestSwitch & sw ) { sw.groups->numPipeIs( 2 ); },
        { .shared = true } },
      { "numPipe() <= BCM_PIPES_MAX", []( TestSwitch & sw ) { sw.groups->numPipeIs( 5 ); } },
      { "initializeGroup( unit )",
        []( TestSwitch & sw ) {
          sw.platform.users[ 0 ].strategy = tcamAllocateAtBeginning;
          sw.faults.arm( { .op = SdkOp::bcm_field_group_config_create, .times = 0, .rc = -14 } );
        } },
      // Found before any table is used.
      { "groups[1].group: 1 is the id of groups[0]",
        []( TestSwitch & sw ) { sw.platform.group( 1, lookup ); } },
      { "groups[1].qualifiers[1]: 760 is no qualifier of the SDK",
        []( TestSwitch & sw ) {
          sw.platform.group( 2, { 1, 760 } );
        } },
      { "excludes[1].qualifiers[0]: 4294967295 is no qualifier of the SDK",
        []( TestSwitch & sw ) { sw.platform.exclude( 1, 5, {} ).exclude( 1, 6, { ~0U } ); } },
      { "excludes[0].qualifiers[0]: 761 is no qualifier of the SDK",
        []( TestSwitch & sw ) { sw.platform.exclude( 1, 5, { 761 } ); } },
      { "includes[0].qualifiers[0]: 760 is no qualifier of the SDK",
        []( TestSwitch & sw ) { sw.platform.include( 1, 5, { 760 } ); } },
      { "includes[1].qualifiers[0]: 767 is no qualifier of the SDK",
        []( TestSwitch & sw ) { sw.platform.include( 1, 5, {} ).include( 9, 0, { 767 } ); } },
      { "units[1].chipType: 65536 is not 0 to 65535",
        []( TestSwitch & sw ) {
          sw.platform.chipTypes[ 1 ] = 65536;
          sw.groups->modChipInfoDel( 0 );
        } },
      { "units[1].swapFrom: 759 is no qualifier of the SDK",
        []( TestSwitch & sw ) {
          sw.groups->modChipInfoIs( 1, { 8, false, true, 759, 1, 0, false, false } );
        } },
      { "units[0].swapTo: 800 is no qualifier of the SDK",
        []( TestSwitch & sw ) {
          sw.groups->modChipInfoIs( 0, { 8, false, true, 1, 800, 0, false, false } );
        } },
      { "units[1].extraQualifier: 759 is no qualifier of the SDK",
        []( TestSwitch & sw ) {
          sw.groups->modChipInfoIs( 1, { 8, false, false, 0, 0, 759, false, false } );
        } },
      { "reservations[0].strategy: 4 is unknown",
        []( TestSwitch & sw ) {
          sw.platform.users[ 0 ].strategy = static_cast< TcamAllocationStrategy >( 4 );
        } },
      { "reservations[0].assignment: 113 is unknown",
        []( TestSwitch & sw ) {
          sw.platform.users[ 0 ].assignment = static_cast< TcamGroupAssignment >( 113 );
        } },
      { "reservations[1].assignment: ipAclTcamGroup is the user of reservations[0]",
        []( TestSwitch & sw ) { sw.platform.acl( 2, 4 ); } },
      { "reservations[0].size: 0, but tcamAllocateAsChunk needs a range",
        []( TestSwitch & sw ) {
          sw.platform.users[ 0 ].size = 0;
          sw.platform.users[ 0 ].strategy = tcamAllocateAsChunk;
        } },
      { "reservations[0].size: 4, but tcamAllocateUnbounded has no range",
        []( TestSwitch & sw ) { sw.platform.users[ 0 ].strategy = tcamAllocateUnbounded; } },
      { "reservations[0].size: the multicast entry of group 1 needs tcamAllocateUnbounded",
        []( TestSwitch & sw ) {
          sw.platform.multicast = { 1 };
          sw.groups->modChipInfoIs( 1, { 8, true, false, 0, 0, 0, false, false } );
        } },
      { "reservations[1].size: entries 65540 to 4295032834 pass the last entry, 16777215",
        []( TestSwitch & sw ) { sw.platform.user( qosTcamGroup, 1, ~0U, tcamAllocateOnDemand ); } },
      { "reservations[1].size: entries 65536 to 131072 overlap entries 131072 to 131072 of "
        "reservations[0]",
        []( TestSwitch & sw ) {
          sw.platform.group( 2, lookup ).users[ 0 ].group = 2;
          sw.platform.users[ 0 ].size = 1;
          sw.platform.user( qosTcamGroup, 1, 65537, tcamAllocateOnDemand );
        } },
      { "reservations[1].group: mirroring group 1 has reservations[0] already",
        []( TestSwitch & sw ) {
          sw.platform.user( mirroringAclTcamGroup4, 3, 4, tcamAllocateOnDemand )
              .map( 0, mirroringAclTcamGroup4, 1 );
        } },
      { "reservations[1].group: mirroring group 3 has reservations[0] already",
        []( TestSwitch & sw ) {
          sw.platform.group( 3, lookup ).user( qosTcamGroup, 3, 4, tcamAllocateOnDemand );
          sw.platform.users[ 0 ].assignment = mirroringAclTcamGroup1;
          sw.platform.users[ 0 ].group = 3;
        } },
      { "reservations[1].group: ingress group 7 would serve pipe 0 only: unit 0 is sharedByPipes "
        "and groupByPreselector",
        []( TestSwitch & sw ) {
          sw.platform.users[ 0 ].group = 8;
          sw.platform.group( 8, lookup ).group( 7, { bcmFieldQualifyDstIp } );
          sw.platform.user( qosTcamGroup, 7, 0, tcamAllocateUnbounded );
        },
        { .shared = true, .presels = true } },
  };
  for ( const Row & row : rows ) {
    TestSwitch sw( row.chip );
    sw.platform.acl( 1, 4 );
    sw.construct();
    row.spoil( sw );
    EXPECT_THAT( deathOf( [ & ] { sw.groups->handleInitialized(); } ),
                 HasSubstr( "Assertion `" + row.text + "' failed." ) );
  }
}

TEST( StartupTest, CheckReportsAllFaultsOfTheTables ) {
  TestSwitch sw;
  sw.platform.acl( 1, 4 );
  EXPECT_THAT( checkPlatformTables( sw.platform, { {} } ), ElementsAre() );
  sw.platform.group( 256, { 760 } ).user( qosTcamGroup, 9, 4, tcamAllocateUnbounded );
  sw.platform.chipTypes = { { 0, -1 }, { 1, -1 }, { 2, 3 } };
  sw.platform.users[ 0 ].noStatsPerEntry = true;
  EXPECT_THAT( checkPlatformTables( sw.platform, { { 0 }, { 1 }, { 2 } } ),
               ElementsAre( "groups[1].group: 256 is not below 256",
                            "groups[1].qualifiers[0]: 760 is no qualifier of the SDK",
                            "units[0].chipType: -1 is not 0 to 65535",
                            "units[1].chipType: -1 is not 0 to 65535",
                            "units[2].chipType: 3, but another unit has -1",
                            "reservations[0].noStatsPerEntry: group 1 keeps statistics per entry",
                            "reservations[1].group: there is no group 9" ) );
  EXPECT_THAT( checkPlatformTables( sw.platform, {} ),
               testing::Contains( "units[0].chipType: there is no unit" ) );
}

TEST( StartupTest, RangeMayReachTheLastEntry ) {
  TestSwitch sw;
  sw.platform.acl( 1, 4 ).user( qosTcamGroup, 1, entryNumberEnd - 0x10004, tcamAllocateOnDemand );
  EXPECT_EQ( inChild( [ & ] { sw.start(); } ).text, "" );
}

TEST( StartupTest, RangesMayTouch ) {
  TestSwitch sw;
  sw.platform.acl( 2, 4 ).group( 1, lookup );
  sw.platform.user( qosTcamGroup, 1, 65536, tcamAllocateOnDemand );
  EXPECT_THAT( checkPlatformTables( sw.platform, { {} } ), ElementsAre() );
}

// Ids outside the SDK's record sets.
struct WildIds : Shim::SdkDecorator {
  using SdkDecorator::SdkDecorator;
  int bcm_field_presel_create( U32, bcm_field_presel_t * presel ) override {
    *presel = BCM_FIELD_PRESEL_MAX;
    return 0;
  }
  int bcm_field_data_qualifier_create( U32, bcm_field_data_qualifier_s * qualifier ) override {
    qualifier->qual_id = BCM_FIELD_DATA_QUAL_MAX;
    return 0;
  }
};

TEST( StartupTest, IdsOutsideTheSdksSetsEndTheProcess ) {
  UdfSwitch sw( { .presels = true }, Acl::ip() );
  ASSERT_TRUE( sw.manager( sw.user( 1 ) ).initializeGroup( 0 ) );
  WildIds wild( sw.log );
  Shim::sdk_ = &wild;
  EXPECT_THAT( deathOf( [ & ] { sw.groups->initializeGroup( 0, 3 ); } ),
               HasSubstr( "Assertion `preselId < BCM_FIELD_PRESEL_MAX' failed." ) );
  EXPECT_THAT( deathOf( [ & ] { sw.groups->initializeGroup( 0, 4 ); } ),
               HasSubstr( "Assertion `isDataQualifier( udfQual[i].qual_id() )' failed." ) );
  EXPECT_THAT( deathOf( [ & ] { sw.set( {} ); } ),
               HasSubstr( "Assertion `isDataQualifier( qual_id )' failed." ) );
  Shim::sdk_ = &sw.log;
}

TEST( StartupTest, OperationsNeedAStartedManager ) {
  TestSwitch sw;
  sw.platform.acl( 1, 4 );
  sw.construct();
  apiMorvane.levelIs( traceDetail, true );
  void ( *const uses[] )( MorvaneTcamGroupManager & ) = {
      []( auto & groups ) { groups.initializeGroup( 0, 1 ); },
      []( auto & groups ) { groups.traceGroupStatus( 0, 1 ); } };
  for ( const auto & use : uses )
    EXPECT_THAT( deathOf( [ & ] { use( *sw.groups ); } ),
                 HasSubstr( "The group manager has not been started" ) )
        << "use " << &use - uses;
  apiMorvane.levelIs( traceDetail, false );
}

TEST( StartupTest, ChipPropertiesNeedAnSdk ) {
  EXPECT_THAT( deathOf( [] { chipProperties( 0 ); } ), HasSubstr( "Shim::sdk_ has not been set" ) );
}

TEST( StartupTest, InitializedRunsStartUpBeforeNotifying ) {
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
  for ( const bool value : { true, true, false } ) {
    sw.groups->initializedIs( value );
    EXPECT_EQ( sw.groups->initialized(), value );
  }
  EXPECT_THAT( observer.calls, ElementsAre( 6, 12 ) );
}

const std::exception_ptr bus = std::make_exception_ptr( std::runtime_error( "bus" ) );

// Throws from SDK call 1, 2, 3 ... of start-up, alone or together with the calls that undo it.
TEST( StartupTest, RunsAgainAfterAnExceptionFromAnyCall ) {
  for ( const U32 times : { 1U, 0U } ) {
    std::string undisturbed;
    bool thrown = true;
    for ( U32 nth = 0; thrown; ++nth ) {
      TestSwitch sw(
          { .pipes = 2, .shared = times == 0, .presels = times == 1, .units = 2, .slices = 2 } );
      sw.platform.acl( 1, 4, tcamAllocateAtBeginning )
          .user( qosTcamGroup, 1, 3, tcamAllocateAsChunk )
          .acl( 2, 200, tcamAllocateAsChunk, macAclTcamGroup );  // does not fit
      sw.platform.settings.allocAtBeginning = true;
      sw.platform.exclude( 1, 5, {} ).include( 1, 5, {} );
      sw.construct();
      if ( nth != 0 )
        sw.faults.arm( { .nth = nth, .times = times, .exception = bus } );
      try {
        sw.groups->initializedIs( true );
        thrown = nth == 0;
      } catch ( const std::runtime_error & ) {
        sw.faults.disarm();
        EXPECT_FALSE( sw.groups->exhaustedMarks() != 0 || sw.groups->started() ||
                      sw.groups->ovidWarSm() )
            << "call " << nth;
        EXPECT_EQ( sw.groups->groupIdToIndexSize() + sw.groups->groupIdToExcludeIndexSize() +
                       sw.groups->groupIdToIncludeIndexSize() +
                       sw.groups->rangeCheckersExhaustedSize() + sw.groups->groupCountsSize(),
                   0U );
        if ( nth % 2 == 0 ) {
          sw.groups->finishCleanup( 0 );
          EXPECT_EQ( sw.groups->unfinishedCleanup( 0 ), 0U );
        }
        sw.groups->initializedIs( true );
      }
      if ( nth == 0 )
        undisturbed = sw.state();
      EXPECT_EQ( difference( undisturbed, sw.state() ), "" ) << "call " << nth;
      EXPECT_EQ( sw.groups->exhaustedMarks(), 2U );
      EXPECT_EQ( sw.audit(), "" ) << "call " << nth;
    }
  }
}

TEST( StartupTest, FurtherManagerFinishesTheCleanupFirst ) {
  TestSwitch sw;
  sw.platform.acl( 1, 4 );
  sw.start();
  const U32 id = sw.take( ipAclTcamGroup );
  sw.faults.arm( { .op = SdkOp::bcm_field_group_destroy, .exception = bus } );
  EXPECT_THROW( sw.manager( ipAclTcamGroup ).releaseEntry( 0, id ), std::runtime_error );
  sw.groups->entryManagerIs( qosTcamGroup, "qos", sw.groups.rawPtr_, 1, 0x10004, 0x10007,
                             tcamAllocateAtBeginning );
  EXPECT_EQ( sw.counts(), "1/3" );
  EXPECT_EQ( sw.audit(), "" );
}

TEST( StartupTest, ReInitialisationRebuildsEverything ) {
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
  void ( *const uses[] )( MorvaneTcamEntryManager & ) = {
      []( auto & old ) { old.installEntry( 0, 0x10000 ); },
      []( auto & old ) {
        old.getRangeChecker( 0, { 1, 2, 3 } );
      },
      []( auto & old ) {
        old.releaseRangeChecker( 0, { 1, 2, 3 } );
      },
      []( auto & old ) { old.rangeCheckersExhausted( 0 ); },
      []( auto & old ) { old.getMirroringAclUdf( 0, Acl::ip(), 0, UdfBaseL3HeaderStart, 0, 4 ); },
      []( auto & old ) { old.setExhausted( 0, true, false ); },
      []( auto & old ) { old.exhaustedIs( 0, false ); },
      []( auto & old ) { old.exhaustedDel( 0 ); },
      []( auto & old ) { old.clearCounters( 0 ); },
      []( auto & old ) { old.handleInitialized(); } };
  for ( const auto & use : uses )
    EXPECT_THAT( deathOf( [ & ] { use( *before ); } ),
                 HasSubstr( "The entry manager does not belong to a group manager any more" ) )
        << "use " << &use - uses;
  EXPECT_TRUE( sw.groups->sliceFreedSize() == 0 && sw.groups->rangeCheckerSize() == 0 );
}

TEST( StartupTest, SecondManagerOfAUserMustHaveTheSameParameters ) {
  TestSwitch sw;
  sw.platform.acl( 1, 4 );
  sw.start();
  const Kiv::Ptr< MorvaneTcamGroupManager > others =
      Kiv::make< MorvaneTcamGroupManager >( Kiv::Name( "others" ), sw.vlans, false );
  const auto ask = [ & ]( U32 base, U32 end, TcamAllocationStrategy strategy, U32 group = 1,
                          const char * desc = "ipAclTcamGroup", bool own = true ) -> std::string {
    try {
      const auto manager = sw.groups->entryManagerIs(
          ipAclTcamGroup, desc, ( own ? sw.groups : others ).rawPtr_, group, base, end, strategy );
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
  EXPECT_EQ( ask( 65536, 65540, tcamAllocateOnDemand, 2 ), text( "group", 2, 1 ) );
  EXPECT_EQ( ask( 65536, 65540, tcamAllocateOnDemand, 1, "x" ),
             text( "desc", "'x'", "'ipAclTcamGroup'" ) );
  EXPECT_EQ( ask( 65536, 65540, tcamAllocateOnDemand, 1, "ipAclTcamGroup", false ),
             text( "groupManager", "'others'", "'groups'" ) );
}

}  // namespace Test::Startup
