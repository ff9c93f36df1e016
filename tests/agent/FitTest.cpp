#include <gmock/gmock.h>

#include <map>
#include <regex>
#include <set>
#include <sstream>

#include "agent/report/CostReport.h"
#include "agent/report/FitReport.h"
#include "agent/verdict/Cost.h"
#include "agent/verdict/Fit.h"
#include "agent/verdict/WhatIf.h"
#include "tests/Rounds.h"
#include "tests/agent/TestSwitch.h"

namespace Agent {

namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

PortRange someRange( Random & random ) {
  static constexpr PortRange ranges[] = {
      {}, { 80, 80 }, { 1, 6 }, { 5, 7 }, { 1024, 65535 }, { 3, 900 }, { 100, 2000 }, { 7, 7000 } };
  return ranges[ random.below( std::size( ranges ) ) ];
}

AclRule someRule( Random & random, AclUse use ) {
  AclRule rule;
  rule.line = random.below( 1000 );
  rule.source = prefix4( static_cast< U32 >( random.word() ), 8 + random.below( 25 ) );
  rule.counters.bytes = random.below( 4 ) != 0;
  if ( use == AclUse::mirror ) {
    rule.forwarding = Forwarding::none;
    rule.mirror = true;
    for ( U32 i = random.below( 3 ); i-- != 0; )
      rule.udf.push_back( { UdfBase::l3Start, static_cast< U8 >( 20 + 4 * random.below( 6 ) ),
                            static_cast< U32 >( random.word() ) } );
    return rule;
  }
  rule.sourcePorts = someRange( random );
  rule.destinationPorts = someRange( random );
  if ( random.below( 8 ) == 0 )
    rule.destinationPorts = { 11, static_cast< U16 >( 40 + random.below( 4 ) ) };
  if ( random.below( 4 ) == 0 )
    rule.police = PoliceRate{ 8'000'000, 1000 };
  return rule;
}

Acl someList( Random & random, const std::string & name ) {
  Acl acl;
  acl.name = acl.file = name;
  acl.use = random.below( 3 ) == 0 ? AclUse::mirror : AclUse::filter;
  if ( acl.use == AclUse::mirror )
    acl.mirrorPort = 1;
  else if ( random.below( 2 ) == 0 )
    acl.defaultAction = Forwarding::drop;
  for ( U32 rules = 1 + random.below( 40 ); rules-- != 0; )
    acl.rules.push_back( someRule( random, acl.use ) );
  return acl;
}

ChipSize someChip( Random & random ) {
  ChipSize size = { 1 + random.below( 2 ), random.below( 2 ) == 0 };
  size.groupByPreselector = true;
  size.slices = 2 + random.below( 5 );
  size.statistics = 20 + random.below( 200 );
  size.entries = 20 + random.below( 150 );
  size.rangeCheckers = random.below( 6 );
  size.policers = 1 + random.below( 5 );
  size.dataChunks = random.below( 5 );
  size.keyBits = random.below( 2 ) == 0 ? 192 : 250;
  size.ports = std::array{ PortMethod::expand, PortMethod::checkers,
                           PortMethod::automatic }[ random.below( 3 ) ];
  return size;
}

// Whether all lists fit a new switch; of the last one, only its first rules.
bool fit( const ChipSize & size, std::vector< Acl > acls, U32 rules ) {
  acls.back().rules.resize( rules );
  TestSwitch sw( size );
  bool fits = true;
  for ( const Acl & acl : acls )
    fits = !sw.feature.addAcl( acl );
  sw.feature.clear();
  return fits;
}

FitReport verdictOn( const Platform::PlatformData & platform, const std::vector< Acl > & acls,
                     PortMethod ports ) {
  const Kiv::LockGuard activity( Kiv::ActivityUnlockAnchor::lock() );
  return fitLists( platform, acls, ports );
}

// Whether the resources have a pool of user-defined fields that ran out as a full one, and a key
// that was too narrow for one more of them with those that it had.
bool showsWhatBinds( const Platform::PlatformData & platform, const FitReport & report,
                     const ListVerdict & list ) {
  const bool key = list.shortage->resource == AclResource::keyBits;
  if ( !key && list.shortage->resource != AclResource::udfQualifiers )
    return true;
  const U32 group = shareOf( platform, classOf( *list.acl ) )->group;
  const std::string name = key ? fmt::format( "key bits of group {}", group ) : list.binding;
  const auto found = std::find_if( report.resources.begin(), report.resources.end(),
                                   [ & ]( const ResourceUse & use ) { return use.name == name; } );
  constexpr U64 fieldBits = 32;
  return found != report.resources.end() &&
         ( key ? found->used + fieldBits > found->total : found->used == found->total );
}

// Makes the changes that a remedy asks for. False if the chip cannot be changed so, or the remedy
// asks for something else.
bool apply( const std::string & remedy, const Acl & acl, Platform::PlatformData & platform,
            PortMethod & ports, std::set< std::string > & changes ) {
  static const std::map< std::string, std::string > kinds = { { "range checker", "range-checkers" },
                                                              { "policer", "policers" },
                                                              { "statistic", "statistics" },
                                                              { "slice", "slices" } };
  if ( remedy.starts_with( "--ports " ) ) {
    ports = remedy.ends_with( "auto" ) ? PortMethod::automatic : PortMethod::best;
    changes.insert( remedy );
    return true;
  }
  std::istringstream parts( std::regex_replace( std::regex_replace( remedy, std::regex( "," ), "" ),
                                                std::regex( " and " ), "\n" ) );
  std::smatch match;
  for ( std::string part; std::getline( parts, part ); ) {
    std::vector< Acl > none;
    if ( std::regex_match( part, match, std::regex( "a share of (\\d+) entries.*" ) ) ) {
      for ( Platform::ReservationData & share : platform.reservations )
        if ( share.name == shareOf( platform, classOf( acl ) )->name )
          share.size = static_cast< U32 >( std::stoul( match[ 1 ] ) );
      continue;
    }
    std::regex_match( part, match, std::regex( "(\\d+) more ([a-z ]*[a-rt-z])s?( of .*)?" ) );
    if ( match.empty() )
      return false;
    const auto kind = kinds.find( match[ 2 ] );
    if ( kind == kinds.end() ||
         applyWhatIf( fmt::format( "{}=+{}", kind->second, match[ 1 ].str() ), platform, none ) )
      return false;
    changes.insert( kind->second );
  }
  return true;
}

}  // namespace

