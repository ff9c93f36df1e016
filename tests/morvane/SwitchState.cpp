// The state of a TestSwitch as text, and releasing everything that it holds.

#include <algorithm>
#include <iterator>
#include <set>
#include <sstream>
#include <string_view>

#include "kiv/GenericIf.h"
#include "tests/morvane/TestSwitch.h"

namespace Test {

namespace {

class StateText {
 public:
  // Sorted later: the order of a collection may depend on its history.
  void records( const std::string & path, const Kiv::Entity & entity ) {
    for ( Kiv::AttributeBase * at = entity.firstAttribute(); at != nullptr; at = at->next() ) {
      const std::string name = path + "." + std::string( at->name() );
      if ( passedOver.contains( at->name() ) )
        continue;
      if ( at->keyType() == nullptr )
        value( name, *at, {} );
      else
        for ( auto walk = at->walk(); !walk->atEnd(); walk->next() )
          value( fmt::format( "{}[{}]", name, walk->key().strep().charPtr() ), *at, walk->key() );
    }
  }

  // A range keeps the entries that nobody holds; their next user sets the priority.
  void chip( const SoftAsic::SoftAsic & asic, U32 unit, const MorvaneTcamGroupManager & owners ) {
    const std::string path = fmt::format( "chip {} ", unit );
    for ( const auto & group : asic.groups( unit ) ) {
      add( "{}group {:#x} flags {} presels {} key {} data {}", path, group.id, group.flags,
           group.preselset.empty() ? 0 : 1, group.keyBits, fmt::join( group.data, "," ) );
      for ( const auto & entry : asic.entries( unit, group.id ) )
        add( "{}entry {:#x} in {:#x} prio {} {}{} stat {} policer {:#x}{} :{}", path, entry.id,
             entry.group,
             owners.tcamManagerForEntry( tcamNumberBits.get( entry.id ) ) ? entry.priority : 0,
             entry.installed, entry.enabled, entry.stat, entry.policer,
             entry.id == tcamNumberBits.get( entry.id ) ? rule( entry.pending ) : "",
             rule( entry.effective ) );
    }
    for ( const auto & stat : asic.statistics( unit ) )
      add( "{}statistics {} of {:#x}", path, stat.id, stat.owner );
    for ( const auto & range : asic.ranges( unit ) )
      add( "{}range {}: {}-{}/{}", path, range.id, range.low, range.high, range.flags );
    for ( const auto & policer : asic.policers( unit ) )
      add( "{}policer {:#x} rate {} burst {}", path, policer.id, policer.config.ckbits_sec,
           policer.config.ckbits_burst );
    for ( const auto & presel : asic.preselectors( unit ) )
      add( "{}preselector {} of {} groups, ports {}", path, presel.id, presel.users,
           presel.sourceQualified );
    for ( const auto & data : asic.dataQualifiers( unit ) )
      add( "{}data qualifier {} at {} of {} groups, {} formats {} types", path, data.record.qual_id,
           data.record.offset, data.groups, data.formats.size(), data.etherTypes.size() );
  }

  template < class... Args >
  void add( fmt::format_string< Args... > format, Args &&... args ) {
    lines_.push_back( fmt::format( format, std::forward< Args >( args )... ) );
  }

  std::string take() {
    std::sort( lines_.begin(), lines_.end() );
    return fmt::format( "{}\n", fmt::join( lines_, "\n" ) );
  }

 private:
  // Marks of exhaustion, hints, and flags that a group's creation sets.
  inline static const std::set< std::string_view > passedOver = {
      "exhausted",    "sliceFreed", "rangeCheckersExhausted", "udfResourceError", "maxPrio",
      "stageIngress", "ovidWar" };
  // Absent, 0 and the negative counts of a group that does not exist mean the same.
  inline static const std::set< std::string_view > counts = { "unitRefCount", "unitAllocated",
                                                              "entryStats" };

  // The pending rules of the copies are no state, so their ports are none either; the auditor
  // compares them.
  static bool isOfCopy( const Kiv::AttributeBase & at, const Kiv::Any & key ) {
    return at.name() == "entryInPorts" && key.as< U32 >() != tcamNumberBits.get( key.as< U32 >() );
  }

  void value( const std::string & name, const Kiv::AttributeBase & at, const Kiv::Any & key ) {
    if ( isOfCopy( at, key ) )
      return;
    const Kiv::Any value = at.read( key );
    const bool own = at.kind() == Kiv::AttributeKind::members || at.name() == "ovidWarSm";
    if ( own && value.as< Kiv::Ptr< Kiv::Entity > >() )
      records( name, *value.as< Kiv::Ptr< Kiv::Entity > >() );
    else if ( const Kiv::String8 text = value.strep();
              !counts.contains( at.name() ) || ( text != "0" && text.charPtr()[ 0 ] != '-' ) )
      lines_.push_back( name + " " + text.charPtr() );
  }

