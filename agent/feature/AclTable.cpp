#include "agent/feature/AclTable.h"

#include <fmt/core.h>

#include <algorithm>
#include <iterator>
#include <tuple>
#include <utility>

#include "agent/feature/EntryQualifiers.h"
#include "platform/InputError.h"

namespace Agent {

namespace {

bcm_pbmp_t allPorts() {
  bcm_pbmp_t ports;
  std::fill( std::begin( ports.pbits ), std::end( ports.pbits ), ~0U );
  return ports;
}

}  // namespace

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
    case AclResource::keyBits:
      return "key bits";
  }
  return "unknown";
}

AclTable::AclTable( Morvane::MorvaneTcamGroupManager & groupManager, U32 unit,
                    const Platform::PlatformData & platform, const ListClass & lists,
                    const RangeChoice & choice, U32 & policersLeft )
    : groupManager_( groupManager ),
      unit_( unit ),
      kind_( lists.kind ),
      use_( lists.use ),
      choice_( choice ),
      matchesRanges_( matchesRanges( platform, *shareOf( platform, lists ) ) ),
      portKey_( portKey( platform, *shareOf( platform, lists ), kind_ ) ),
      manager_( groupManager.entryManager( shareOf( platform, lists )->assignment ) ),
      fields_( groupManager, *manager_, unit, kind_, lists.use ),
      policersLeft_( policersLeft ) {}

// --- Lists -----------------------------------------------------------------------------------

std::optional< AclShortage > AclTable::addAcl( const Acl & acl, U32 index,
                                               const std::function< void() > & whenFull ) {
  groupRebuilt_ = false;
  try {
    auto shortage = programAcl( acl, index );
    if ( shortage ) {
      if ( whenFull )
        whenFull();
      if ( wantsFitting_ )
        shortage->fitting = fittingRules( acl, index );
      rollBack( index );
    }
    return shortage;
  } catch ( const Platform::InputError & ) {
    rollBack( index );
    throw;
  }
}

std::optional< AclShortage > AclTable::programAcl( const Acl & acl, U32 index ) {
  for ( U32 i = 0; i < acl.size(); ++i ) {
    ProgrammedRule & rule = rules_.emplace_back();
    rule.acl = &acl;
    rule.index = { index, i };
    if ( const auto resource = acquire( rule ) )
      return AclShortage{ i, *resource };
    // In a group rebuilt for this rule, an earlier one may no longer fit.
    if ( const auto shortage = programRest() )
      return AclShortage{ i, shortage->second.resource };
  }
  return std::nullopt;
}

std::vector< std::pair< U32, AclShortage > > AclTable::takeLost() {
  return std::exchange( lost_, {} );
}

bool AclTable::isDecided() const {
  return !rules_.empty() && rules_.back().isDefault();
}