// What is reported of lists against the chip: the entries that they need, the longest part of a
// list that fits, and what would make it fit.
TEST( FitTest, SaysWhatTheChipSays ) {
  std::set< AclResource > ranOut;
  std::set< std::string > tried;
  for ( U32 seed = 0; seed < ::Test::rounds( 400 ); ++seed ) {
    SCOPED_TRACE( seed );
    Random random( seed );
    const ChipSize size = someChip( random );
    const Platform::PlatformData platform = testPlatform( size );
    const std::vector< Acl > acls = { someList( random, "first" ), someList( random, "second" ) };
    const FitReport report = verdictOn( platform, acls, size.ports );
    std::vector< Acl > programmed;
    for ( const ListVerdict & list : report.lists ) {
      if ( !list.fault.empty() )
        continue;
      programmed.push_back( *list.acl );
      const auto rules = static_cast< U32 >( list.acl->rules.size() );
      EXPECT_EQ( fit( size, programmed, rules ), list.fits() );
      if ( list.fits() )
        continue;
      ranOut.insert( list.shortage->resource );
      EXPECT_TRUE( report.fullAt != list.acl->name || showsWhatBinds( platform, report, list ) )
          << list.binding;
      const U32 fitting = list.shortage->fitting;
      EXPECT_TRUE( fitting == 0 || fit( size, programmed, fitting ) ) << fitting;
      EXPECT_TRUE( fitting == rules || !fit( size, programmed, fitting + 1 ) ) << fitting;
      // Later lists can want the same checkers.
      std::vector< Acl > again = programmed;
      if ( list.acl == &acls[ 0 ] )
        again.push_back( acls[ 1 ] );
      for ( const std::string & remedy : list.remedies ) {
        Platform::PlatformData changed = platform;
        PortMethod ports = size.ports;
        if ( !apply( remedy, *list.acl, changed, ports, tried ) )
          continue;
        const FitReport after = verdictOn( changed, again, ports );
        EXPECT_TRUE( after.lists[ programmed.size() - 1 ].fits() ) << remedy;
      }
      programmed.pop_back();
    }
  }
  EXPECT_THAT( ranOut, testing::SizeIs( 7 ) );
  EXPECT_THAT( tried, testing::SizeIs( 6 ) );
}

