#include "agent/AclTable.h"

#include <fmt/core.h>

#include <algorithm>
#include <tuple>
#include <utility>

#include "agent/AclShares.h"
#include "agent/EntryQualifiers.h"
#include "platform/InputError.h"

namespace Agent {

const char * resourceName( AclResource resource ) {
  switch ( resource ) {
    case AclResource::entries:
      return "entries";
    case AclResource::slices:
      return "slices";
    case AclResource::statistics:
      return "statistics";
    case AclResource::rangeCheckers:
      return "range checkers";
    case AclResource::policers:
      return "policers";
    case AclResource::udfQualifiers:
      return "UDF qualifiers";
  }
  return "unknown";
}

AclTable::AclTable( Morvane::MorvaneTcamGroupManager & groupManager, U32 unit,
                    const Platform::PlatformData & platform, AclKind kind, AclUse use,
                    PortMethod method, U32 & policersLeft )
    : groupManager_( groupManager ),
      unit_( unit ),
      kind_( kind ),
      method_( method ),
      matchesRanges_( matchesRanges( platform, *shareOf( platform, kind, use ) ) ),
      manager_( groupManager.entryManager( shareOf( platform, kind, use )->assignment ) ),
      fields_( groupManager, *manager_, unit, kind, use ),
      policersLeft_( policersLeft ) {}

// --- Lists -----------------------------------------------------------------------------------

std::optional< AclShortage > AclTable::addAcl( const Acl & acl, U32 index,
                                               const std::function< void() > & whenFull ) {
  disturbed_ = false;
  try {
    const auto shortage = programAcl( acl, index );
    if ( shortage ) {
      if ( whenFull )
        whenFull();
      rollBack( index );
    }
    return shortage;
  } catch ( const Platform::InputError & ) {
    rollBack( index );
    throw;
  }
}

std::optional< AclShortage > AclTable::programAcl( const Acl & acl, U32 index ) {
  for ( U32 i = 0; i < acl.rules.size(); ++i ) {
    ProgrammedRule & rule = rules_.emplace_back();
    rule.acl = &acl;
    rule.index = { index, i };
    if ( const auto resource = acquire( rule ) )
      return AclShortage{ i, *resource };
    // It may be an earlier rule that finds no room in a group that was rebuilt for this one.
    if ( const auto shortage = programRest() )
      return AclShortage{ i, shortage->second.resource };
  }
  return std::nullopt;
}

std::vector< std::pair< U32, AclShortage > > AclTable::takeLost() {
  return std::exchange( lost_, {} );
}

std::optional< AclResource > AclTable::addDenyRest() {
  EntryMatch match;
  match.kind = kind_;
  return addEntry( "implicit deny", {}, Morvane::defaultStatTypes(), [ & ]( U32 entryId ) {
    qualifyEntry( unit_, entryId, match );
    addActions( unit_, entryId, { Forwarding::drop, false, {} } );
    manager_->installEntry( unit_, entryId );
  } );
}

void AclTable::refillPolicers() {
  for ( const ProgrammedRule & rule : rules_ )
    if ( rule.policer )
      refillPolicer( groupManager_, unit_, *rule.policer, *rule.rule().police );
}

void AclTable::clear() {
  unprogramAll();
  while ( !rules_.empty() )
    dropLastRule();
}

// The list that does not fit is the last one. A group that was rebuilt for it is made anew without
// it, as narrow as it was.
void AclTable::rollBack( U32 index ) {
  if ( !disturbed_ ) {
    dropList( index );
    return;
  }
  unprogramAll();
  dropList( index );
  while ( const auto lost = programRest() ) {
    lost_.push_back( *lost );
    unprogramAll();
    dropList( lost->first );
  }
}

void AclTable::dropList( U32 index ) {
  const auto ofList = [ index ]( const ProgrammedRule & rule ) { return rule.index.acl == index; };
  while ( !rules_.empty() && ofList( rules_.back() ) )
    dropLastRule();
  // A list in the middle goes only while nothing is programmed.
  for ( ProgrammedRule & rule : rules_ )
    if ( ofList( rule ) )
      giveBack( rule );
  std::erase_if( rules_, ofList );
  giveBackIdleGroup();
}

void AclTable::dropLastRule() {
  unprogramLastRule();
  giveBack( rules_.back() );
  rules_.pop_back();
  programmed_ = std::min( programmed_, rules_.size() );
}

// --- Rules -----------------------------------------------------------------------------------

std::optional< AclResource > AclTable::acquire( ProgrammedRule & rule ) {
  const auto checkers = getCheckers( *manager_, unit_, rule.rule(), method_, matchesRanges_ );
  if ( !checkers )
    return AclResource::rangeCheckers;
  rule.checkers = *checkers;
  if ( !rule.rule().police )
    return std::nullopt;
  if ( policersLeft_ == 0 )
    return AclResource::policers;
  rule.policer = createPolicer( groupManager_, unit_, *rule.rule().police );
  --policersLeft_;
  return std::nullopt;
}

// Its entries are gone.
void AclTable::giveBack( ProgrammedRule & rule ) {
  if ( rule.policer ) {
    groupManager_.removePolicer( unit_, *rule.policer );
    rule.policer.reset();
    ++policersLeft_;
  }
  releaseCheckers( *manager_, unit_, rule.rule(), rule.checkers );
  rule.checkers = {};
}

std::optional< std::pair< U32, AclShortage > > AclTable::programRest() {
  while ( programmed_ < rules_.size() ) {
    ProgrammedRule & rule = rules_[ programmed_ ];
    const Outcome outcome = programRule( rule );
    if ( outcome.shortage )
      return std::pair( rule.index.acl, AclShortage{ rule.index.rule, *outcome.shortage } );
    if ( outcome.rebuilt )
      forgetEntries();
    else
      ++programmed_;
  }
  return std::nullopt;
}

AclTable::Outcome AclTable::programRule( ProgrammedRule & rule ) {
  if ( !groupIsLive() )
    fields_.announce( *rule.acl );
  if ( fields_.takenPerRule() && !rule.rule().udf.empty() ) {
    // The group must be there for its set of qualifiers to be widened.
    if ( !groupIsLive() && !manager_->initializeGroup( unit_ ) )
      return { false, AclResource::slices };
    if ( const Outcome outcome = takeFields( rule ); !outcome.done() )
      return outcome;
  }
  return { false, addEntries( rule ) };
}

AclTable::Outcome AclTable::takeFields( ProgrammedRule & rule ) {
  const std::vector< UdfMatch > & udf = rule.rule().udf;
  while ( rule.fields < udf.size() ) {
    switch ( fields_.take( rule.rule(), udf[ rule.fields ] ) ) {
      case Morvane::udfCreateSuccessNoGroupRecreate:
        ++rule.fields;
        break;
      case Morvane::udfCreateSuccessWithGroupRecreate:
        return { true, {} };
      case Morvane::udfCreateFailureWithGroupRecreateFailure:
        forgetEntries();
        return { false, AclResource::udfQualifiers };
      default:
        return { false, AclResource::udfQualifiers };
    }
  }
  return {};
}

std::optional< AclResource > AclTable::addEntries( ProgrammedRule & rule ) {
  const Acl & acl = *rule.acl;
  const std::string text =
      fmt::format( "{} rule {} line {}", acl.name, rule.index.rule, rule.rule().line );
  const Kiv::String8 desc( text.c_str() );
  const Kiv::Ptr< Morvane::StatTypes > statTypes = statTypesOf( rule.rule() );
  const EntryActions actions = { rule.rule().forwarding, rule.rule().copyToCpu,
                                 rule.rule().mirror ? acl.mirrorPort : std::nullopt };
  rule.firstEntry = static_cast< U32 >( owners_.size() );
  for ( EntryMatch & match : compileRule( kind_, rule.rule(), rule.checkers ) ) {
    const auto program = [ & ]( U32 entryId ) {
      match.data = fields_.matches( acl, rule.rule() );
      qualifyEntry( unit_, entryId, match );
      addActions( unit_, entryId, actions );
      if ( rule.policer )
        manager_->attachPolicer( unit_, entryId, *rule.policer, true );
      manager_->installEntry( unit_, entryId );
    };
    if ( const auto resource = addEntry( desc, { rule.index }, statTypes, program ) )
      return resource;
  }
  return std::nullopt;
}

std::optional< AclResource > AclTable::addEntry( const Kiv::String8 & desc,
                                                 const EntryOwner & owner,
                                                 const Kiv::Ptr< Morvane::StatTypes > & statTypes,
                                                 const std::function< void( U32 ) > & program ) {
  const U32 wanted = manager_->baseEntry() + static_cast< U32 >( owners_.size() );
  if ( wanted == manager_->endEntry() )
    return AclResource::entries;
  const U32 entryId = manager_->getEntryWithStats( unit_, wanted, desc, statTypes );
  if ( entryId == 0 )
    return shortage();
  owners_.push_back( owner );
  program( entryId );
  return std::nullopt;
}

// A group that still has room for an entry had none for its counters.
AclResource AclTable::shortage() {
  // Refused, but not for lack of room: the id is taken.
  if ( !manager_->exhausted( unit_ ) )
    return AclResource::entries;
  return groupManager_.entriesAvailable( unit_, group() ) == 0 ? AclResource::slices
                                                               : AclResource::statistics;
}

// --- Taking back -----------------------------------------------------------------------------

// The library has taken the entries and the users of fields back itself.
void AclTable::forgetEntries() {
  disturbed_ = true;
  owners_.clear();
  programmed_ = 0;
  for ( ProgrammedRule & rule : rules_ )
    rule.fields = 0;
}

void AclTable::unprogramLastRule() {
  ProgrammedRule & rule = rules_.back();
  while ( !owners_.empty() && owners_.back().rule == rule.index )
    releaseLastEntry();
  // The last entry of a group takes its fields along.
  for ( ; rule.fields != 0 && groupIsLive(); --rule.fields )
    fields_.giveBack( rule.rule(), rule.rule().udf[ rule.fields - 1 ] );
  rule.fields = 0;
}

void AclTable::releaseLastEntry() {
  owners_.pop_back();
  manager_->releaseEntry( unit_, manager_->baseEntry() + static_cast< U32 >( owners_.size() ) );
}

void AclTable::unprogramAll() {
  while ( !owners_.empty() )
    releaseLastEntry();
  giveBackIdleGroup();
  for ( ProgrammedRule & rule : rules_ )
    rule.fields = 0;
  programmed_ = 0;
}

// A mirroring group that was made for a field goes with the manager's last entry; where none
// followed, one that comes and goes takes the group along. So does one that is refused.
void AclTable::giveBackIdleGroup() {
  if ( !fields_.takenPerRule() || !owners_.empty() || !groupIsLive() )
    return;
  const U32 entryId = manager_->getEntry( unit_, manager_->baseEntry(), "idle group" );
  if ( entryId != 0 )
    manager_->releaseEntry( unit_, entryId );
}

bool AclTable::groupIsLive() const {
  return groupManager_.groupExists( unit_, group() );
}

// --- Reading ---------------------------------------------------------------------------------

std::optional< EntryOwner > AclTable::ownerOf( U32 entryId ) const {
  const U32 entry = Morvane::tcamNumberBits.get( entryId );
  const U32 offset = entry - manager_->baseEntry();
  if ( entry < manager_->baseEntry() || offset >= owners_.size() )
    return std::nullopt;
  return owners_[ offset ];
}

const ProgrammedRule * AclTable::find( const RuleIndex & index ) const {
  // Rules stand by list and then by rule.
  const auto found = std::lower_bound( rules_.begin(), rules_.end(), index,
                                       []( const ProgrammedRule & rule, const RuleIndex & other ) {
                                         return std::tie( rule.index.acl, rule.index.rule ) <
                                                std::tie( other.acl, other.rule );
                                       } );
  return found != rules_.end() && found->index == index ? &*found : nullptr;
}

// Bytes and colours are read copy by copy: the library sums packets, but reads the other counters
// of one hardware entry.
RuleCounters AclTable::counters( const ProgrammedRule & rule ) {
  RuleCounters sum;
  if ( !manager_->allocateStatsPerEntry() )
    return sum;
  const WantedCounters & wanted = rule.rule().counters;
  for ( U32 i = 0; i < rule.entries(); ++i ) {
    const U32 entry = manager_->baseEntry() + rule.firstEntry + i;
    if ( wanted.packets )
      sum.packets += manager_->hitsForEntry( unit_, entry );
    for ( const Morvane::PipeCopy at : groupManager_.pipeCopies( unit_, group() ) ) {
      const U32 copy = at.entryId( entry );
      if ( wanted.bytes )
        sum.bytes += manager_->byteHitsForEntry( unit_, copy );
      if ( rule.policer )
        addColours( copy, sum );
    }
  }
  return sum;
}

void AclTable::addColours( U32 entryId, RuleCounters & sum ) {
  sum.conformedPackets += manager_->greenPktHitsForEntry( unit_, entryId ) +
                          manager_->yellowPktHitsForEntry( unit_, entryId );
  sum.conformedBytes += manager_->greenByteHitsForEntry( unit_, entryId ) +
                        manager_->yellowByteHitsForEntry( unit_, entryId );
  sum.droppedPackets += manager_->pktDropsForEntry( unit_, entryId );
  sum.droppedBytes += manager_->byteDropsForEntry( unit_, entryId );
}

}  // namespace Agent
