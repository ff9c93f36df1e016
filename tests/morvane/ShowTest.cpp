// Usage reports as whole texts, report output to slow and closed readers, and clearing counters.

#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <sstream>
#include <thread>

#include "tests/morvane/TestSwitch.h"

namespace Test::Show {

constexpr U32 ingress = bcmFieldQualifyStageIngress, dstIp = bcmFieldQualifyDstIp;

// What a report writes to its descriptor.
std::string written( const std::function< void( U32 fd ) > & report ) {
  std::FILE * file = std::tmpfile();
  report( static_cast< U32 >( fileno( file ) ) );
  std::rewind( file );
  std::string text;
  for ( int c; ( c = std::fgetc( file ) ) != EOF; )
    text += static_cast< char >( c );
  std::fclose( file );
  return text;
}

std::string usage( const TestSwitch & sw, bool detail, S8 pipe = -1, U32 unit = 0 ) {
  return written( [ & ]( U32 fd ) { sw.groups->showTcamUsage( "sw1", fd, detail, unit, pipe ); } );
}

// A list with two of four rules, one of them hit three times in pipe 0 and once in the last pipe;
// flows without a range; a chunk; and a user without entries.
void fill( TestSwitch & sw ) {
  sw.platform.acl( 1, 4 ).group( 2, { dstIp, bcmFieldQualifyStageLookup } );
  sw.platform.user( macAclTcamGroup, 1, 8, tcamAllocateOnDemand );
  sw.platform.user( qosTcamGroup, 2, 0, tcamAllocateUnbounded );
  sw.platform.user( ipAclVfpTcamGroup, 2, 6, tcamAllocateAsChunk );
  sw.start();
  MorvaneBoundedTcamEntryManager & acl = sw.bounded( ipAclTcamGroup );
  for ( const U32 entry : { 0x10000U, 0x10002U } ) {
    acl.getEntry( 0, entry, entry == 0x10000 ? "permit web" : "deny rest" );
    sw.match( 0, entry, entry );
    acl.installEntry( 0, entry );
  }
  for ( const U32 port : { 0U, 0U, 0U, portsPerPipe * sw.chip.pipes - 1 } )
    sw.hit( 0, port, 0x10002 );
  sw.take( qosTcamGroup );
  sw.take( ipAclVfpTcamGroup, 5 );
}

TEST( UsageReportTest, ShowsOnePipe ) {
  TestSwitch sw;
  fill( sw );
  EXPECT_EQ( usage( sw, false ),
             "=== TCAM summary for switch sw1 ===\n"
             "TCAM group 1 uses 2 entries and can use up to 254 more.\n"
             "  ipAclTcamGroup uses 2 entries.\n"
             "TCAM group 2 uses 7 entries and can use up to 249 more.\n"
             "  qosTcamGroup uses 1 entries.\n"
             "  ipAclVfpTcamGroup uses 6 entries.\n" );
  EXPECT_EQ( usage( sw, true ),
             "=== TCAM detail for switch sw1 ===\n"
             "TCAM group 1 uses 2 entries and can use up to 254 more.\n"
             "  ipAclTcamGroup uses 2 entries.\n"
             "    65536                 0 hits - permit web\n"
             "    65538                 4 hits - deny rest\n"
             "TCAM group 2 uses 7 entries and can use up to 249 more.\n"
             "  qosTcamGroup uses 1 entries.\n"
             "    16777215              0 hits - rule\n"
             "  ipAclVfpTcamGroup reserves 6 entries (1 used).\n"
             "    131077                0 hits - rule\n" );
}

TEST( UsageReportTest, ShowsPipesAndCopies ) {
  for ( const bool twoCopies : { false, true } ) {
    TestSwitch sw( { .pipes = twoCopies ? 4U : 2U, .secondCopy = twoCopies } );
    fill( sw );
    const std::string rest =
        "TCAM group 2 uses 7 entries and can use up to 249 more.\n"
        "  qosTcamGroup uses 1 entries.\n"
        "  ipAclVfpTcamGroup uses 6 entries.\n";
    std::string all;
    for ( U32 pipe = 0; pipe < sw.chip.pipes; ++pipe ) {
      const std::string one = fmt::format(
          "TCAM group 1 in PIPE {0} uses {1} entries and can use up to 254 more.\n"
          "  ipAclTcamGroup uses {1} entries.\n",
          pipe, twoCopies ? 4 : 2 );
      EXPECT_EQ(
          usage( sw, false, static_cast< S8 >( pipe ) ),
          "=== TCAM summary for switch sw1 ===\n" + ( pipe == 0 ? one + rest : rest + one ) );
      all += pipe == 0 ? one + rest : one;
    }
    EXPECT_EQ( usage( sw, false ), "=== TCAM summary for switch sw1 ===\n" + all );
    if ( !twoCopies )
      continue;
    // Each copy has its line and counts packets of the ports that it serves.
    EXPECT_THAT( usage( sw, true, 3 ),
                 HasSubstr( "    50397186              0 hits - deny rest\n"
                            "    117506050             1 hits - deny rest\n" ) );
    EXPECT_THAT( usage( sw, true, 0 ),
                 HasSubstr( "    65538                 3 hits - deny rest\n"
                            "    67174402              0 hits - deny rest\n" ) );
  }
}

TEST( UsageReportTest, ShowsAGroupWithTwinsOnce ) {
  TestSwitch sw( { .pipes = 2, .shared = true } );
  sw.platform.group( 1, { bcmFieldQualifyOuterVlanId, dstIp, ingress } )
      .user( qosTcamGroup, 1, 0, tcamAllocateUnbounded );
  sw.start();
  const U32 entry = sw.take( qosTcamGroup ), unit = 0;
  sw.match( unit, entry, 7 );
  SDK_CHECKED( bcm_field_qualify_OuterVlanId( unit, entry, 10, 0xFFF ) );
  sw.unbounded( qosTcamGroup ).installEntry( unit, entry );
  sw.untag( unit, 10, 4 );
  for ( const U16 tag : { 0, 0, 10, 11 } )
    sw.hit( unit, 2, 7, tag );
  EXPECT_EQ( usage( sw, true, 1 ),
             fmt::format( "=== TCAM detail for switch sw1 ===\n"
                          "TCAM group 1 uses 1 entry and can use up to 127 more.\n"
                          "  qosTcamGroup uses 1 entries.\n"
                          "    {}              3 hits - rule\n",
                          entry ) );
}

TEST( UsageReportTest, ShowsEmptyAndFullGroups ) {
  TestSwitch sw( { .units = 2, .slices = 1, .depth = 2 } );
  sw.platform.acl( 1, 2 );
  sw.platform.users[ 0 ].noStatsPerEntry = true;
  sw.platform.noStats = { 1 };
  sw.start();
  EXPECT_EQ( usage( sw, true ), "=== TCAM detail for switch sw1 ===\n" );
  sw.take( ipAclTcamGroup, 0 );
  sw.take( ipAclTcamGroup, 1 );
  EXPECT_EQ( usage( sw, true ),
             "=== TCAM detail for switch sw1 ===\n"
             "TCAM group 1 uses 2 entries and can use up to 0 more.\n"
             "  ipAclTcamGroup uses 2 entries.\n"
             "    65536                 0 hits - rule\n"
             "    65537                 0 hits - rule\n" );
  EXPECT_EQ( usage( sw, true, -1, 1 ), "=== TCAM detail for switch sw1 ===\n" );
  sw.groups->initializeGroup( 1, 1 );
  EXPECT_EQ( usage( sw, false, -1, 1 ),
             "=== TCAM summary for switch sw1 ===\n"
             "TCAM group 1 uses 0 entries and can use up to 2 more.\n" );
}

TEST( UsageReportTest, ChunkHasALineOnceItIsUsed ) {
  TestSwitch sw( { .slices = 1, .depth = 8 } );
  sw.platform.acl( 1, 4, tcamAllocateAsChunk ).settings.allocAtBeginning = true;
  sw.start();
  const std::string group =
      "=== TCAM summary for switch sw1 ===\n"
      "TCAM group 1 uses 4 entries and can use up to 4 more.\n";
  EXPECT_EQ( usage( sw, false ), group );
  sw.take( ipAclTcamGroup );
  EXPECT_EQ( usage( sw, false ), group + "  ipAclTcamGroup uses 4 entries.\n" );
}

// --- Slices, banks, entries ----------------------------------------------------------------------

std::string stage( const std::string & name, const std::string & rows, int total, int free ) {
  const std::string dashes = std::string( 47, '-' ) + "\n";
  return fmt::format(
      "{0}|Stage{1:>39} |\n{0}|              SliceNumber |  Total |    Free |\n{0}{2}"
      "{0}|{3:>25} |{4:>7} |{5:>8} |\n",
      dashes, name, rows, "", total, free );
}

TEST( SliceTableTest, ShowsStagesAndHalvesIngressSlices ) {
  for ( const bool half : { false, true } ) {
    TestSwitch sw( { .slices = 2, .depth = 512, .halfSize = half } );
    sw.platform.acl( 1, 4 );
    sw.start();
    sw.take( ipAclTcamGroup );
    const std::string whole = fmt::format( "|{:>25} |    512 |     512 |\n", 1 );
    const std::string first = fmt::format( "|{:>25} |    512 |     512 |\n", 0 );
    const std::string ifp =
        half ? fmt::format( "|{:>25} |    256 |     255 |\n|{:>25} |    256 |     256 |\n", 0, 1 )
             : fmt::format( "|{:>25} |    512 |     511 |\n", 0 ) + whole;
    const std::string expected = stage( "VFP", first + whole, 1024, 1024 ) +
                                 stage( "IFP", ifp, half ? 512 : 1024, half ? 511 : 1023 ) +
                                 stage( "EFP", first + whole, 1024, 1024 ) +
                                 std::string( 47, '-' ) + "\n";
    EXPECT_EQ( sw.groups->tcamUsage( 0 ), Kiv::String8( std::string_view( expected ) ) );
    EXPECT_EQ( written( [ & ]( U32 fd ) { sw.groups->showRawTcamUsage( "sw1", fd, 0 ); } ),
               expected );
  }
}

TEST( SliceTableTest, ShowsUnusualRecords ) {
  struct Odd : Shim::SdkDecorator {
    using Shim::SdkDecorator::SdkDecorator;
    int kelmor_bcm_tcam_capacity_info_get( U32, kelmor_tcam_capacity_info_t * info ) override {
      return *info = record, 0;
    }
    kelmor_tcam_capacity_info_t record = {};
  };
  TestSwitch sw;
  sw.start();
  Odd odd( sw.log );
  Shim::sdk_ = &odd;
  EXPECT_EQ( sw.groups->tcamUsage( 0 ), "" );
  odd.record.stage_count = 2;
  odd.record.stage[ 0 ].stage = 5;
  odd.record.stage[ 1 ].stage = 6;
  odd.record.stage[ 0 ].slice[ 0 ] = { 3, 5 };  // beyond the slices
  const std::string text = stage( "CLASS", "", 0, 0 ) + stage( "6", "", 0, 0 );
  EXPECT_EQ( sw.groups->tcamUsage( 0 ).view(), text + std::string( 47, '-' ) + "\n" );
  odd.record.stage[ 1 ].slice_count = KELMOR_TCAM_SLICES_MAX;
  odd.record.stage[ 2 ].slice_count = KELMOR_TCAM_SLICES_MAX + 1;  // beyond the stages
  EXPECT_THAT( sw.groups->tcamUsage( 0 ).view(), HasSubstr( "  63 |      0 |       0 |\n" ) );
  odd.record.stage[ 1 ].slice_count = KELMOR_TCAM_SLICES_MAX + 1;
  EXPECT_THAT( deathOf( [ & ] { sw.groups->tcamUsage( 0 ); } ), HasSubstr( "slice_count" ) );
  odd.record.stage[ 1 ].slice_count = 0;
  odd.record.stage[ 0 ].slice_count = KELMOR_TCAM_SLICES_MAX + 1;
  EXPECT_THAT( deathOf( [ & ] { sw.groups->tcamUsage( 0 ); } ), HasSubstr( "slice_count" ) );
  odd.record.stage_count = KELMOR_TCAM_STAGES_MAX + 1;
  EXPECT_THAT( deathOf( [ & ] { sw.groups->tcamUsage( 0 ); } ), HasSubstr( "stage_count" ) );
}

TEST( BankSummaryTest, ShowsUsersByBankUntilTheAsicFails ) {
  TestSwitch sw( { .pipes = 2 } );
  fill( sw );
  const std::string title =
      "=== TCAM summary for switch sw1 ===\n"
      "--------------------------------------------\n"
      " Banks           Used By\n"
      "--------------------------------------------\n";
  const std::string end = "--------------------------------------------\n";
  const auto summary = [ & ] {
    return written( [ & ]( U32 fd ) { sw.groups->showSummaryTcamUsage( "sw1", fd, 0 ); } );
  };
  const std::string ifp0 = " IFP0 0          ipAclTcamGroup\n IFP0 0          macAclTcamGroup\n";
  const std::string ifp1 = " IFP1 0          ipAclTcamGroup\n IFP1 0          macAclTcamGroup\n";
  EXPECT_EQ( summary(), title + ifp0 + ifp1 +
                            " VFP 0           qosTcamGroup\n"
                            " VFP 0           ipAclVfpTcamGroup\n" +
                            end );
  sw.faults.arm( { .op = SdkOp::kelmor_field_group_banks, .nth = 2, .rc = -1 } );
  EXPECT_EQ( traced( [ & ] { EXPECT_EQ( summary(), title + ifp0 + end ); } ), R"(
1 showSummaryTcamUsage
0 Unit: 0 showSummaryTcamUsage showSummaryTcamUsageHelper error
)" );
  // A group that is destroyed between two steps of the report is left out.
  sw.faults.disarm();
  sw.second.arm( SdkOp::kelmor_field_group_banks,
                 { [ & ] { sw.unbounded( qosTcamGroup ).releaseEntry( 0, 0xFFFFFF ); },
                   [ & ] { sw.bounded( ipAclVfpTcamGroup ).releaseEntry( 0, 0x20005 ); } } );
  EXPECT_EQ( summary(), title + ifp0 + ifp1 + end );
}

TEST( DumpTest, DumpsGroupsAndEntries ) {
  TestSwitch sw;
  fill( sw );
  const char * entry =
      "entry 0x10002 of group 0x1, slice 0 row 1, priority 2147418108, installed\n"
      "  statistics 2\n"
      "  rule\n"
      "    match DstIp 0x10002/0xffffffff\n";
  EXPECT_EQ(
      written( [ & ]( U32 fd ) { sw.groups->showEntryTcamUsage( "sw1", fd, 0, 0x10002 ); } ),
      std::string( "\n=== TCAM entry information for sw1; entry ID: 0x10002 (65538) ===\n" ) +
          entry );
  EXPECT_EQ( traced( [ & ] {
               usage( sw, false );
               written( [ & ]( U32 fd ) { sw.groups->showRawTcamUsage( "sw1", fd, 0 ); } );
               written( [ & ]( U32 fd ) { sw.groups->showEntryTcamUsage( "sw1", fd, 0, 1 ); } );
             } ),
             "\n1 showTcamUsage\n1 showRawTcamUsage\n1 tcamUsage\n1 showEntryTcamUsage\n" );
  EXPECT_EQ( sw.groups->entryDump( 0, 77 ), "" );
  EXPECT_EQ( sw.groups->groupDump( 0, 1 ),
             "group 0x1 in IFP0, priority 1\n"
             "  banks 0, key of 40 bits\n"
             "  2 of 64 entries used, 254 more possible\n"
             "  matches DstIp InPorts StageIngress\n" );
}

// --- The reader ----------------------------------------------------------------------------------

TEST( ReportWriterTest, SlowReaderGetsAllAndClosedReaderEndsTheReport ) {
  TestSwitch sw( { .slices = 1, .depth = 4096, .statistics = 4096 } );
  sw.platform.acl( 1, 4000 );
  sw.start();
  for ( U32 i = 0; i < 4000; ++i )
    sw.take( ipAclTcamGroup, i );
  const std::string expected = usage( sw, true );
  EXPECT_EQ( std::count( expected.begin(), expected.end(), '\n' ), 4003 );

  // A non-blocking pipe, a reader that takes small pieces, and signals throughout.
  struct sigaction ignore = {}, before = {};
  ignore.sa_handler = []( int ) {};
  sigaction( SIGUSR1, &ignore, &before );
  int ends[ 2 ];
  ASSERT_EQ( pipe2( ends, O_NONBLOCK ), 0 );
  fcntl( ends[ 0 ], F_SETFL, 0 );
  std::string got;
  std::thread reader( [ &, writer = pthread_self() ] {
    char piece[ 700 ];
    for ( ssize_t size; ( size = read( ends[ 0 ], piece, sizeof piece ) ) > 0; ) {
      got.append( piece, static_cast< size_t >( size ) );
      pthread_kill( writer, SIGUSR1 );
    }
  } );
  sw.groups->showTcamUsage( "sw1", static_cast< U32 >( ends[ 1 ] ), true, 0, -1 );
  close( ends[ 1 ] );
  reader.join();
  EXPECT_EQ( got, expected );
  close( ends[ 0 ] );
  sigaction( SIGUSR1, &before, nullptr );

  ASSERT_EQ( pipe( ends ), 0 );
  close( ends[ 0 ] );
  sw.groups->showTcamUsage( "sw1", static_cast< U32 >( ends[ 1 ] ), true, 0, -1 );
  close( ends[ 1 ] );
  sigset_t pending;
  sigpending( &pending );
  EXPECT_EQ( sigismember( &pending, SIGPIPE ), 0 );
}

// --- Clearing ------------------------------------------------------------------------------------

TEST( ClearCountersTest, ClearsByEntryUserGroupUnitAndAll ) {
  TestSwitch sw( { .pipes = 2, .units = 2 } );
  sw.platform.acl( 1, 4 ).group( 2, { dstIp, ingress } );
  sw.platform.user( macAclTcamGroup, 1, 2, tcamAllocateOnDemand )
      .user( qosTcamGroup, 2, 2, tcamAllocateOnDemand );
  sw.start();
  struct Rule {
    MorvaneTcamEntryManager & user;
    U32 unit, entry;
  };
  std::vector< Rule > rules;
  for ( const U32 unit : { 0U, 1U } )
    for ( const auto & [ user, offset ] :
          { std::pair( ipAclTcamGroup, 0U ), std::pair( ipAclTcamGroup, 1U ),
            std::pair( macAclTcamGroup, 0U ), std::pair( qosTcamGroup, 0U ) } ) {
      const U32 entry = sw.take( user, offset, unit );
      rules.push_back( { sw.manager( user ), unit, entry } );
    }
  // Remaining packets and bytes by rule: entries 0 and 1 of the list, another user of the group,
  // another group; then the same on unit 1.
  const auto left = [ & ] {
    std::string text;
    for ( const Rule & rule : rules )
      text += fmt::format( "{}{} ", rule.user.hitsForEntry( rule.unit, rule.entry ),
                           rule.user.byteHitsForEntry( rule.unit, rule.entry ) );
    return text;
  };
  const auto count = [ & ] {
    for ( const Rule & rule : rules )
      for ( const U32 pipe : { 0U, 1U } ) {
        const U32 stat =
            sw.records( rule.user, rule.unit ).entryStats( tcamId( rule.entry, pipe, 0 ) );
        for ( const auto type : { bcmFieldStatPackets, bcmFieldStatBytes } )
          SDK_CHECKED( bcm_field_stat_set( rule.unit, stat, type, 2 ) );
      }
  };
  MorvaneTcamEntryManager & acl = sw.manager( ipAclTcamGroup );
  const std::pair< std::function< void() >, const char * > rows[] = {
      { [ & ] { acl.clearCountersForEntry( 0, rules[ 1 ].entry ); }, "42 00 42 42 42 42 42 42 " },
      { [ & ] { acl.clearCounters( 0 ); }, "00 00 42 42 42 42 42 42 " },
      { [ & ] { sw.groups->clearGroupCounters( 1, 1 ); }, "42 42 42 42 00 00 00 42 " },
      { [ & ] { sw.groups->clearUnitCounters( 1 ); }, "42 42 42 42 00 00 00 00 " },
      { [ & ] { sw.groups->clearAllCounters(); }, "00 00 00 00 00 00 00 00 " } };
  for ( const auto & [ clear, expected ] : rows ) {
    count();
    clear();
    EXPECT_EQ( left(), expected );
  }
  // Entries that are released between two steps.
  sw.second.arm(
      SdkOp::bcm_field_stat_set,
      { [ & ] { acl.clearCounters( 0 ); }, [ & ] { acl.releaseEntry( 0, rules[ 1 ].entry ); } } );
  sw.groups->clearAllCounters();
  EXPECT_TRUE( sw.second.join() );
  EXPECT_EQ( sw.audit(), "" );
}

}  // namespace Test::Show
