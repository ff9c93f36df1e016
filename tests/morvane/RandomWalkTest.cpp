// Random operations on tight chips, with the auditor, a naive model and a packet after every step.
// A failing walk prints its seed and the shortest script that still fails.

#include <iostream>
#include <map>
#include <random>
#include <utility>

#include "morvane/AclType.h"
#include "morvane/MorvaneTcamCapacitySm.h"
#include "tests/morvane/TestSwitch.h"

namespace Test::RandomWalk {

struct Step {
  U32 op, user, unit, a, b;  // taken modulo what there is
};
using Script = std::vector< Step >;

const char * const opNames[] = {
    "get",     "get",     "get",      "program", "program", "program", "enable", "prio",  "remove",
    "release", "release", "compress", "ask",     "starve",  "inport",  "reinit", "range", "unrange",
    "police",  "attach",  "attach",   "udf",     "udf",     "udf",     "bitmap", "bitmap" };

// Outer-VLAN matches of rules where twins are kept: one VLAN, several, the untagged packets, all.
const OvidMatch vlanMatches[] = { { 10, 0xFFF }, { 11, 0xFFF }, { 10, 0xFFE }, { 0, 0xFFF }, {} };

const struct User {
  TcamGroupAssignment user;
  U32 group, size;
  TcamAllocationStrategy strategy;
} users[] = { { ipAclTcamGroup, 1, 40, tcamAllocateOnDemand },
              { qosTcamGroup, 1, 0, tcamAllocateUnbounded },
              { ipCoppTcamGroup, 1, 6, tcamAllocateAsChunk },
              { l2ControlPrioTcamGroup, 1, 4, tcamAllocateAtBeginning },
              { ipAclVfpTcamGroup, 2, 9, tcamAllocateOnDemand },
              { urpfTcamGroup, 3, 0, tcamAllocateUnbounded },
              { mirroringAclTcamGroup1, 4, 0, tcamAllocateUnbounded },
              { mirroringAclTcamGroup2, 5, 3, tcamAllocateAsChunk },
              { openFlowUdfTcamGroup, 6, 0, tcamAllocateUnbounded } };

struct Rule {
  U32 group = 0, dstIp = 0, priority = 0, policer = 0;
  bool installed = false, enabled = true;
  OvidMatch vlan = {};
};

class Walk {
 public:
  explicit Walk( const Chip & chip ) : sw_( chip ) {
    Qualifiers ingress = { bcmFieldQualifyDstIp, bcmFieldQualifyInPorts };
    if ( chip.shared )
      ingress.push_back( bcmFieldQualifyOuterVlanId );
    for ( const U32 group : { 1U, 3U, 4U, 5U, 6U } )
      sw_.platform.group( group, ingress );
    sw_.platform.group(
        2, { bcmFieldQualifyDstIp, bcmFieldQualifyInPorts, bcmFieldQualifyStageLookup } );
    for ( const User & user : users ) {
      sw_.platform.user( user.user, user.group, user.size, user.strategy );
      sw_.platform.users.back().mirroringAclUdf = true;
    }
    sw_.start();
    capacity_ = Kiv::make< MorvaneTcamCapacitySm >( Kiv::Name( "capacity" ), sw_.groups, &table_ );
    for ( U32 unit = 0; unit < chip.units; ++unit )
      capacity_->thresholdIs( { unit, 0 }, { 60, 40 } );
  }

  // "" or what is wrong after the step.
  std::string run( const Step & step ) {
    std::string wrong = apply( step );
    capacity_->poll();
    if ( wrong.empty() )
      wrong = sw_.audit( &*capacity_ );
    for ( U32 unit = 0; unit < sw_.chip.units && wrong.empty(); ++unit )
      wrong = compare( unit );
    return wrong.empty() ? checkPacket( step.unit % sw_.chip.units, step.b, step.a, step.b >> 8 )
                         : wrong;
  }

 private:
  using Rules = std::map< U32, Rule >;  // by entry id

  std::string apply( const Step & step ) {
    const User & user = users[ step.user % std::size( users ) ];
    const U32 unit = step.unit % sw_.chip.units;
    const std::string op = opNames[ step.op % std::size( opNames ) ];
    MorvaneTcamEntryManager & manager = sw_.manager( user.user );
    if ( op == "get" || op == "starve" )
      return get( user, unit, step, op == "starve" );
    if ( op == "udf" )
      return user.group == 4 || user.group == 5 ? udf( user, unit, step ) : "";
    if ( op == "range" || op == "unrange" )
      return share( unit, { step.a % 3, 5, 1 + step.b % 2 }, op == "range" );
    if ( op == "police" )
      return police( unit, step ), "";
    if ( op == "reinit" )  // ends the managers' lives
      return step.a % 16 == 0 ? reInit() : "";
    if ( op == "bitmap" )
      sw_.untag( unit, static_cast< U16 >( 10 + step.a % 2 ), step.b );
    if ( op == "compress" )
      manager.compressEntries( unit );
    else if ( op == "ask" && user.size != 0 && manager.entriesAvailable( unit ) > user.size )
      return "more room than the range has";
    // One of the entries that the user has.
    std::vector< U32 > ids;
    for ( auto it = sw_.books( manager, unit ).entryCreatedIterConst(); it; ++it )
      ids.push_back( it.key() );
    if ( !ids.empty() )
      program( op, manager, unit, ids[ step.a % ids.size() ], step.b );
    return "";
  }

