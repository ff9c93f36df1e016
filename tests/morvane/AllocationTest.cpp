// Ranges and single entries: the four strategies, refusals, exhaustion and rollback.

#include <algorithm>

#include "tests/morvane/TestSwitch.h"

namespace Test::Allocation {

TEST( StrategyTest, EachStrategyAllocatesAndFreesRoom ) {
  const struct {
    TcamAllocationStrategy strategy;
    bool configured, pdp;
    // "counts available allocated" after start-up, with one entry, with two, with the second, with
    // none, and with one again
    const char * steps;
  } rows[] = { { tcamAllocateAtBeginning, false, false,
                 "1/5 5 5, 2/5 4 5, 2/5 3 5, 2/5 4 5, 1/5 5 5, 2/5 4 5, " },
               { tcamAllocateAtBeginning, false, true,
                 "0/0 5 5, 1/5 4 5, 1/5 3 5, 1/5 4 5, 1/5 5 5, 2/5 4 5, " },
               { tcamAllocateAsChunk, false, false,
                 "0/0 5 0, 1/5 4 5, 1/5 3 5, 1/5 4 5, 0/0 5 0, 1/5 4 5, " },
               { tcamAllocateAsChunk, true, false,
                 "1/5 5 0, 2/5 4 5, 2/5 3 5, 2/5 4 5, 0/0 5 0, 1/5 4 5, " },
               { tcamAllocateOnDemand, true, false,
                 "0/0 5 0, 1/1 4 1, 1/2 3 2, 1/1 4 1, 0/0 5 0, 1/1 4 1, " },
               { tcamAllocateUnbounded, true, false,
                 "0/0 32 0, 1/1 31 1, 1/2 30 2, 1/1 31 1, 0/0 32 0, 1/1 31 1, " } };
  for ( const auto & row : rows ) {
    TestSwitch sw( { .pipes = 2, .slices = 2, .depth = 16 } );
    sw.platform.acl( 1, row.strategy == tcamAllocateUnbounded ? 0 : 5, row.strategy );
    sw.platform.settings.allocAtBeginning = row.configured;
    sw.platform.settings.pdpModeEnabled = row.pdp;
    sw.start();
    MorvaneTcamEntryManager & acl = sw.manager( ipAclTcamGroup );
    std::deque< U32 > ids;
    std::string steps;
    for ( U32 step = 0; step < 6; ++step ) {
      if ( step == 3 || step == 4 )
        acl.releaseEntry( 0, ids.front() ), ids.pop_front();
      else if ( step != 0 )
        ids.push_back( sw.take( ipAclTcamGroup, step % 5 ) );
      const std::string counts = sw.counts();
      EXPECT_EQ( counts.substr( 0, 3 ), counts.substr( 4 ) );  // the same in both pipes
      steps += fmt::format( "{} {} {}, ", counts.substr( 0, 3 ), acl.entriesAvailable( 0 ),
                            acl.entriesAllocated( 0 ) );
      EXPECT_EQ( sw.counts(), counts );  // entriesAvailable allocated nothing
      EXPECT_EQ( sw.audit(), "" );
    }
    EXPECT_EQ( steps, row.steps ) << "row " << &row - rows;
  }
}

TEST( StrategyTest, RangesAreCreatedInOrderWithDefaultPriorities ) {
  for ( const U32 pipes : { 1U, 2U } ) {
    TestSwitch sw( { .pipes = pipes } );
    sw.platform.acl( 0, 2, tcamAllocateAtBeginning );
    sw.start();
    std::string calls;  // of several pipes each copy gets its priority at once, then again
    for ( const std::string & call : sw.calls( { SdkOp::bcm_field_entry_prio_set } ) )
      calls += call.substr( 14 );
    EXPECT_EQ( calls, pipes == 1 ? " 1 2" : " 1 1000001 1 1000001 2 1000002 2 1000002" );
    EXPECT_EQ( sw.asic.entry( 0, 2 )->priority, 0x7FFFFFFEU - 2 );
  }
}

TEST( StrategyTest, EntriesHaveIdentifiersAndDefaultPriorities ) {
  TestSwitch sw;
  sw.platform.acl( 1, 4 ).user( qosTcamGroup, 1, 2, tcamAllocateAsChunk );
  sw.start();
  MorvaneBoundedTcamEntryManager & acl = sw.bounded( ipAclTcamGroup );
  EXPECT_EQ( acl.getPipeEntryId( 9, 3, 0x1234567, 1 ), 0x07234567U );
  EXPECT_EQ( acl.getPipeEntryId( 0, 4, 1, 2 ), 1U );
  EXPECT_EQ( acl.getBaseCopyEntryId( 0x07234567 ), 0x03234567U );
  EXPECT_EQ( acl.defaultPrio( 1 ), 0xFFFFFFFFU );  // maxPrio was not read yet: 0 - 1
  acl.initializeGroup( 0 );
  EXPECT_EQ( acl.defaultPrio( 0x10000 ), 0x7FFEFFFEU );
  const auto noRange = HasSubstr(
      "`strategy() == tcamAllocateAtBeginning() || strategy() == tcamAllocateAsChunk()' failed." );
  EXPECT_THAT( deathOf( [ & ] { acl.allocateAllEntries( 0 ); } ), noRange );
  sw.groups->numPipeIs( 0 );
  EXPECT_THAT( deathOf( [ & ] { acl.deallocateAllEntries( 0 ); } ), noRange );
  sw.bounded( qosTcamGroup ).exhaustedIs( 0, true );
  sw.bounded( qosTcamGroup ).deallocateAllEntries( 0 );
  EXPECT_FALSE( sw.bounded( qosTcamGroup ).exhausted( 0 ) );
}

TEST( StrategyTest, EntriesThatEndFreeTheSlicesTheyLeave ) {
  const struct {
    U32 others, size;  // entries of another user of the group, and of the range
    bool freed;
  } rows[] = { { 2, 128, true },  { 0, 100, false },  { 128, 1, false },
               { 127, 1, true },  { 126, 3, true },   { 0, 128, true },
               { 0, 127, false }, { 129, 127, true }, { 130, 125, false } };
  for ( const auto & row : rows )
    for ( const auto strategy :
          { tcamAllocateOnDemand, tcamAllocateAsChunk, tcamAllocateAtBeginning } ) {
      if ( strategy == tcamAllocateOnDemand && row.size > 1 )
        continue;
      TestSwitch sw( { .pipes = 2, .slices = 5, .depth = 64 } );
      sw.platform.acl( 1, row.size, strategy ).user( qosTcamGroup, 1, 0, tcamAllocateUnbounded );
      sw.platform.acl( 2, 0, tcamAllocateUnbounded, urpfTcamGroup );
      sw.start();
      sw.take( ipAclTcamGroup );
      for ( U32 i = 0; i < row.others; ++i )
        sw.take( qosTcamGroup );
      for ( const auto user : { ipAclTcamGroup, qosTcamGroup, urpfTcamGroup } )
        sw.manager( user ).exhaustedIs( 0, true );
      sw.manager( ipAclTcamGroup ).releaseEntry( 0, 0x10000 );
      if ( strategy == tcamAllocateAtBeginning )
        sw.manager( ipAclTcamGroup ).deallocateAllEntries( 0 );
      const std::string where = fmt::format( "{} + {}", row.others, row.size );
      EXPECT_EQ( sw.groups->sliceFreed( 1 ), row.freed ) << where;
      EXPECT_FALSE( sw.groups->sliceFreedHas( 2 ) || sw.manager( qosTcamGroup ).exhausted( 0 ) );
      EXPECT_EQ( sw.manager( urpfTcamGroup ).exhausted( 0 ), !row.freed ) << where;
    }
}

TEST( StrategyTest, MarksOfExhaustionReachWhomTheyConcern ) {
  const auto all = { ipAclTcamGroup,  qosTcamGroup,  l2ControlPrioTcamGroup,
                     ipCoppTcamGroup, mlagTcamGroup, urpfTcamGroup,
                     pdpTcamGroup };
  const struct {
    bool before, exhausted, sliceFreed;
    const char * after;  // of the users above; the last two have groups of their own
  } rows[] = { { false, true, false, "XX..X.." }, { false, true, true, "XX..X.." },
               { true, true, false, "XXXXXXX" },  { true, false, false, "..XX.XX" },
               { true, false, true, "..XX..." },  { false, false, false, "......." } };
  for ( const auto & row : rows ) {
    TestSwitch sw;
    sw.platform.acl( 1, 4 )
        .user( qosTcamGroup, 1, 0, tcamAllocateUnbounded )
        .user( l2ControlPrioTcamGroup, 1, 1, tcamAllocateAtBeginning )
        .user( ipCoppTcamGroup, 1, 2, tcamAllocateAsChunk )
        .user( mlagTcamGroup, 1, 5, tcamAllocateAsChunk )
        .acl( 2, 0, tcamAllocateUnbounded, urpfTcamGroup )
        .acl( 0, 0, tcamAllocateUnbounded, pdpTcamGroup );
    sw.start();
    sw.take( ipCoppTcamGroup );  // its chunk exists, the other's does not
    for ( const auto user : all )
      sw.manager( user ).exhaustedIs( 0, row.before );
    sw.manager( ipAclTcamGroup ).setExhausted( 0, row.exhausted, row.sliceFreed );
    std::string after;
    for ( const auto user : all )
      after += sw.manager( user ).exhausted( 0 ) ? 'X' : '.';
    EXPECT_EQ( after, row.after ) << "row " << &row - rows;
    EXPECT_EQ( sw.groups->exhaustedMarks(), std::count( after.begin(), after.end(), 'X' ) );
    EXPECT_EQ( sw.groups->sliceFreed( 1 ), row.sliceFreed );
  }
}

struct MarkObserver : MorvaneTcamEntryManager::Notifiee {
  void onExhausted( U32 unit ) override { units.push_back( unit ); }
  std::vector< U32 > units;
};

TEST( StrategyTest, OnlyALackOfRoomMarksAUnit ) {
  const struct {
    SdkOp op;
    U32 calls;  // that fail
    int rc;
    bool marks;
  } rows[] = { { SdkOp::bcm_field_entry_create_id, 1, -14, true },
               { SdkOp::bcm_field_entry_create_id, 1, -8, false },
               { SdkOp::bcm_field_stat_create, 1, -14, true },
               { SdkOp::bcm_field_group_config_create, 2, -14, true } };
  for ( const auto & row : rows )
    for ( const bool before : { false, true } ) {
      TestSwitch sw( { .units = 2 } );
      sw.platform.acl( 1, 4 );
      sw.start();
      MorvaneTcamEntryManager & acl = sw.manager( ipAclTcamGroup );
      MarkObserver observer;
      observer.notifierIs( Kiv::Ptr< MorvaneTcamEntryManager >( &acl ) );
      acl.exhaustedIs( 0, before );
      sw.faults.arm( { .op = row.op, .times = row.calls, .rc = row.rc } );
      EXPECT_EQ( sw.take( ipAclTcamGroup ), 0U );
      EXPECT_EQ( acl.exhausted( 0 ), before || row.marks ) << "row " << &row - rows;
      EXPECT_FALSE( acl.exhausted( 1 ) || sw.groups->sliceFreedHas( 1 ) );
      EXPECT_NE( sw.take( ipAclTcamGroup ), 0U );
      EXPECT_FALSE( acl.exhausted( 0 ) );
      EXPECT_EQ( observer.units.empty(), !before && !row.marks );
      EXPECT_THAT( observer.units, testing::Each( 0U ) );
    }
}

TEST( StrategyTest, RangeLosesAnEntryWithoutStatisticsUntilItIsTakenAgain ) {
  TestSwitch sw( { .pipes = 2 } );
  sw.platform.acl( 1, 4, tcamAllocateAsChunk );
  sw.start();
  sw.take( ipAclTcamGroup );
  const auto touched = [ & ]( U32 id ) {
    sw.log.clear();
    EXPECT_EQ( sw.take( ipAclTcamGroup, 1 ), id );
    EXPECT_EQ( sw.audit(), "" );
    const auto calls =
        sw.calls( { SdkOp::bcm_field_entry_create_id, SdkOp::bcm_field_entry_destroy } );
    return fmt::format( "{}", fmt::join( calls, ", " ) );
  };
  sw.faults.arm( { .op = SdkOp::bcm_field_stat_create, .nth = 2, .rc = -14 } );
  EXPECT_EQ( touched( 0 ), "entry_destroy 1010001, entry_destroy 10001" );
  EXPECT_EQ( touched( 0x10001 ), "entry_create_id 1, entry_create_id 1000001" );
  EXPECT_EQ( sw.emptied(), "" );
}

TEST( StrategyTest, IdleChunkTakesTheMarksOfItsGroup ) {
  TestSwitch sw( { .slices = 1, .depth = 8 } );
  sw.platform.acl( 1, 7, tcamAllocateAsChunk ).user( qosTcamGroup, 1, 0, tcamAllocateUnbounded );
  sw.platform.settings.allocAtBeginning = true;
  sw.start();
  for ( const bool idle : { true, false } ) {
    while ( sw.take( qosTcamGroup ) != 0 )
      continue;
    EXPECT_EQ( sw.bounded( ipAclTcamGroup ).exhausted( 0 ), idle );
    EXPECT_EQ( sw.take( ipAclTcamGroup, idle ? 0 : 1 ), idle ? 0x10000U : 0x10001U );
  }
}

TEST( StrategyTest, FullGroupCompressesFreedSlicesAndRetries ) {
  TestSwitch sw( { .slices = 1, .depth = 2 } );
  sw.platform.acl( 1, 9 );
  sw.start();
  sw.take( ipAclTcamGroup );
  sw.groups->sliceFreedIs( 7, true );
  sw.groups->sliceFreedIs( 1, true );
  sw.log.clear();
  EXPECT_EQ( sw.bounded( ipAclTcamGroup ).entriesAvailable( 0 ), 1U );
  EXPECT_THAT( sw.calls( { SdkOp::bcm_field_group_compress } ), ElementsAre() );
  sw.take( ipAclTcamGroup, 1 );
  sw.log.clear();
  EXPECT_EQ( sw.bounded( ipAclTcamGroup ).entriesAvailable( 0 ), 0U );
  EXPECT_THAT( sw.calls( { SdkOp::bcm_field_group_status_get, SdkOp::bcm_field_group_compress } ),
               ElementsAre( "group_status_get 1", "group_compress 1", "group_compress 7",
                            "group_status_get 1" ) );
  EXPECT_TRUE( sw.groups->sliceFreedSize() == 0 && sw.bounded( ipAclTcamGroup ).exhausted( 0 ) );
  sw.log.clear();
  sw.bounded( ipAclTcamGroup ).entriesAvailable( 0 );
  EXPECT_EQ( sw.log.count( SdkOp::bcm_field_group_status_get ), 1U );
}

TEST( AllocationTest, CallerOrChipChoosesTheId ) {
  TestSwitch sw( { .pipes = 2, .secondCopy = true } );
  sw.platform.acl( 1, 4 ).user( qosTcamGroup, 1, 0, tcamAllocateUnbounded );
  sw.start();
  MorvaneBoundedTcamEntryManager & acl = sw.bounded( ipAclTcamGroup );
  EXPECT_EQ( acl.getEntry( 0, 0x10003, "rule" ), 0x10003U );
  EXPECT_EQ( sw.records( acl ).entryCreated( 0x10003 ), "rule" );
  sw.log.clear();
  EXPECT_EQ( sw.take( qosTcamGroup ), 0xFFFFFFU );
  EXPECT_THAT( sw.calls( { SdkOp::bcm_field_entry_create, SdkOp::bcm_field_entry_create_id } ),
               ElementsAre( "entry_create 1", "entry_create_id 4000001", "entry_create_id 1000001",
                            "entry_create_id 5000001" ) );
  EXPECT_EQ( sw.groups->tcamManagerForEntry( 0xFFFFFF ).rawPtr_, &sw.unbounded( qosTcamGroup ) );
  EXPECT_EQ( sw.audit(), "" );
  for ( const U32 outside : { 0x10004U, 0xFFFFU } )
    EXPECT_THAT( deathOf( [ & ] { acl.getEntry( 0, outside, "x" ); } ),
                 HasSubstr( "Assertion `entry >= baseEntry() && entry < endEntry()' failed." ) );
  EXPECT_THAT( deathOf( [ & ] { acl.getEntry( 0, 0x10001, "" ); } ),
               HasSubstr( "Assertion `entryDesc' failed." ) );
  sw.groups->numPipeIs( 0 );
  EXPECT_THAT( deathOf( [ & ] { acl.getEntry( 0, 0x10001, "x" ); } ),
               HasSubstr( "copies.empty()" ) );
  sw.groups->numPipeIs( 2 );
}

TEST( AllocationTest, GroupFlagsChangeItsEntries ) {
  TestSwitch sw( { .pipes = 2 } );
  sw.chipInfo.multicastWar = true;
  sw.platform.acl( 1, 4 )
      .acl( 2, 0, tcamAllocateUnbounded, macAclTcamGroup )
      .group( 3, { bcmFieldQualifyDstIp } )
      .group( 4, { bcmFieldQualifyDstIp6 } );
  sw.platform.user( qosTcamGroup, 3, 4, tcamAllocateOnDemand )
      .user( mlagTcamGroup, 4, 0, tcamAllocateUnbounded );
  sw.platform.users[ 0 ].managedPriority = sw.platform.users[ 2 ].noStatsPerEntry = true;
  sw.platform.noStats = { 3 };
  sw.platform.multicast = { 2, 4 };
  sw.platform.ipv6 = { 4 };
  sw.platform.settings.dumpEntries = sw.platform.settings.dumpNewEntries = true;
  sw.start();
  EXPECT_NE( sw.take( qosTcamGroup ), 0U );
  EXPECT_TRUE( sw.asic.statistics( 0 ).empty() );
  EXPECT_EQ( sw.log.count( SdkOp::bcm_field_entry_dump ), 1U );
  const U64 prios = sw.log.count( SdkOp::bcm_field_entry_prio_set );
  // Managed: each copy gets its priority at its creation, then again.
  sw.bounded( ipAclTcamGroup ).getEntry( 0, 0x10000, "rule" );
  EXPECT_EQ( sw.log.count( SdkOp::bcm_field_entry_prio_set ), prios + 4 );

  // The multicast entry is created before the group's first entry and destroyed after its last.
  MorvaneUnboundedTcamEntryManager & flows = sw.unbounded( macAclTcamGroup );
  const U32 id = flows.getEntry( 0, "rule" ), war = sw.records( flows ).multicastWarEntry();
  EXPECT_EQ( sw.asic.entry( 0, war )->priority, 0x7FFFFFFFU );
  sw.match( 0, id, 0xE0000001 );
  flows.installEntry( 0, id );
  EXPECT_EQ( sw.hit( 0, portsPerPipe, 0xE0000001 ), tcamId( war, 1, 0 ) );
  EXPECT_EQ( sw.hit( 0, portsPerPipe, 0xDFFFFFFF ), 0U );
  flows.releaseEntry( 0, id );
  EXPECT_FALSE( sw.asic.group( 0, 2 ) );
  sw.faults.arm( { .op = SdkOp::bcm_field_entry_create, .nth = 2, .rc = -14 } );
  EXPECT_EQ( flows.getEntry( 0, "rule" ), 0U );
  EXPECT_TRUE( flows.exhausted( 0 ) && !sw.asic.group( 0, 2 ) );
  sw.take( mlagTcamGroup );
  const auto rule =
      sw.asic.entry( 0, sw.records( sw.manager( mlagTcamGroup ) ).multicastWarEntry() )->effective;
  EXPECT_EQ( rule.qualifiers.at( 0 ).qualifier, bcmFieldQualifyDstIp6 );
  EXPECT_EQ( fmt::format( "{:x}", fmt::join( rule.qualifiers.at( 0 ).value, "." ) ),
             "ff00000000000000.0" );
  EXPECT_EQ( rule.qualifiers.at( 0 ).value, rule.qualifiers.at( 0 ).mask );
  EXPECT_EQ( sw.audit(), "" );
}

}  // namespace Test::Allocation