std::optional< AclResource > AclTable::addDefault( Forwarding action ) {
  EntryMatch match;
  match.kind = kind_;
  const char * name = action == Forwarding::drop ? "implicit deny" : "implicit permit";
  return addEntry( name, {}, Morvane::defaultStatTypes(), [ & ]( U32 entryId ) {
    qualifyEntry( unit_, entryId, match );
    addActions( unit_, entryId, { action, false, {} } );
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

// Drops rules until those that are left fit. A group that was rebuilt for a rule that is dropped
// would be wider than the list needs.
U32 AclTable::fittingRules( const Acl & acl, U32 index ) {
  while ( !rules_.empty() && rules_.back().index.acl == index ) {
    const U32 left = rules_.back().index.rule;
    if ( groupRebuilt_ )
      unprogramAll();
    dropLastRule();
    if ( acl.size() == acl.rules.size() ? !programRest()
                                        : fitsAsLast( acl, { index, acl.size() - 1 } ) )
      return left;
  }
  return 0;
}

// Leaves the rule out again if it does not fit.
bool AclTable::fitsAsLast( const Acl & acl, const RuleIndex & index ) {
  ProgrammedRule & rule = rules_.emplace_back();
  rule.acl = &acl;
  rule.index = index;
  if ( !acquire( rule ) && !programRest() )
    return true;
  if ( groupRebuilt_ )
    unprogramAll();
  dropLastRule();
  return false;
}

// The list that does not fit is the last one. A group that was rebuilt for it is created again
// without it, with the previous key width.
void AclTable::rollBack( U32 index ) {
  if ( !groupRebuilt_ ) {
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
  // A list that is not the last one is dropped only while nothing is programmed.
  for ( ProgrammedRule & rule : rules_ )
    if ( ofList( rule ) )
      releaseResources( rule );
  std::erase_if( rules_, ofList );
  releaseIdleGroup();
}

void AclTable::dropLastRule() {
  unprogramLastRule();
  releaseResources( rules_.back() );
  rules_.pop_back();
  programmed_ = std::min( programmed_, rules_.size() );
}

AclRoom AclTable::room( const Acl & acl ) {
  if ( !groupIsLive() )
    fields_.prepareGroup( acl );
  return { manager_->endEntry() - manager_->baseEntry() - static_cast< U32 >( owners_.size() ),
           groupManager_.entriesAvailable( unit_, group() ) };
}

// --- Rules -----------------------------------------------------------------------------------

std::optional< AclResource > AclTable::acquire( ProgrammedRule & rule ) {
  const auto checkers = getCheckers( *manager_, unit_, rule.rule(), choice_, matchesRanges_ );
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

// Its entries must have been released.
void AclTable::releaseResources( ProgrammedRule & rule ) {
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
    if ( onRule_ )
      onRule_();
  }
  return std::nullopt;
}

AclTable::Outcome AclTable::programRule( ProgrammedRule & rule ) {
  if ( !groupIsLive() )
    fields_.prepareGroup( *rule.acl );
  if ( fields_.acquiredPerRule() && !rule.rule().udf.empty() ) {
    // The group must exist before its qualifier set can be extended.
    if ( !groupIsLive() && !manager_->initializeGroup( unit_ ) )
      return { false, AclResource::slices };
    if ( const Outcome outcome = acquireFields( rule ); !outcome.done() )
      return outcome;
  }
  return { false, addEntries( rule ) };
}

AclTable::Outcome AclTable::acquireFields( ProgrammedRule & rule ) {
  const std::vector< UdfMatch > & udf = rule.rule().udf;
  while ( rule.fields < udf.size() ) {
    if ( onField_ && !fields_.has( rule.rule(), udf[ rule.fields ] ) )
      onField_();
    switch ( fields_.acquire( rule.rule(), udf[ rule.fields ] ) ) {
      case Morvane::udfCreateSuccessNoGroupRecreate:
        ++rule.fields;
        break;
      case Morvane::udfCreateSuccessWithGroupRecreate:
        return { true, {} };
      case Morvane::udfCreateFailureWithGroupRecreateFailure:
        forgetEntries();
        return { false, AclResource::keyBits };
      default:
        return { false, AclResource::udfQualifiers };
    }
  }
  return {};
}

std::optional< AclResource > AclTable::addEntries( ProgrammedRule & rule ) {
  const Acl & acl = *rule.acl;
  const std::string text =
      rule.isDefault() ? fmt::format( "{} default", acl.name )
      : rule.rule().line == 0
          ? fmt::format( "{} rule {}", acl.name, rule.index.rule + 1 )
          : fmt::format( "{} rule {} line {}", acl.name, rule.index.rule + 1, rule.rule().line );
  const Kiv::String8 desc( text.c_str() );
  const Kiv::Ptr< Morvane::StatTypes > statTypes = statTypesOf( rule.rule() );
  const EntryActions actions = { rule.rule().forwarding, rule.rule().copyToCpu,
                                 rule.rule().mirror ? acl.mirrorPort : std::nullopt };
  rule.entries.clear();
  const EntryPlan plan( acl, rule.rule(), rule.checkers, portKey_ );
  for ( U64 i = 0; i < plan.size(); ++i ) {
    EntryMatch match = plan.entry( i );
    const auto program = [ & ]( U32 entryId ) {
      match.data = fields_.matches( acl, rule.rule() );
      qualifyEntry( unit_, entryId, match );
      addActions( unit_, entryId, actions );
      if ( match.ports )
        manager_->inPortsForEntryIs( unit_, entryId, *match.ports, allPorts(), true );
      if ( rule.policer )
        manager_->attachPolicer( unit_, entryId, *rule.policer, true );
      const auto before = static_cast< U32 >( rule.entries.size() );
      if ( rule.priority && *rule.priority - before != manager_->defaultPrio( entryId ) )
        manager_->setPriorityForEntry( unit_, entryId, *rule.priority - before );
      manager_->installEntry( unit_, entryId );
      rule.entries.push_back( entryId - manager_->baseEntry() );
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
  const U32 offset = freeOffset();
  const U32 wanted = manager_->baseEntry() + offset;
  if ( wanted == manager_->endEntry() )
    return AclResource::entries;
  const U32 entryId = manager_->getEntryWithStats( unit_, wanted, desc, statTypes );
  if ( entryId == 0 )
    return shortage();
  if ( offset == owners_.size() ) {
    owners_.push_back( owner );
  } else {
    owners_[ offset ] = owner;
    --vacant_;
  }
  program( entryId );
  return std::nullopt;
}

// The first one that a removed entry has left, or the next after all others.
U32 AclTable::freeOffset() const {
  const auto first = vacant_ == 0
                         ? owners_.end()
                         : std::find_if( owners_.begin(), owners_.end(),
                                         []( const EntryOwner & owner ) { return owner.vacant; } );
  return static_cast< U32 >( first - owners_.begin() );
}

// If the group has room for an entry, only its counters can be missing.
AclResource AclTable::shortage() {
  // Not out of resources: the id is taken.
  if ( !manager_->exhausted( unit_ ) )
    return AclResource::entries;
  return groupManager_.entriesAvailable( unit_, group() ) == 0 ? AclResource::slices
                                                               : AclResource::statistics;
}

// --- Release ---------------------------------------------------------------------------------

// After a group rebuild, in which the library released entries and fields.
void AclTable::forgetEntries() {
  groupRebuilt_ = true;
  owners_.clear();
  vacant_ = 0;
  programmed_ = 0;
  for ( ProgrammedRule & rule : rules_ )
    rule.fields = 0;
}

void AclTable::unprogramLastRule() {
  ProgrammedRule & rule = rules_.back();
  while ( !owners_.empty() && owners_.back().rule == rule.index )
    releaseLastEntry();
  // Releasing the last entry of a group has released its fields.
  for ( ; rule.fields != 0 && groupIsLive(); --rule.fields )
    fields_.release( rule.rule(), rule.rule().udf[ rule.fields - 1 ] );
  rule.fields = 0;
}

void AclTable::releaseLastEntry() {
  const bool vacant = owners_.back().vacant;
  owners_.pop_back();
  if ( vacant )
    --vacant_;
  else
    manager_->releaseEntry( unit_, manager_->baseEntry() + static_cast< U32 >( owners_.size() ) );
}

void AclTable::vacate( U32 offset ) {
  manager_->releaseEntry( unit_, manager_->baseEntry() + offset );
  owners_[ offset ] = { {}, true };
  ++vacant_;
  while ( !owners_.empty() && owners_.back().vacant ) {
    owners_.pop_back();
    --vacant_;
  }
}

void AclTable::unprogramAll() {
  while ( !owners_.empty() )
    releaseLastEntry();
  releaseIdleGroup();
  for ( ProgrammedRule & rule : rules_ )
    rule.fields = 0;
  programmed_ = 0;
}

// The library destroys a mirroring group with its last entry. For one that was created for a field
// and never got an entry, allocate and release an entry; a failed allocation destroys it too.
void AclTable::releaseIdleGroup() {
  if ( !fields_.acquiredPerRule() || !owners_.empty() || !groupIsLive() )
    return;
  const U32 entryId = manager_->getEntry( unit_, manager_->baseEntry(), "idle group" );
  if ( entryId != 0 )
    manager_->releaseEntry( unit_, entryId );
}

bool AclTable::groupIsLive() const {
  return groupManager_.groupExists( unit_, group() );
}

// --- Queries ---------------------------------------------------------------------------------

std::optional< EntryOwner > AclTable::ownerOf( U32 entryId ) const {
  const U32 entry = Morvane::tcamNumberBits.get( entryId );
  const U32 offset = entry - manager_->baseEntry();
  if ( entry < manager_->baseEntry() || offset >= owners_.size() || owners_[ offset ].vacant )
    return std::nullopt;
  return owners_[ offset ];
}

const ProgrammedRule * AclTable::find( const RuleIndex & index ) const {
  // Rules are sorted by list, then by rule.
  const auto found = std::lower_bound( rules_.begin(), rules_.end(), index,
                                       []( const ProgrammedRule & rule, const RuleIndex & other ) {
                                         return std::tie( rule.index.acl, rule.index.rule ) <
                                                std::tie( other.acl, other.rule );
                                       } );
  return found != rules_.end() && found->index == index ? &*found : nullptr;
}

// The library sums packets over all copies, but returns the other counters per hardware entry.
RuleCounters AclTable::counters( const ProgrammedRule & rule ) {
  RuleCounters sum;
  if ( !manager_->allocateStatsPerEntry() )
    return sum;
  const WantedCounters & wanted = rule.rule().counters;
  for ( const U32 offset : rule.entries ) {
    const U32 entry = manager_->baseEntry() + offset;
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