// The model of checkers against the library's: entries of every rule, and whose checkers they are.
TEST( CostTest, AgreesWithWhatIsProgrammed ) {
  for ( U32 seed = 0; seed < ::Test::rounds( 60 ); ++seed ) {
    SCOPED_TRACE( seed );
    Random random( seed );
    ChipSize size = someChip( random );
    size.slices = 60;
    size.keyBits = 192;
    size.statistics = 4096;
    size.entries = 1900;
    size.policers = 90;
    size.ports = seed % 2 == 0 ? PortMethod::automatic : PortMethod::best;
    std::vector< Acl > acls = { someList( random, "a" ), someList( random, "b" ) };
    for ( Acl & acl : acls ) {
      acl.use = AclUse::filter;
      acl.rules.resize( 6 );
      for ( AclRule & rule : acl.rules )
        rule = someRule( random, AclUse::filter );
    }
    const Platform::PlatformData platform = testPlatform( size );
    const RangeChoice choice = rangeChoice( size.ports, platform, acls );
    const CostReport cost = costOf( platform, acls, choice );
    const Kiv::LockGuard activity( Kiv::ActivityUnlockAnchor::lock() );
    SwitchSession session( platform );
    AclFeature feature( session.groupManager(), 0, platform, choice );
    for ( U32 acl = 0; acl < 2; ++acl ) {
      ASSERT_FALSE( feature.addAcl( acls[ acl ] ) );
      for ( U32 rule = 0; rule < acls[ acl ].size(); ++rule )
        EXPECT_EQ( feature.find( { acl, rule } )->entries.size(),
                   cost.lists[ acl ].rules[ rule ].entries );
    }
    U32 taken = 0;
    for ( const RangeCost & range : cost.ranges )
      taken += range.checker != 0 ? 1 : 0;
    EXPECT_EQ( session.chip().ranges( 0 ).size(), taken );
    feature.clear();
  }
}

// All choices of checkers are tried here one by one; with many ranges only the order of programming
// is a bound.
TEST( CostTest, BestCheckersSaveMost ) {
  U32 better = 0;
  for ( U32 seed = 0; seed < 30; ++seed ) {
    SCOPED_TRACE( seed );
    Random random( seed );
    ChipSize size;
    size.rangeCheckers = 1 + random.below( 4 );
    const Platform::PlatformData platform = testPlatform( size );
    const bool small = seed % 3 != 0;
    std::vector< Acl > acls = { plainAcl( small ? 5 : 60 ) };
    for ( AclRule & rule : acls[ 0 ].rules ) {
      rule.sourcePorts = someRange( random );
      rule.destinationPorts = someRange( random );
      if ( !small )
        rule.sourcePorts = { static_cast< U16 >( 1 + random.below( 30 ) ), 900 };
    }
    const auto entries = [ & ]( const RangeChoice & choice ) {
      return costOf( platform, acls, choice ).lists[ 0 ].entries;
    };
    const U64 best = entries( rangeChoice( PortMethod::best, platform, acls ) );
    const U64 automatic = entries( PortMethod::automatic );
    EXPECT_LE( best, automatic );
    better += best < automatic ? 1 : 0;
    std::set< PlacedRange > ranges;
    for ( const AclRule & rule : acls[ 0 ].rules )
      for ( const PlacedRange & range : checkerRanges( rule ) )
        ranges.insert( range );
    for ( U32 bits = 0; small && bits < 1U << ranges.size(); ++bits ) {
      std::set< PlacedRange > chosen;
      U32 bit = 0;
      for ( const PlacedRange & range : ranges )
        if ( ( bits >> bit++ & 1 ) != 0 )
          chosen.insert( range );
      EXPECT_TRUE( chosen.size() > size.rangeCheckers ||
                   best <= entries( { PortMethod::best, chosen } ) );
    }
  }
  EXPECT_GT( better, 15U );
}

TEST( WhatIfTest, ChangesChipsAndLists ) {
  ChipSize size;
  const struct {
    const char * change;
    const char * fault;  // part of it; null: none
  } cases[] = {
      { "slices=+2", nullptr },
      { "slices=-3", nullptr },
      { "range-checkers=0", nullptr },
      { "ports=+9", nullptr },
      { "list:plain*3", nullptr },
      { "policers=7", nullptr },
      { "slices=-9", "of which test has 4" },
      { "slices=0", "cannot be changed so: " },
      { "range-checkers=49", "cannot be changed so: " },
      { "egress-slices=1", "test has no egress-slices" },
      { "ports=", "N, +N or -N is expected" },
      { "ports=0", "without ports" },
      { "depth=1", "one of ports, range-checkers, " },
      { "slcies=1", "did you mean slices?" },
      { "list:other*2", "there is no list other, but plain" },
      { "list:plian*2", "did you mean plain?" },
      { "list:plain*0", "N from 1 to 1000" },
  };
  for ( const auto & c : cases ) {
    SCOPED_TRACE( c.change );
    Platform::PlatformData platform = testPlatform( size );
    std::vector< Acl > acls = { plainAcl( 2 ) };
    const auto fault = applyWhatIf( c.change, platform, acls );
    EXPECT_EQ( fault.has_value(), c.fault != nullptr ) << fault.value_or( "" );
    EXPECT_THAT( fault.value_or( "" ), HasSubstr( c.fault != nullptr ? c.fault : "" ) );
  }
  Platform::PlatformData platform = testPlatform( size );
  std::vector< Acl > acls = { plainAcl( 2 ) };
  for ( const char * change :
        { "slices=+2", "slices=-1", "ports=+9", "policers=7", "list:plain*3" } )
    applyWhatIf( change, platform, acls );
  EXPECT_EQ( platform.chip.stages[ 0 ].slices[ 0 ].count, 5U );
  EXPECT_EQ( platform.chip.ports(), 17U );
  EXPECT_EQ( platform.description, "5 slices, 17 ports, 7 policers" );
  EXPECT_EQ( platform.chip.policers, 7U );
  ASSERT_EQ( acls[ 0 ].rules.size(), 6U );
  EXPECT_EQ( acls[ 0 ].rules[ 5 ].line, 2U );
}

