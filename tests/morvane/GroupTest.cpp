// Group creation and teardown: qualifier sets, flags and ports on the chip, retries, reference
// counts, and what the last reference destroys.

#include <stdexcept>

#include "shim/SdkDecorator.h"
#include "tests/morvane/TestSwitch.h"

namespace Test::GroupLife {

constexpr U32 srcMac = bcmFieldQualifySrcMac, srcIp = bcmFieldQualifySrcIp,
              dstIp = bcmFieldQualifyDstIp, inPorts = bcmFieldQualifyInPorts,
              vlan = bcmFieldQualifyOuterVlanId, ttl = bcmFieldQualifyTtl,
              range = bcmFieldQualifyRangeCheck, ingress = bcmFieldQualifyStageIngress,
              lookup = bcmFieldQualifyStageLookup, egress = bcmFieldQualifyStageEgress;

Qualifiers matched( const TestSwitch & sw, U32 group ) {
  Qualifiers list;
  for ( U32 qualifier = 0; qualifier < bcmFieldQualifyCount; ++qualifier )
    if ( sw.asic.group( 0, group )->qset.has( qualifier ) )
      list.push_back( qualifier );
  return list;
}

TEST( GroupCreationTest, QualifierSetsAreCorrectedForChipTypeAndUnit ) {
  const MorvaneCentral::ChipInfo plain = {};
  MorvaneCentral::ChipInfo swap = {}, extra = {}, narrow = {};
  swap.qualifierSwap = true, swap.swapFrom = dstIp, swap.swapTo = srcIp;
  extra.extraQualifier = srcMac;
  narrow.excludeTtl = narrow.excludeRangeChecks = true;
  const struct {
    Qualifiers platform, excluded, included;
    MorvaneCentral::ChipInfo info;
    Chip chip;
    Qualifiers expected;
  } rows[] = {
      { { dstIp, ingress }, { dstIp, vlan }, { dstIp }, plain, {}, { dstIp, ingress } },
      { { dstIp, ttl, ingress }, { ttl }, { srcIp }, plain, {}, { srcIp, dstIp, ingress } },
      { { dstIp, vlan }, {}, {}, swap, {}, { srcIp, vlan } },
      { { dstIp, ingress }, {}, {}, swap, {}, { dstIp, ingress } },
      { { dstIp, vlan, inPorts }, {}, {}, swap, {}, { dstIp, inPorts, vlan } },
      { { dstIp, lookup }, {}, {}, extra, {}, { srcMac, dstIp, lookup } },
      { { dstIp, ttl, range }, {}, {}, narrow, {}, { dstIp } },
      { { bcmFieldQualifyMixedSrcClassId }, {}, {}, plain, { .presels = true }, {} },
      { { inPorts }, {}, {}, plain, { .secondCopy = true }, { bcmFieldQualifyInPortsClass } },
  };
  for ( const auto & row : rows ) {
    TestSwitch sw( row.chip );
    sw.platform.group( 1, row.platform ).user( qosTcamGroup, 1, 0, tcamAllocateUnbounded );
    sw.platform.exclude( 1, 0, row.excluded ).include( 1, 0, row.included );
    sw.platform.exclude( 1, 1, { dstIp } ).include( 2, 0, { ttl } );  // other chip types
    sw.chipInfo = row.info;
    sw.start();
    ASSERT_TRUE( sw.groups->initializeGroup( 0, 1 ) );
    EXPECT_EQ( matched( sw, 1 ), row.expected ) << "row " << &row - rows;
  }
}

TEST( GroupCreationTest, MirroringGroupsMatchByTheirAclType ) {
  const struct {
    S32 type;
    bool ipv6;
    U32 has, lacks;
  } rows[] = { { -1, false, srcIp, srcMac },
               { 0, true, srcIp, srcMac },
               { 2, false, srcMac, srcIp },
               { 1, true, bcmFieldQualifySrcIp6, srcIp } };
  for ( const auto & row : rows ) {
    TestSwitch sw;
    sw.platform.group( 1, { lookup } ).user( mirroringAclTcamGroup4, 1, 0, tcamAllocateUnbounded );
    sw.platform.settings.ipv6MirroringSupported = row.ipv6;
    sw.start();
    sw.groups->groupMirroringAclTypeIs( 1, row.type );
    ASSERT_TRUE( sw.groups->initializeGroup( 0, 1 ) );
    const bcm_field_qset_t qset = sw.asic.group( 0, 1 )->qset;
    EXPECT_TRUE( qset.has( row.has ) && !qset.has( row.lacks ) && qset.has( inPorts ) ) << row.type;
  }
  TestSwitch sw;
  sw.platform.group( 1, { ingress } ).user( mirroringAclTcamGroup1, 1, 0, tcamAllocateUnbounded );
  sw.start();
  sw.groups->groupMirroringAclTypeIs( 1, 1 );
  EXPECT_THAT(
      deathOf( [ & ] { sw.groups->initializeGroup( 0, 1 ); } ),
      HasSubstr( "`( mirAclType == Acl::ip() ) || ( mirAclType == Acl::mac() )' failed." ) );
}

TEST( GroupCreationTest, EveryCopyHasItsFlagsAndPorts ) {
  const Chip plain{ .pipes = 2, .largeSlices = 2 };
  const Chip presels{ .pipes = 2, .presels = true, .largeSlices = 2 };
  const Chip copies{ .pipes = 2, .secondCopy = true, .largeSlices = 2 };
  const Chip both{ .pipes = 4, .secondCopy = true, .presels = true };
  const struct {
    Chip chip;
    U32 stage, flags;
    bool managed, byPort;
  } rows[] = { { plain, ingress, 8 | 1, false, false },
               { plain, ingress, 32768 | 8 | 1, true, false },
               { plain, lookup, 32768 | 1, true, false },
               { plain, egress, 32768 | 1, true, false },
               { plain, dstIp, 8 | 1, false, false },  // no stage: ingress
               { presels, ingress, 2 | 1, true, true },
               { copies, ingress, 32768 | 64 | 4 | 2 | 1, true, true },
               { both, ingress, 64 | 4 | 2 | 1, false, true },
               { both, lookup, 1, false, false },
               { both, egress, 1, true, false } };
  for ( const auto & row : rows ) {
    TestSwitch sw( row.chip );
    sw.platform.group( 5, { dstIp, row.stage } ).user( qosTcamGroup, 5, 0, tcamAllocateUnbounded );
    sw.platform.users[ 0 ].managedPriority = row.managed;
    sw.start();
    ASSERT_TRUE( sw.groups->initializeGroup( 0, 5 ) );
    const bool perPipe = row.stage != lookup && row.stage != egress;
    const U32 copies = perPipe && row.chip.secondCopy ? 2 : 1;
    EXPECT_EQ( sw.groups->stageIngress( 5 ), perPipe );
    EXPECT_EQ( sw.groups->getNumPipe( 5 ), perPipe ? row.chip.pipes : 1 );
    EXPECT_EQ( sw.groups->getNumCopiesPerPipe( 0, 5 ), copies );
    EXPECT_EQ( sw.asic.groups( 0 ).size(), sw.groups->getNumPipe( 5 ) * copies );
    for ( const SoftAsic::GroupView & group : sw.asic.groups( 0 ) ) {
      EXPECT_EQ( group.flags, row.flags ) << "row " << &row - rows;
      EXPECT_EQ( group.priority, 5 );
      for ( U32 port = 0; row.byPort && port < row.chip.pipes * portsPerPipe; ++port )
        EXPECT_EQ( group.ports.has( port ), port / portsPerPipe == group.pipe );
      EXPECT_EQ( group.preselset.empty(), !row.chip.presels || !perPipe );
      EXPECT_EQ( group.stage, row.stage == egress   ? SoftAsic::StageKind::efp
                              : row.stage == lookup ? SoftAsic::StageKind::vfp
                                                    : SoftAsic::StageKind::ifp );
    }
  }
}

// What the chip and the records do not keep.
struct CreationNotes : Shim::SdkDecorator, MorvaneTcamGroupManager::Notifiee {
  CreationNotes( TestSwitch & sw ) : SdkDecorator( sw.log ), groups( *sw.groups ) {
    notifierIs( sw.groups );
  }
  int bcm_field_group_config_create( U32 unit, bcm_field_group_config_t * config ) override {
    text += fmt::format( "actions {}, ", config->action_res_id );
    return SdkDecorator::bcm_field_group_config_create( unit, config );
  }
  void onStageIngress( U32 group ) override {
    text += fmt::format( "ingress {}, ", groups.stageIngress( group ) );
  }
  void onOvidWar( U32 group ) override {
    text += fmt::format( "twins {}, ", groups.ovidWar( group ) );
  }
  MorvaneTcamGroupManager & groups;
  std::string text;
};

TEST( GroupCreationTest, StageIsIngressUntilTheListSaysOtherwise ) {
  TestSwitch sw( { .pipes = 2, .shared = true, .largeSlices = 2 } );
  sw.platform.group( 1, { dstIp, lookup } ).user( qosTcamGroup, 1, 0, tcamAllocateUnbounded );
  sw.platform.group( 2, { dstIp, vlan } ).user( urpfTcamGroup, 2, 0, tcamAllocateUnbounded );
  sw.start();
  CreationNotes notes( sw );
  Shim::sdk_ = &notes;
  EXPECT_TRUE( sw.groups->initializeGroup( 0, 1 ) && sw.groups->initializeGroup( 0, 2 ) );
  Shim::sdk_ = &sw.log;
  EXPECT_EQ( notes.text,
             "ingress true, ingress false, actions -1, ingress true, twins true, actions -1, " );
}

TEST( GroupCreationTest, PreselectorsSelectThePipe ) {
  TestSwitch sw( { .pipes = 2, .secondCopy = true, .presels = true, .slices = 1 } );
  sw.platform.acl( 1, 4 ).acl( 2, 0, tcamAllocateUnbounded, macAclTcamGroup );
  sw.start();
  ASSERT_TRUE( sw.bounded( ipAclTcamGroup ).initializeGroup( 0 ) );
  // No slice is free: the failing copy destroys its own preselector and no other.
  EXPECT_FALSE( sw.unbounded( macAclTcamGroup ).initializeGroup( 0 ) );
  EXPECT_EQ( sw.asic.preselectors( 0 ).size(), 4U );
  U32 number = 0;
  for ( const SoftAsic::PreselView & presel : sw.asic.preselectors( 0 ) ) {
    EXPECT_TRUE( presel.stage == bcmFieldStageIngress && presel.classMask == 3 );
    EXPECT_EQ( presel.classData, number++ / 2 );  // two copies in each pipe
    for ( U32 port = 0; port < 2 * portsPerPipe; ++port )
      EXPECT_EQ( presel.ports.has( port ), port / portsPerPipe == presel.classData );
  }
  EXPECT_EQ( sw.audit(), "" );
}

TEST( GroupCreationTest, RetriesOnceWithoutTheLargeSliceAndPerCopy ) {
  const struct {
    U32 stage;
    int rc;
    U32 times;   // failing creations in a row
    int result;  // 1 true, 0 false, -1 ends the process
    U32 calls;   // on two pipes
  } rows[] = { { ingress, -14, 1, 1, 3 }, { ingress, -16, 1, 1, 3 },  { ingress, -14, 2, 0, 2 },
               { lookup, -14, 1, 0, 1 },  { ingress, -16, 2, -1, 0 }, { lookup, -16, 1, -1, 0 } };
  for ( const auto & row : rows ) {
    TestSwitch sw( { .pipes = 2, .largeSlices = 4 } );
    sw.platform.group( 1, { dstIp, row.stage } ).user( qosTcamGroup, 1, 0, tcamAllocateUnbounded );
    sw.start();
    sw.groups->groupMirroringAclTypeIs( 1, 2 );
    sw.faults.arm(
        { .op = SdkOp::bcm_field_group_config_create, .times = row.times, .rc = row.rc } );
    const auto create = [ & ] { return sw.groups->initializeGroup( 0, 1 ); };
    if ( row.result < 0 ) {
      EXPECT_THAT( deathOf( create ), HasSubstr( "_create( unit, &groupConfig ) API ERROR:" ) );
      continue;
    }
    EXPECT_EQ( create(), row.result == 1 );
    EXPECT_EQ( sw.log.count( SdkOp::bcm_field_group_config_create ), row.calls );
    EXPECT_EQ( sw.log.count( SdkOp::bcm_field_group_dump ), row.result == 1 ? 0U : 1U );
    EXPECT_EQ( sw.groups->groupMirroringAclType( 1 ), row.result == 1 ? 2 : -1 );
    // The second pipe asks for the large slice again that the first pipe's retry dropped.
    EXPECT_TRUE( row.result == 0 || sw.asic.group( 0, 1 )->flags == 1 );
    EXPECT_TRUE( row.result == 0 || sw.asic.group( 0, 0x1000001 )->flags == 9 );
  }
}

TEST( GroupCreationTest, AMirroringTypeLastsWithTheGroupOfAnyUnit ) {
  TestSwitch sw( { .units = 2 } );
  sw.platform.group( 1, { ingress } ).user( mirroringAclTcamGroup1, 1, 0, tcamAllocateUnbounded );
  sw.platform.users[ 0 ].mirroringAclUdf = true;
  sw.start();
  sw.groups->groupMirroringAclTypeIs( 1, 2 );
  const auto create = [ & ]( U32 unit, U32 refusals ) {
    if ( refusals != 0 )
      sw.faults.arm( { .op = SdkOp::bcm_field_group_config_create, .times = refusals, .rc = -14 } );
    return sw.groups->initializeGroup( unit, 1 );
  };
  EXPECT_TRUE( create( 1, 1 ) );
  EXPECT_FALSE( create( 0, 2 ) );  // unit 1 has the group
  EXPECT_EQ( sw.groups->groupMirroringAclType( 1 ), 2 );
  sw.groups->uninitializeGroup( 1, 1 );
  sw.groups->groupMirroringAclTypeIs( 1, 2 );
  sw.faults.arm( { .op = SdkOp::bcm_field_group_config_create, .times = 2, .rc = -14 } );
  EXPECT_EQ( sw.groups->entriesAvailable( 0, 1 ), 0U );
  EXPECT_EQ( sw.groups->groupMirroringAclType( 1 ), 2 );
  EXPECT_TRUE( create( 0, 0 ) && create( 1, 0 ) );
  EXPECT_TRUE( sw.asic.group( 0, 1 )->qset.has( srcMac ) );
  sw.groups->uninitializeGroup( 1, 1 );
  EXPECT_EQ( sw.groups->groupMirroringAclType( 1 ), 2 );
  sw.groups->uninitializeGroup( 0, 1 );
  EXPECT_EQ( sw.groups->groupMirroringAclType( 1 ), -1 );
}

// --- Queries -----------------------------------------------------------------------------------

TEST( GroupQueryTest, WhatThePlatformAndTheChipSay ) {
  TestSwitch sw( { .slices = 2, .depth = 16 } );
  sw.auditedAtEnd = false;  // units without a chip
  sw.platform.acl( 1, 4 ).acl( 2, 4, tcamAllocateOnDemand, qosTcamGroup );
  sw.construct();
  sw.groups->modChipInfoDelAll();
  EXPECT_EQ( sw.groups->getMaxPorts(), 0 );
  sw.groups->modChipInfoIs( 0, sw.chipInfo );
  sw.groups->initializedIs( true );
  for ( const U16 unit : { 1, 2, 3 } ) {
    sw.chipInfo.maxPorts = unit == 2 ? 130 : 10;
    sw.groups->modChipInfoIs( unit, sw.chipInfo );
  }
  EXPECT_EQ( sw.groups->getMaxPorts(), 130 );
  EXPECT_EQ( sw.groups->maxPorts(), 130 );
  EXPECT_THAT( sw.groups->getTcamReservationData(),
               ElementsAre( &sw.platform.users[ 0 ], &sw.platform.users[ 1 ] ) );
  EXPECT_EQ( sw.groups->getNumOfTcamEntries( 0, 1 ), 0U );
  EXPECT_EQ( sw.groups->getNumOfTcamEntries( 0, 7 ), 0U );
  sw.take( ipAclTcamGroup );
  EXPECT_EQ( sw.groups->getNumOfTcamEntries( 0, 1 ), 16U );
  EXPECT_TRUE( isIPv4( 1 ) && !isIPv6( 1 ) && highestTcamGroupId() == 2 );
  TestPlatform empty;
  platformIs( &empty );
  EXPECT_EQ( highestTcamGroupId(), 0U );
  platformIs( &sw.platform );
  EXPECT_EQ( getLoopbackPortId( 0, 3 ), 31U );
  for ( const auto & beyond : { std::function< void() >( [] { getTcamGroup( 2 ); } ),
                                std::function< void() >( [] { getTcamReservation( 2 ); } ),
                                std::function< void() >( [] { getGroupMap( 0 ); } ),
                                std::function< void() >( [] { getGroupExcludes( 0 ); } ),
                                std::function< void() >( [] { getGroupIncludes( 0 ); } ) } )
    EXPECT_THAT( deathOf( beyond ), HasSubstr( "Assertion `index < num" ) );
}

// --- Teardown ----------------------------------------------------------------------------------

TEST( GroupTeardownTest, CountsReferencesStepByStep ) {
  TestSwitch sw( { .pipes = 2, .units = 2 } );
  sw.platform.acl( 1, 4 );
  sw.platform.group( 2, { bcmFieldQualifyInPorts } )
      .user( mirroringAclTcamGroup3, 2, 0, tcamAllocateUnbounded );
  sw.start();
  MorvaneTcamGroupManager & groups = *sw.groups;
  const struct {
    void ( *step )( MorvaneTcamGroupManager & );
    const char * counts;  // of groups 1 and 2 in pipe 0, then in pipe 1
    size_t onChip;
  } rows[] = {
      { []( auto & g ) { g.initializeGroup( 0, 1 ); }, "1/0 0/0 1/0 0/0", 2 },
      { []( auto & g ) { g.initializeGroup( 0, 1 ); }, "2/0 0/0 2/0 0/0", 2 },
      { []( auto & g ) { g.uninitializeTcamGroup( 0, 1, true ); }, "1/0 0/0 2/0 0/0", 2 },
      { []( auto & g ) { g.uninitializeTcamGroup( 0, 1, true ); }, "0/0 0/0 2/0 0/0", 1 },
      { []( auto & g ) { g.initializeGroup( 0, 1 ); }, "1/0 0/0 3/0 0/0", 2 },
      { []( auto & g ) { g.entriesAvailable( 0, 1 ); }, "1/0 0/0 3/0 0/0", 2 },
      { []( auto & g ) { g.uninitializeGroup( 0, 1 ); }, "0/0 0/0 2/0 0/0", 1 },
      // A mirroring group has one reference; entriesAvailable takes none.
      { []( auto & g ) { g.initializeGroup( 0, 2 ); }, "0/0 1/0 2/0 1/0", 3 },
      { []( auto & g ) { g.initializeGroup( 0, 2 ); }, "0/0 1/0 2/0 1/0", 3 },
      { []( auto & g ) { g.entriesAvailable( 0, 2 ); }, "0/0 1/0 2/0 1/0", 3 },
      { []( auto & g ) { g.uninitializeGroup( 0, 2 ); }, "0/0 0/0 2/0 0/0", 1 },
      { []( auto & g ) { g.entriesAvailable( 0, 2 ); }, "0/0 0/0 2/0 0/0", 1 },
  };
  for ( const auto & row : rows ) {
    row.step( groups );
    EXPECT_EQ( sw.counts(), row.counts ) << "row " << &row - rows;
    EXPECT_EQ( sw.asic.groups( 0 ).size(), row.onChip ) << "row " << &row - rows;
    EXPECT_EQ( sw.counts( 1 ), "0/0 0/0 0/0 0/0" );
  }
  sw.log.clear();
  groups.uninitializeTcamGroup( 1, 1, true );
  EXPECT_EQ( groups.groupCounts( 1 )->unitRefCount( 1 ), -1 );
  EXPECT_EQ( sw.log.total(), 0U );
  EXPECT_TRUE( groups.initializeGroup( 1, 1 ) );  // a stored -1 counts as 0
  EXPECT_EQ( groups.groupCounts( 1 )->unitRefCount( 1 ), 1 );
  EXPECT_TRUE( groups.groupCounts( 1 )->unitAllocatedHas( 1 ) );
}

TEST( GroupTest, UnreleasedPreselectorIsDestroyedBeforeTheNextCreation ) {
  TestSwitch sw( { .presels = true } );
  sw.platform.acl( 1, 4 );
  sw.start();
  const U32 entry = sw.take( ipAclTcamGroup );
  sw.faults.arm( { .op = SdkOp::bcm_field_presel_destroy,
                   .exception = std::make_exception_ptr( std::runtime_error( "bus" ) ) } );
  EXPECT_THROW( sw.manager( ipAclTcamGroup ).releaseEntry( 0, entry ), std::runtime_error );
  EXPECT_EQ( sw.audit(), "" );
  EXPECT_EQ( sw.asic.preselectors( 0 ).size(), 1U );
  sw.log.clear();
  EXPECT_NE( sw.take( ipAclTcamGroup ), 0U );
  EXPECT_EQ( sw.calls( { SdkOp::bcm_field_presel_destroy } ).size(), 1U );
  EXPECT_EQ( sw.asic.preselectors( 0 ).size(), 1U );
  EXPECT_EQ( sw.audit(), "" );
}

}  // namespace Test::GroupLife
