// Replacement of a table's lists by others, entry by entry.
//
// Rules of both keep their entries. All rules, old and new, form one sequence of precedence. While
// new rules are added, the first ones first, all old rules are present; while old rules are
// removed, the last ones first, all new rules are. So the first match of a packet is always that of
// the old lists or that of the new ones, unless old rules must be removed first.
#include <algorithm>
#include <deque>
#include <map>
#include <utility>

#include "agent/feature/AclTable.h"
#include "agent/feature/RuleKey.h"
#include "kiv/Assert.h"

namespace Agent {

namespace {

constexpr size_t none = ~size_t{ 0 };

std::vector< ProgrammedRule > rulesOf( const std::vector< PolicyTable::List > & lists ) {
  std::vector< ProgrammedRule > rules;
  for ( const PolicyTable::List & list : lists )
    for ( U32 i = 0; i < list.acl->size(); ++i ) {
      rules.emplace_back().acl = list.acl;
      rules.back().index = { list.index, i };
    }
  return rules;
}

// For each new rule an equal old one that no other has, or none.
std::vector< size_t > equalRules( const std::vector< ProgrammedRule > & old,
                                  const std::vector< ProgrammedRule > & fresh ) {
  std::map< std::string, std::deque< size_t > > places;
  for ( size_t i = 0; i < old.size(); ++i )
    places[ ruleKey( *old[ i ].acl, old[ i ].rule() ) ].push_back( i );
  std::vector< size_t > equal;
  for ( const ProgrammedRule & rule : fresh ) {
    std::deque< size_t > & left = places[ ruleKey( *rule.acl, rule.rule() ) ];
    equal.push_back( left.empty() ? none : left.front() );
    if ( !left.empty() )
      left.pop_front();
  }
  return equal;
}

// Keeps a longest part whose values ascend; the others become `none`.
void keepAscending( std::vector< size_t > & values ) {
  std::vector< size_t > ends;  // of ascending parts, by length: places of their last values
  std::vector< size_t > before( values.size(), none );
  for ( size_t i = 0; i < values.size(); ++i ) {
    if ( values[ i ] == none )
      continue;
    const auto at =
        std::lower_bound( ends.begin(), ends.end(), values[ i ],
                          [ & ]( size_t end, size_t value ) { return values[ end ] < value; } );
    if ( at != ends.begin() )
      before[ i ] = *std::prev( at );
    if ( at == ends.end() )
      ends.push_back( i );
    else
      *at = i;
  }
  std::vector< size_t > kept( values.size(), none );
  for ( size_t i = ends.empty() ? none : ends.back(); i != none; i = before[ i ] )
    kept[ i ] = values[ i ];
  values = std::move( kept );
}

}  // namespace

class AclTable::Edit {
 public:
  Edit( AclTable & table, const std::vector< PolicyTable::List > & lists, Replacement by,
        EditCounts & counts );

  std::optional< AclShortage > run();

 private:
  // A rule of the table, one that is added to it, or one that is both.
  struct Place {
    ProgrammedRule rule;
    bool old = false;
    bool fresh = false;
    RuleIndex freshIndex;  // and list, of a rule that is both
    const Acl * freshAcl = nullptr;
    bool stays() const { return old && fresh; }
  };

  // Whether the place's entries are present while new ones are added.
  bool present( const Place & place ) const {
    return place.old && ( place.fresh || by_ != Replacement::breakBeforeMake );
  }

  bool idsSuffice( const std::vector< ProgrammedRule > & fresh,
                   const std::vector< size_t > & equal ) const;
  void addOld( size_t end );
  std::optional< AclShortage > acquireAll();
  bool addsBetween() const;
  void moveDown();
  std::optional< AclShortage > add();
  void removeIf( bool old );
  void keepStaying();
  void finish();