// A list that is short of slices beside one that fits, and what its ranges cost.
TEST( FitTest, ReportsAreWhole ) {
  ChipSize size;
  size.slices = 3;
  size.rangeCheckers = 1;
  const Platform::PlatformData platform = testPlatform( size );
  std::vector< Acl > acls = { plainAcl( 40 ), plainAcl( 20 ) };
  acls[ 1 ].name = "ranges";
  acls[ 1 ].rules[ 3 ].destinationPorts = { 5, 7 };
  for ( const U32 rule : { 4U, 6U } )
    acls[ 1 ].rules[ rule ].destinationPorts = { 1, 6 };
  acls[ 1 ].rules[ 6 ].sourcePorts = { 5, 7 };
  const std::vector< FitReport > reports = { verdictOn( platform, acls, PortMethod::automatic ) };
  EXPECT_THAT( fitText( reports, {}, {}, 68 ),
               StartsWith( R"(  platform  list    fits  rules  needs  available  short by  binding
  --------  ------  ----  -----  -----  ---------  --------  -------
  test      plain   yes      40     40         64
)" ) );
  EXPECT_EQ( fitText( reports, { "slices=3" }, {} ),
             R"(What if slices=3
  platform  list    fits  rules  needs  available  share left  chip left  short by  binding
  --------  ------  ----  -----  -----  ---------  ----------  ---------  --------  -------
  test      plain   yes      40     40         64         512         64
  test      ranges  no       20     43         24         472         24        19  slices

Platform test: 
  ranges: its first 6 rules fit, up to line 6
    would fit with 1 more slice of 32 rows
    would fit with 2 more range checkers
    would fit with 14 rules fewer
Resources of one pipe and copy, when ranges ran out
  resource                     used  total  percent  held by
  ---------------------------  ----  -----  -------  -----------------------
  entries of acl                 64    512   12.5 %  plain, ranges
  IFP slices of 32 x 192 bits     3      3  100.0 %  plain, ranges: 2; l2: 1
  key bits of group 1           132    192   68.7 %  plain, ranges
  key bits of group 2            48    192   25.0 %  l2
  IFP statistics                 64  1,024    6.2 %  plain, ranges
  range checkers                  1      1  100.0 %  ranges
  policers of a pipe              0      4    0.0 %
  UDF packet formats              0     16    0.0 %
  preselectors                    0     64    0.0 %
)" );
  EXPECT_EQ(
      costText( platform, costOf( platform, acls, rangeChoice( PortMethod::best, platform, acls ) ),
                false, {} ),
      R"(Platform test: 

  list    rules  entries  by prefixes  saved by checkers
  ------  -----  -------  -----------  -----------------
  plain      40       40           40                  0
  ranges     20       27           45                 18

Rules of several entries, or that would be without checkers: 3
  list    rule  line  entries  because of                                             checkers
  ------  ----  ----  -------  -----------------------------------------------------  --------
  ranges     4     4        4  protocol: 2 values x destinationPorts 5-7: 2 prefixes
  ranges     7     7        4  protocol: 2 values x sourcePorts 5-7: 2 prefixes       1
  ranges     5     5        2  protocol: 2 values                                     1

Ranges of ports: 3, of which 1 have a checker; the chip has 1
  range                 checker   saves  rules
  --------------------  --------  -----  ---------
  destinationPorts 1-6  1            18  ranges: 2
  sourcePorts 5-7       prefixes      2  ranges: 1
  destinationPorts 5-7  prefixes      2  ranges: 1
)" );
}

}  // namespace Agent
