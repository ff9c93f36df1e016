#include "agent/feature/AclFeature.h"

#include <algorithm>

#include "kiv/Assert.h"

namespace Agent {

AclFeature::AclFeature( Morvane::MorvaneTcamGroupManager & groupManager, U32 unit,
                        const Platform::PlatformData & platform, RangeChoice choice )
    : groupManager_( groupManager ),
      unit_( unit ),
      platform_( platform ),
      choice_( std::move( choice ) ),
      policersLeft_( platform.chip.policers ) {}

AclFeature::Table & AclFeature::tableOf( const ListClass & lists ) {
  const auto found = std::find_if( tables_.begin(), tables_.end(),
                                   [ & ]( const Table & table ) { return table.lists == lists; } );
  if ( found != tables_.end() )
    return *found;
  tables_.push_back( { lists, std::make_unique< AclTable >( groupManager_, unit_, platform_, lists,
                                                            choice_, policersLeft_ ) } );
  tables_.back().table->onRuleIs( [ this ] {
    if ( onRule_ )
      onRule_();
  } );
  tables_.back().table->onFieldIs( [ this ] {
    if ( onField_ )
      onField_();
  } );
  if ( wantsFitting_ )
    tables_.back().table->wantFitting();
  // Higher groups of a stage take precedence.
  std::sort( tables_.begin(), tables_.end(), []( const Table & a, const Table & b ) {
    return a.lists.direction != b.lists.direction ? a.lists.direction == Direction::in
                                                  : a.table->group() > b.table->group();
  } );
  return tableOf( lists );
}

std::optional< AclShortage > AclFeature::addAcl( const Acl & acl,
                                                 const std::function< void() > & whenFull ) {
  const auto index = static_cast< U32 >( acls_.size() );
  KIV_ASSERT( acl.namedPorts.empty() );
  AclTable & table = *tableOf( classOf( acl ) ).table;
  const auto shortage = table.addAcl( acl, index, whenFull );
  acls_.push_back( &acl );
  shortages_.push_back( shortage );
  for ( const auto & [ lost, reason ] : table.takeLost() )
    shortages_[ lost ] = reason;
  rebuildPolicy();
  return shortages_[ index ];
}

std::optional< AclResource > AclFeature::addDefault( Forwarding action ) {
  const bool filters = std::any_of( tables_.begin(), tables_.end(), []( const Table & table ) {
    return table.lists.use == AclUse::filter;
  } );
  if ( !filters )
    tableOf( {} );
  std::optional< AclResource > shortage;
  for ( Table & table : tables_ ) {
    if ( table.lists.use != AclUse::filter || shortage || table.table->isDecided() )
      continue;
    shortage = table.table->addDefault( action );
    table.rest = shortage ? Forwarding::none : action;
  }
  rebuildPolicy();
  return shortage;
}

U32 AclFeature::defaultEntries() const {
  return static_cast< U32 >( std::count_if(
      tables_.begin(), tables_.end(),
      []( const Table & table ) { return table.rest != Forwarding::none; } ) );
}

// Tables of lists that are programmed again as a whole come first: if others do not fit, they find
// what they had.
std::vector< AclFeature::Share > AclFeature::sharesOf( const std::vector< Acl > & acls,
                                                       Forwarding rest ) {
  for ( const Acl & acl : acls )
    tableOf( classOf( acl ) );
  if ( rest != Forwarding::none && std::none_of( acls.begin(), acls.end(), []( const Acl & acl ) {
         return acl.use == AclUse::filter;
       } ) )
    tableOf( {} );
  std::vector< Share > shares;
  for ( Table & table : tables_ ) {
    Share & share = shares.emplace_back( Share{ &table, {}, nullptr } );
    for ( U32 i = 0; i < acls.size(); ++i )
      if ( classOf( acls[ i ] ) == table.lists )
        share.lists.push_back( { i, &acls[ i ] } );
    const bool decided =
        !share.lists.empty() && share.lists.back().acl->defaultAction != Forwarding::none;
    const bool wanted = !share.lists.empty() || table.lists == ListClass();
    if ( rest == Forwarding::none || table.lists.use != AclUse::filter || decided || !wanted )
      continue;
    share.restList = std::make_unique< Acl >();
    share.restList->name = "implicit";
    share.restList->kind = table.lists.kind;
    share.restList->direction = table.lists.direction;
    share.restList->defaultAction = rest;
    share.lists.push_back( { static_cast< U32 >( acls.size() ), share.restList.get() } );
  }
  std::stable_partition( shares.begin(), shares.end(), []( const Share & share ) {
    return share.table->lists.use != AclUse::filter;
  } );
  return shares;
}

// Old rules are removed only when all new ones are there.
bool AclFeature::replaceFrom( std::vector< Share > & shares, size_t at, AclChange & change ) {
  if ( at == shares.size() )
    return true;
  Share & share = shares[ at ];
  bool done = true;
  EditCounts counts;
  const auto shortage =
      share.table->table->replace( share.lists, Replacement::inPlace, counts,
                                   [ & ] { return done = replaceFrom( shares, at + 1, change ); } );
  change.counts.add( counts );
  if ( shortage )
    change.shortage = shortage;
  return done && !shortage;
}

AclChange AclFeature::replaceAcls( const std::vector< Acl > & acls, Forwarding rest ) {
  AclChange change;
  std::vector< Share > shares = sharesOf( acls, rest );
  if ( replaceFrom( shares, 0, change ) ) {
    acls_.clear();
    for ( const Acl & acl : acls )
      acls_.push_back( &acl );
    shortages_.assign( acls.size(), std::nullopt );
    for ( Share & share : shares ) {
      share.table->rest = share.restList ? rest : Forwarding::none;
      share.table->restList = std::move( share.restList );
    }
    rebuildPolicy();
  }
  return change;
}

void AclFeature::refillPolicers() {
  for ( Table & table : tables_ )
    table.table->refillPolicers();
}

void AclFeature::clear() {
  for ( Table & table : tables_ )
    table.table->clear();
  tables_.clear();
  acls_.clear();
  shortages_.clear();
  policy_ = {};
}

void AclFeature::rebuildPolicy() {
  policy_ = {};
  for ( const Table & table : tables_ ) {
    PolicyTable & lists = policy_.tables.emplace_back();
    lists.kind = table.lists.kind;
    lists.direction = table.lists.direction;
    lists.rest = table.rest;
    for ( U32 i = 0; i < acls_.size(); ++i )
      if ( !shortages_[ i ] && classOf( *acls_[ i ] ) == table.lists )
        lists.lists.push_back( { i, acls_[ i ] } );
  }
}

std::optional< RuleIndex > AclFeature::ruleOf( U32 entryId ) const {
  for ( const Table & table : tables_ )
    if ( const auto owner = table.table->ownerOf( entryId ) ) {
      const auto & rule = owner->rule;
      return rule && rule->acl < acls_.size() && rule->rule < acls_[ rule->acl ]->rules.size()
                 ? rule
                 : std::nullopt;
    }
  return std::nullopt;
}

const ProgrammedRule * AclFeature::find( const RuleIndex & index ) const {
  for ( const Table & table : tables_ )
    if ( const ProgrammedRule * rule = table.table->find( index ) )
      return rule;
  return nullptr;
}

RuleCounters AclFeature::counters( const RuleIndex & index ) {
  for ( const Table & table : tables_ )
    if ( const ProgrammedRule * rule = table.table->find( index ) )
      return table.table->counters( *rule );
  return {};
}

}  // namespace Agent