  AclTable & table_;
  const Replacement by_;
  EditCounts & counts_;
  size_t oldPlaced_ = 0;
  std::vector< Place > places_;  // in order of precedence
};

AclTable::Edit::Edit( AclTable & table, const std::vector< PolicyTable::List > & lists,
                      Replacement by, EditCounts & counts )
    : table_( table ), by_( by ), counts_( counts ) {
  std::vector< ProgrammedRule > fresh = rulesOf( lists );
  std::vector< size_t > equal( fresh.size(), none );
  if ( by_ != Replacement::makeBeforeBreak ) {
    equal = equalRules( table_.rules_, fresh );
    keepAscending( equal );
  }
  if ( by_ == Replacement::breakBeforeMake && !idsSuffice( fresh, equal ) )
    std::fill( equal.begin(), equal.end(), none );
  if ( by_ == Replacement::makeBeforeBreak )
    addOld( table_.rules_.size() );
  for ( size_t i = 0; i < fresh.size(); ++i ) {
    if ( equal[ i ] == none ) {
      places_.push_back( { std::move( fresh[ i ] ), false, true, {}, nullptr } );
      continue;
    }
    addOld( equal[ i ] );
    places_.push_back(
        { table_.rules_[ oldPlaced_++ ], true, true, fresh[ i ].index, fresh[ i ].acl } );
  }
  addOld( table_.rules_.size() );
}

// The ids of removed entries are not used again while later ones are.
bool AclTable::Edit::idsSuffice( const std::vector< ProgrammedRule > & fresh,
                                 const std::vector< size_t > & equal ) const {
  U64 ids = table_.owners_.size();
  for ( size_t i = 0; i < fresh.size(); ++i )
    if ( equal[ i ] == none )
      ids += EntryPlan( *fresh[ i ].acl, fresh[ i ].rule(), {}, table_.portKey_ ).size();
  return ids <= table_.manager_->endEntry() - table_.manager_->baseEntry();
}

void AclTable::Edit::addOld( size_t end ) {
  for ( ; oldPlaced_ < end; ++oldPlaced_ )
    places_.push_back( { table_.rules_[ oldPlaced_ ], true, false, {}, nullptr } );
}

std::optional< AclShortage > AclTable::Edit::acquireAll() {
  for ( Place & place : places_ )
    if ( !place.old )
      if ( const auto resource = table_.acquire( place.rule ) )
        return AclShortage{ place.rule.index.rule, *resource };
  return std::nullopt;
}

// New entries take ids after all others, and have their precedence by id unless others follow them.
bool AclTable::Edit::addsBetween() const {
  const auto added = std::find_if(
      places_.begin(), places_.end(), []( const Place & place ) { return !place.old; } );
  return std::any_of( added, places_.end(),
                      [ this ]( const Place & place ) { return present( place ); } );
}

// The entries take the lowest priorities that the share has, so that the others fit in between. The
// last ones move first, so that their order does not change.
void AclTable::Edit::moveDown() {
  U32 priority = table_.manager_->defaultPrio( table_.manager_->endEntry() - 1 );
  for ( auto place = places_.rbegin(); place != places_.rend(); ++place ) {
    ProgrammedRule & rule = place->rule;
    if ( place->old && !present( *place ) )
      continue;
    const U64 entries =
        place->old ? rule.entries
                   : EntryPlan( *rule.acl, rule.rule(), rule.checkers, table_.portKey_ ).size();
    for ( U32 i = rule.entries; i-- != 0; ++counts_.moved )
      table_.manager_->setPriorityForEntry( table_.unit_,
                                            table_.manager_->baseEntry() + rule.firstEntry + i,
                                            priority + ( rule.entries - 1 - i ) );
    priority += static_cast< U32 >( entries );
    rule.priority = priority - 1;
  }
}

std::optional< AclShortage > AclTable::Edit::add() {
  for ( Place & place : places_ ) {
    if ( place.old )
      continue;
    const auto resource = table_.addEntries( place.rule );
    counts_.added += place.rule.entries;
    if ( resource )
      return AclShortage{ place.rule.index.rule, *resource };
  }
  return std::nullopt;
}

// Old rules that do not stay, or those that were added.
void AclTable::Edit::removeIf( bool old ) {
  for ( auto place = places_.rbegin(); place != places_.rend(); ++place ) {
    if ( place->old != old || place->stays() )
      continue;
    ProgrammedRule & rule = place->rule;
    counts_.removed += old ? rule.entries : 0;
    for ( ; rule.entries != 0; --rule.entries )
      table_.vacate( rule.firstEntry + rule.entries - 1 );
    table_.releaseResources( rule );
  }
}

// The old rules that were removed have released their resources already.
void AclTable::Edit::keepStaying() {
  table_.rules_.clear();
  for ( Place & place : places_ )
    if ( place.stays() )
      table_.rules_.push_back( std::move( place.rule ) );
  table_.programmed_ = table_.rules_.size();
}

void AclTable::Edit::finish() {
  table_.rules_.clear();
  for ( Place & place : places_ ) {
    if ( !place.fresh )
      continue;
    if ( place.old ) {
      place.rule.acl = place.freshAcl;
      place.rule.index = place.freshIndex;
      counts_.kept += place.rule.entries;
      for ( U32 i = 0; i < place.rule.entries; ++i )
        table_.owners_[ place.rule.firstEntry + i ].rule = place.rule.index;
    }
    table_.rules_.push_back( std::move( place.rule ) );
  }
  table_.programmed_ = table_.rules_.size();
}

std::optional< AclShortage > AclTable::Edit::run() {
  if ( by_ == Replacement::breakBeforeMake )
    removeIf( true );
  auto shortage = acquireAll();
  if ( !shortage && addsBetween() )
    moveDown();
  if ( !shortage )
    shortage = add();
  if ( shortage ) {
    removeIf( false );
    if ( by_ == Replacement::breakBeforeMake )
      keepStaying();
    return shortage;
  }
  if ( by_ != Replacement::breakBeforeMake )
    removeIf( true );
  finish();
  return std::nullopt;
}

std::optional< AclShortage > AclTable::replace( const std::vector< PolicyTable::List > & lists,
                                                Replacement by, EditCounts & counts ) {
  KIV_ASSERT( !fields_.acquiredPerRule() && programmed_ == rules_.size() );
  counts = {};
  return Edit( *this, lists, by, counts ).run();
}

}  // namespace Agent