  static std::string rule( const SoftAsic::RuleView & rule ) {
    std::string text;
    const auto out = std::back_inserter( text );
    for ( const auto & qualifier : rule.qualifiers )
      fmt::format_to( out, " {}={:x}/{:x}", qualifier.qualifier, fmt::join( qualifier.value, "." ),
                      fmt::join( qualifier.mask, "." ) );
    for ( const auto & data : rule.data )
      fmt::format_to( out, " data {}={:x}/{:x}", data.id, fmt::join( data.value, "" ),
                      fmt::join( data.mask, "" ) );
    for ( const auto & action : rule.actions )
      fmt::format_to( out, " do {} {} {} {:x}", static_cast< int >( action.action ), action.param0,
                      action.param1, fmt::join( action.ports.pbits, "." ) );
    return text;
  }

  std::vector< std::string > lines_;
};

}  // namespace

std::string difference( const std::string & before, const std::string & after ) {
  const auto linesOf = []( const std::string & text ) {
    std::istringstream in( text );
    std::vector< std::string > lines;
    for ( std::string line; std::getline( in, line ); )
      lines.push_back( line );
    return lines;
  };
  const std::vector< std::string > old = linesOf( before ), now = linesOf( after );
  std::string text;
  const auto addLines = [ & ]( const auto & from, const auto & in, const char * mark ) {
    std::vector< std::string > alone;
    std::set_difference( from.begin(), from.end(), in.begin(), in.end(),
                         std::back_inserter( alone ) );
    for ( const std::string & line : alone )
      text += fmt::format( "{} {}\n", mark, line );
  };
  addLines( old, now, "-" );
  addLines( now, old, "+" );
  return text;
}

std::vector< Kiv::Ptr< MorvaneTcamEntryManager > > TestSwitch::managers() const {
  std::vector< Kiv::Ptr< MorvaneTcamEntryManager > > all;
  for ( auto it = groups->entryManagerIterConst(); it; ++it )
    all.push_back( it.member() );
  for ( auto it = groups->unboundedEntryManagerIterConst(); it; ++it )
    all.push_back( it.member() );
  return all;
}

std::string TestSwitch::state() const {
  StateText text;
  text.records( "groups", *groups );
  for ( U32 unit = 0; unit < chip.units; ++unit ) {
    text.chip( asic, unit, *groups );
    text.add( "unit {} unfinished cleanup {}", unit, groups->unfinishedCleanup( unit ) );
  }
  return text.take();
}

void TestSwitch::releaseEverything( U32 unit ) {
  for ( const Kiv::Ptr< MorvaneTcamEntryManager > & user : managers() )
    for ( auto entry = records( *user, unit ).entryCreatedIterConst(); entry; ++entry )
      user->releaseEntry( unit, entry.key() );
  for ( auto it = groups->rangeCheckerIterConst(); it; ++it )
    for ( U32 left = it.member()->unitRefCount( unit ); left > 0; --left )
      groups->releaseRangeChecker( unit, it.key() );
  for ( const SoftAsic::PolicerView & policer : asic.policers( unit ) )
    if ( policer.id == tcamNumberBits.get( policer.id ) )
      groups->removePolicer( unit, policer.id );
}

// Ranges created at start-up, and references on unused groups.
void TestSwitch::leaveGroups( U32 unit ) {
  for ( const Kiv::Ptr< MorvaneTcamEntryManager > & user : managers() )
    if ( records( *user, unit ).rangeCreated() )
      user->deallocateAllEntries( unit );
  for ( const SoftAsic::GroupView & group : asic.groups( unit ) )
    for ( U32 users = 0; users < 16; ++users )
      if ( groups->groupExists( unit, tcamNumberBits.get( group.id ) ) )
        groups->uninitializeGroup( unit, tcamNumberBits.get( group.id ) );
}

std::string TestSwitch::emptied() {
  for ( U32 unit = 0; unit < chip.units; ++unit )
    releaseEverything( unit );
  std::string text;
  for ( U32 unit = 0; unit < chip.units; ++unit ) {
    leaveGroups( unit );
    const std::pair< const char *, size_t > counts[] = {
        { "groups", asic.groups( unit ).size() },
        { "statistics", asic.statistics( unit ).size() },
        { "policers", asic.policers( unit ).size() },
        { "range checkers", asic.ranges( unit ).size() },
        { "data qualifiers", asic.dataQualifiers( unit ).size() },
        { "preselectors", asic.preselectors( unit ).size() },
        { "owners", groups->tcamManagerForEntrySize() },
        { "steps of cleanup", groups->unfinishedCleanup( unit ) } };
    for ( const auto & [ what, count ] : counts )
      if ( count != 0 )
        text += fmt::format( "unit {} is left with {} {}\n", unit, count, what );
  }
  return text + audit();
}

}  // namespace Test