  void program( const std::string & op, MorvaneTcamEntryManager & manager, U32 unit, U32 id,
                U32 value ) {
    Rule & rule = model_[ unit ][ id ];
    if ( op == "program" ) {
      sw_.match( unit, id, rule.dstIp = 1 + value % 4 );
      if ( sw_.groups->ovidWar( rule.group ) ) {
        rule.vlan = vlanMatches[ value / 4 % std::size( vlanMatches ) ];
        SDK_CHECKED( bcm_field_qualify_OuterVlanId( unit, id, rule.vlan.vlan, rule.vlan.mask ) );
      }
      rule.installed = manager.installEntry( unit, id ) == 0;
    } else if ( op == "inport" && rule.group != 2 ) {  // any port: the rule stays as it is
      manager.inPortsForEntryIs( unit, id, {}, {}, value % 2 == 0 );
    } else if ( op == "enable" ) {
      manager.enableEntry( unit, id, rule.enabled = value % 2 == 0, 0 );
    } else if ( op == "prio" ) {
      rule.priority = value % 3 == 0 ? manager.defaultPrio( id ) : value % 7;
      manager.setPriorityForEntry( unit, id, value % 3 == 0 ? manager.invalidPrio() : value % 7 );
    } else if ( op == "attach" && rule.policer != 0 ) {
      manager.attachPolicer( unit, id, std::exchange( rule.policer, 0 ), false );
    } else if ( op == "attach" && !policers_[ unit ].empty() ) {
      rule.policer = policers_[ unit ][ value % policers_[ unit ].size() ];
      manager.attachPolicer( unit, id, rule.policer, true );
    } else if ( op == "remove" && rule.installed ) {
      rule.installed = manager.removeEntry( unit, id ) != 0;
    } else if ( op == "release" ) {
      manager.releaseEntry( unit, id );
      model_[ unit ].erase( id );
    }
  }

  std::string get( const User & user, U32 unit, const Step & step, bool starve ) {
    MorvaneTcamEntryManager & manager = sw_.manager( user.user );
    const U32 offset = user.size == 0 ? 0 : step.a % user.size;
    const bool taken = user.size != 0 && model_[ unit ].contains( manager.baseEntry() + offset );
    if ( starve )
      sw_.faults.arm( { .op = SdkOp::bcm_field_stat_create, .nth = step.b % 4 + 1, .rc = -14 } );
    const U32 id = sw_.take( user.user, offset, unit );
    const bool starved = starve && sw_.faults.fired();
    sw_.faults.disarm();
    if ( id == 0 )
      return taken || manager.exhausted( unit ) ? "" : "refused without being exhausted";
    if ( taken || starved || model_[ unit ].contains( id ) || manager.exhausted( unit ) )
      return fmt::format( "got {:#x} that could not be had", id );
    model_[ unit ][ id ] = { user.group, 0, user.size == 0 ? 0 : manager.defaultPrio( id ) };
    return "";
  }

  // Whether a packet with a tag, or none (0), is what the rule's feature means by its VLAN.
  bool inVlan( U32 unit, const OvidMatch & match, U32 port, U32 tag ) const {
    const auto covers = [ & ]( U32 vlan ) { return ( vlan & match.mask ) == match.vlan; };
    const auto untagged = [ & ]( U16 vlan ) {
      return covers( vlan ) && sw_.vlans->ovidUtBitmap( { unit, vlan } ).has( port );
    };
    return covers( tag ) || ( tag == 0 && ( untagged( 10 ) || untagged( 11 ) ) );
  }

  // A rule with a user-defined field comes or goes.
  std::string udf( const User & user, U32 unit, const Step & step ) {
    MorvaneTcamEntryManager & manager = sw_.manager( user.user );
    if ( !sw_.groups->groupExists( unit, user.group ) && !manager.initializeGroup( unit ) )
      return "";
    const U8 offset = static_cast< U8 >( 8 + step.a % 3 * 4 );
    const auto uses = [ & ]() -> U32 {
      const S32 id =
          manager.getMirroringAclUdf( unit, Acl::ip(), 0, UdfBaseL2HeaderEnd, offset, 4 );
      const auto carried = sw_.groups->groupIdToMirroringAclUdf( static_cast< U8 >( user.group ) );
      return id < 0 ? 0 : carried->udfQualId( udfQualKey( unit, id ) );
    };
    const bool add = step.b % 3 != 0;
    U32 expected = add ? uses() + 1 : std::max( uses(), 1U ) - 1;
    const auto status =
        manager.setMirroringAclUdf( unit, Acl::ip(), 0x0800, UdfBaseL2HeaderEnd, offset, 4, add )
            .udfCreateStatus;
    if ( status == udfCreateSuccessWithGroupRecreate ||
         status == udfCreateFailureWithGroupRecreateFailure )
      std::erase_if( model_[ unit ],
                     [ & ]( const auto & rule ) { return rule.second.group == user.group; } );
    // Otherwise it was not there, or there was no room for it.
    if ( status != udfCreateSuccessNoGroupRecreate )
      expected = 0;
    return uses() == expected ? "" : "counts other uses of a field";
  }

  // Groups with user-defined fields do not outlive what hardware has forgotten.
  void giveBackUdfGroups( U32 unit ) {
    for ( const User & user : users ) {
      if ( user.group < 4 )
        continue;
      MorvaneTcamEntryManager & manager = sw_.manager( user.user );
      for ( auto it = sw_.books( manager, unit ).entryCreatedIterConst(); it; ++it )
        manager.releaseEntry( unit, it.key() );
      while ( sw_.groups->groupExists( unit, user.group ) )
        sw_.groups->uninitializeGroup( unit, user.group );
    }
  }

  // Six intervals for four checkers.
  std::string share( U32 unit, const RangeCheckerDesc & desc, bool get ) {
    std::map< RangeCheckerDesc, U32 > & users = ranges_[ unit ];
    if ( !get && users.contains( desc ) ) {
      sw_.groups->releaseRangeChecker( unit, desc );
      if ( --users[ desc ] == 0 )
        users.erase( desc );
    } else if ( get ) {
      const bool room = users.contains( desc ) || users.size() < sw_.chip.rangeCheckers;
      if ( ( sw_.groups->getRangeChecker( unit, desc ) != 0 ) != room )
        return room ? "refused a checker that there is" : "got one checker too many";
      if ( room )
        ++users[ desc ];
      else if ( !sw_.groups->rangeCheckersExhausted( unit ) )
        return "has no checker left and does not say so";
    }
    const auto data = sw_.groups->rangeChecker( desc );
    const bool live = users.contains( desc );
    return ( data ? data->unitRefCount( unit ) : 0 ) == ( live ? users[ desc ] : 0 )
               ? ""
               : "counts other users of a range checker";
  }

  void police( U32 unit, const Step & step ) {
    std::vector< U32 > & all = policers_[ unit ];
    const U32 at = step.b % ( sw_.chip.policers / 2 );
    if ( at >= all.size() ) {
      bcm_policer_config_t limits = { 0, bcmPolicerModeCommitted, 1 + step.a % 9, 1, 0, 0 };
      all.push_back( sw_.groups->createPolicer( unit, reinterpret_cast< U8 * >( &limits ) ) );
      return;
    }
    for ( const auto & [ id, rule ] : model_[ unit ] )
      if ( rule.policer == all[ at ] )
        return;
    sw_.groups->removePolicer( unit, all[ at ] );
    all.erase( all.begin() + at );
  }

  std::string reInit() {
    for ( U32 unit = 0; unit < sw_.chip.units; ++unit ) {
      giveBackUdfGroups( unit );
      sw_.asic.reset( unit );
    }
    std::streambuf * const out = std::cout.rdbuf( nullptr );
    sw_.groups->doSdkReInit();
    std::cout.rdbuf( out );
    std::cout.clear();
    model_.clear();
    ranges_.clear();
    policers_.clear();
    return "";
  }

  std::string compare( U32 unit ) {
    U32 used = 0;
    for ( const User & user : users )
      used += sw_.books( sw_.manager( user.user ), unit ).entryCreatedSize();
    if ( used != model_[ unit ].size() )
      return fmt::format( "{} entries, not {}", used, model_[ unit ].size() );
    for ( const auto & [ id, rule ] : model_[ unit ] ) {
      const auto entry = sw_.asic.entry( unit, id );  // the auditor compares the other copies
      if ( !entry || entry->priority != rule.priority || entry->installed != rule.installed ||
           entry->enabled != rule.enabled || entry->policer != rule.policer )
        return fmt::format( "entry {:#x} is not as it was left", id );
    }
    return "";
  }

  // The first group that a packet matches must have matched with its best rule.
  std::string checkPacket( U32 unit, U32 anyPort, U32 anyIp, U32 anyTag ) {
    const U32 port = anyPort % ( sw_.chip.pipes * portsPerPipe ), dstIp = 1 + anyIp % 4;
    const U16 tags[] = { 0, 0, 10, 11 }, tag = tags[ anyTag % 4 ];
    const U32 hit = tcamNumberBits.get( sw_.hit( unit, port, dstIp, tag ) );
    const Rule * best = nullptr;
    for ( const auto & [ id, rule ] : model_[ unit ] ) {
      if ( !rule.installed || !rule.enabled || rule.dstIp != dstIp ||
           !inVlan( unit, rule.vlan, port, tag ) )
        continue;
      // The lookup stage comes first, then groups by falling number.
      const auto rank = []( const Rule & r ) {
        return std::pair( r.group == 2 ? 9 : r.group, r.priority );
      };
      if ( best == nullptr || rank( rule ) > rank( *best ) ||
           ( id == hit && rank( rule ) == rank( *best ) ) )
        best = &rule;
    }
    return ( best == nullptr ? hit == 0 : best == &model_[ unit ][ hit ] )
               ? ""
               : fmt::format( "port {} address {} tag {}: hit {:#x}", port, dstIp, tag, hit );
  }

  struct : TcamCapacityTable {
    void rowIs( const TcamCapacityKey &, const TcamCapacityRow & ) override {}
    void rowDel( const TcamCapacityKey & ) override {}
    void alarmIs( const TcamCapacityKey &, bool ) override {}
  } table_;
  TestSwitch sw_;
  Kiv::Ptr< MorvaneTcamCapacitySm > capacity_;
  // By unit.
  std::map< U32, Rules > model_;
  std::map< U32, std::map< RangeCheckerDesc, U32 > > ranges_;  // with their users
  std::map< U32, std::vector< U32 > > policers_;
};

// Runs in a child, since a failure may be an assertion. "" when nothing is wrong.
std::string play( const Chip & chip, const Script & script ) {
  return inChild( [ & ] {
           Walk walk( chip );
           std::string wrong;
           for ( size_t i = 0; i < script.size() && wrong.empty(); ++i )
             wrong = walk.run( script[ i ] );
           std::fputs( wrong.c_str(), stderr );
         } )
      .text;
}

Script shrink( const Chip & chip, Script script ) {
  for ( size_t at = script.size(); at-- > 0; ) {
    Script shorter = script;
    shorter.erase( shorter.begin() + static_cast< std::ptrdiff_t >( at ) );
    if ( !play( chip, shorter ).empty() )
      script = shorter;
  }
  return script;
}

std::string text( const Script & script ) {
  std::string lines;
  for ( const Step & step : script )
    lines += fmt::format( "{} {} unit {} a {} b {}\n", opNames[ step.op % std::size( opNames ) ],
                          enumName( users[ step.user % std::size( users ) ].user ), step.unit,
                          step.a, step.b );
  return lines;
}

class RandomWalkTest : public testing::TestWithParam< Chip > {};

TEST_P( RandomWalkTest, BooksChipsAndModelAgreeAfterEveryStep ) {
  for ( U32 seed = 1; seed <= 20; ++seed ) {
    std::mt19937 random( seed );
    Script script( 400 );
    for ( Step & step : script )
      for ( U32 * part : { &step.op, &step.user, &step.unit, &step.a, &step.b } )
        *part = static_cast< U32 >( random() ) >> 8;
    if ( const std::string wrong = play( GetParam(), script ); !wrong.empty() ) {
      const Script shortest = shrink( GetParam(), script );
      FAIL() << "seed " << seed << ": " << wrong << "\nshortest script:\n"
             << text( shortest ) << play( GetParam(), shortest );
    }
  }
}

INSTANTIATE_TEST_SUITE_P(
    Chips, RandomWalkTest,
    testing::Values(
        Chip{ .slices = 6,
              .depth = 8,
              .statistics = 18,
              .keyBits = 190,
              .paired = true,
              .dataChunks = 4 },
        Chip{ .pipes = 2, .units = 2, .slices = 2, .largeSlices = 2, .depth = 8, .statistics = 20 },
        Chip{ .pipes = 2, .slices = 5, .depth = 12, .statistics = 25, .halfSize = true },
        Chip{ .pipes = 2,
              .secondCopy = true,
              .slices = 6,
              .depth = 8,
              .statistics = 24,
              .keyBits = 190,
              .paired = true },
        Chip{ .pipes = 4,
              .secondCopy = true,
              .presels = true,
              .units = 2,
              .slices = 4,
              .depth = 10,
              .statistics = 30,
              .fixedKeys = true,
              .dataFormats = 4 },
        Chip{ .pipes = 4, .shared = true, .slices = 4, .depth = 9, .statistics = 25 } ) );

}  // namespace Test::RandomWalk
