// Replacement of a table's lists by others, entry by entry.
//
// Rules of both keep their entries. All rules, old and new, form one sequence of precedence. While
// new rules are added, the first ones first, all old rules are present; while old rules are
// removed, the last ones first, all new rules are. So the first match of a packet is always that of
// the old lists or that of the new ones, unless old rules must be removed first. Entries that move
// to make room for others do so in an order that keeps their precedence.
#include <algorithm>
#include <deque>
#include <map>
#include <utility>

#include "agent/feature/AclTable.h"
#include "agent/feature/PriorityPlan.h"
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

std::vector< std::string > keysOf( const std::vector< ProgrammedRule > & rules ) {
  std::vector< std::string > keys;
  for ( const ProgrammedRule & rule : rules )
    keys.push_back( ruleKey( *rule.acl, rule.rule() ) );
  return keys;
}

// For each new rule an equal old one that no other has, or none. Rules before and after all changes
// have the one in their place, though others are equal as well.
std::vector< size_t > equalRules( const std::vector< std::string > & old,
                                  const std::vector< std::string > & fresh ) {
  const auto first = std::mismatch( old.begin(), old.end(), fresh.begin(), fresh.end() );
  const auto head = static_cast< size_t >( first.first - old.begin() );
  const size_t tailMax = std::min( old.size(), fresh.size() ) - head;
  size_t tail = 0;
  while ( tail < tailMax && old[ old.size() - 1 - tail ] == fresh[ fresh.size() - 1 - tail ] )
    ++tail;
  std::map< std::string_view, std::deque< size_t > > places;
  for ( size_t i = head; i < old.size() - tail; ++i )
    places[ old[ i ] ].push_back( i );
  std::vector< size_t > equal( fresh.size(), none );
  for ( size_t i = 0; i < fresh.size(); ++i ) {
    std::deque< size_t > & left = places[ fresh[ i ] ];
    if ( i < head ) {
      equal[ i ] = i;
    } else if ( i >= fresh.size() - tail ) {
      equal[ i ] = i + old.size() - fresh.size();
    } else if ( !left.empty() ) {
      equal[ i ] = left.front();
      left.pop_front();
    }
  }
  return equal;
}

// Whether the lists that they are of can stay as they are programmed.
bool sameRules( const std::vector< ProgrammedRule > & old,
                const std::vector< ProgrammedRule > & fresh ) {
  return keysOf( old ) == keysOf( fresh ) &&
         std::equal(
             old.begin(), old.end(), fresh.begin(),
             []( const ProgrammedRule & a, const ProgrammedRule & b ) {
               return a.acl->flowProtocol == b.acl->flowProtocol;
             } );
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

  std::optional< AclShortage > run( const std::function< bool() > & others );

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

  static AclShortage shortageAt( const Place & place, AclResource resource ) {
    return { place.rule.index.rule, resource, 0, place.rule.index.acl };
  }

  void addOld( size_t end );
  std::optional< AclShortage > addAll();
  std::optional< AclShortage > acquireAll();
  std::optional< AclShortage > makeRoom();
  std::vector< PrioritySlot > slots() const;
  void moveTo( const std::vector< PrioritySlot > & slots );
  void move( ProgrammedRule & rule, U32 priority );
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
  if ( by_ == Replacement::makeBeforeBreak ) {
    addOld( table_.rules_.size() );
  } else {
    equal = equalRules( keysOf( table_.rules_ ), keysOf( fresh ) );
    keepAscending( equal );
  }
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

void AclTable::Edit::addOld( size_t end ) {
  for ( ; oldPlaced_ < end; ++oldPlaced_ )
    places_.push_back( { table_.rules_[ oldPlaced_ ], true, false, {}, nullptr } );
}

std::optional< AclShortage > AclTable::Edit::acquireAll() {
  for ( Place & place : places_ )
    if ( !place.old )
      if ( const auto resource = table_.acquire( place.rule ) )
        return shortageAt( place, *resource );
  return std::nullopt;
}

// Of the places whose entries are present, and of those that are to be added.
std::vector< PrioritySlot > AclTable::Edit::slots() const {
  std::vector< PrioritySlot > slots;
  for ( const Place & place : places_ )
    if ( present( place ) )
      slots.push_back(
          { static_cast< U32 >( place.rule.entries.size() ), table_.priorityOf( place.rule ) } );
    else if ( !place.old )
      slots.push_back( { table_.plannedEntries( place.rule ), {} } );
  return slots;
}

std::optional< AclShortage > AclTable::Edit::makeRoom() {
  std::vector< PrioritySlot > planned = slots();
  U64 entries = 0;
  for ( const PrioritySlot & slot : planned )
    entries += slot.top ? slot.entries : 0;
  const U32 first = table_.manager_->baseEntry();
  const U32 end = table_.manager_->endEntry();
  for ( const Place & place : places_ )
    if ( !place.old && ( entries += table_.plannedEntries( place.rule ) ) > end - first )
      return shortageAt( place, AclResource::entries );
  // In an empty table the library's priorities are those that are wanted.
  if ( table_.owners_.empty() )
    return std::nullopt;
  planPriorities( planned, table_.manager_->defaultPrio( first ),
                  table_.manager_->defaultPrio( end - 1 ) );
  moveTo( planned );
  return std::nullopt;
}

// Those that move down do so from the last one on, then the others from the first one on.
void AclTable::Edit::moveTo( const std::vector< PrioritySlot > & slots ) {
  std::vector< std::pair< ProgrammedRule *, U32 > > up;
  std::vector< std::pair< ProgrammedRule *, U32 > > down;
  auto slot = slots.begin();
  for ( Place & place : places_ ) {
    if ( place.old && !present( place ) )
      continue;
    const U32 top = *( slot++ )->top;
    if ( !place.old )
      place.rule.priority = top;
    else if ( const U32 now = table_.priorityOf( place.rule ); now != top )
      ( top > now ? up : down ).emplace_back( &place.rule, top );
  }
  for ( auto each = down.rbegin(); each != down.rend(); ++each )
    move( *each->first, each->second );
  for ( const auto & [ rule, top ] : up )
    move( *rule, top );
}

void AclTable::Edit::move( ProgrammedRule & rule, U32 priority ) {
  const auto size = static_cast< U32 >( rule.entries.size() );
  const bool down = priority < table_.priorityOf( rule );
  for ( U32 i = 0; i < size; ++i ) {
    const U32 each = down ? size - 1 - i : i;
    table_.manager_->setPriorityForEntry(
        table_.unit_, table_.manager_->baseEntry() + rule.entries[ each ], priority - each );
  }
  rule.priority = priority;
  counts_.moved += size;
}

std::optional< AclShortage > AclTable::Edit::add() {
  for ( Place & place : places_ ) {
    if ( place.old )
      continue;
    const auto resource = table_.addEntries( place.rule );
    counts_.added += static_cast< U32 >( place.rule.entries.size() );
    if ( resource )
      return shortageAt( place, *resource );
  }
  return std::nullopt;
}

// Old rules that do not stay, or those that were added.
void AclTable::Edit::removeIf( bool old ) {
  for ( auto place = places_.rbegin(); place != places_.rend(); ++place ) {
    if ( place->old != old || place->stays() )
      continue;
    ProgrammedRule & rule = place->rule;
    counts_.removed += old ? static_cast< U32 >( rule.entries.size() ) : 0;
    for ( ; !rule.entries.empty(); rule.entries.pop_back() )
      table_.vacate( rule.entries.back() );
    table_.releaseResources( rule );
  }
}

// The old rules that were removed have released their resources already.
void AclTable::Edit::keepStaying() {
  table_.rules_.clear();
  for ( Place & place : places_ )
    if ( present( place ) )
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
      counts_.kept += static_cast< U32 >( place.rule.entries.size() );
      for ( const U32 offset : place.rule.entries )
        table_.owners_[ offset ].rule = place.rule.index;
    }
    table_.rules_.push_back( std::move( place.rule ) );
  }
  table_.programmed_ = table_.rules_.size();
}

std::optional< AclShortage > AclTable::Edit::addAll() {
  if ( auto shortage = acquireAll() )
    return shortage;
  if ( auto shortage = makeRoom() )
    return shortage;
  return add();
}

std::optional< AclShortage > AclTable::Edit::run( const std::function< bool() > & others ) {
  if ( by_ == Replacement::breakBeforeMake )
    removeIf( true );
  std::vector< PrioritySlot > before = slots();
  for ( PrioritySlot & slot : before )
    slot.top = slot.top.value_or( 0 );
  const auto shortage = addAll();
  if ( shortage || ( others && !others() ) ) {
    removeIf( false );
    moveTo( before );
    keepStaying();
    return shortage;
  }
  if ( by_ != Replacement::breakBeforeMake )
    removeIf( true );
  finish();
  return std::nullopt;
}

// --- The table -------------------------------------------------------------------------------

U32 AclTable::priorityOf( const ProgrammedRule & rule ) const {
  return rule.priority ? *rule.priority
                       : manager_->defaultPrio( manager_->baseEntry() + rule.entries.front() );
}

U32 AclTable::plannedEntries( const ProgrammedRule & rule ) const {
  return static_cast< U32 >( EntryPlan( *rule.acl, rule.rule(), rule.checkers, portKey_ ).size() );
}

std::vector< PolicyTable::List > AclTable::lists() const {
  std::vector< PolicyTable::List > lists;
  for ( const ProgrammedRule & rule : rules_ )
    if ( lists.empty() || lists.back().acl != rule.acl )
      lists.push_back( { rule.index.acl, rule.acl } );
  return lists;
}

std::optional< AclShortage > AclTable::addAll( const std::vector< PolicyTable::List > & lists ) {
  for ( const PolicyTable::List & list : lists )
    if ( auto shortage = addAcl( *list.acl, list.index, {} ) ) {
      clear();
      lost_.clear();
      shortage->acl = list.index;
      return shortage;
    }
  return std::nullopt;
}

// What was programmed before fits again: nothing else has taken its place.
std::optional< AclShortage > AclTable::programAgain( const std::vector< PolicyTable::List > & fresh,
                                                     EditCounts & counts,
                                                     const std::function< bool() > & others ) {
  const std::vector< PolicyTable::List > old = lists();
  counts.removed = static_cast< U32 >( owners_.size() );
  clear();
  const auto shortage = addAll( fresh );
  counts.added = static_cast< U32 >( owners_.size() );
  if ( shortage || ( others && !others() ) ) {
    clear();
    KIV_ASSERT( !addAll( old ) );
  }
  return shortage;
}

std::optional< AclShortage > AclTable::replace( const std::vector< PolicyTable::List > & lists,
                                                Replacement by, EditCounts & counts,
                                                const std::function< bool() > & others ) {
  KIV_ASSERT( programmed_ == rules_.size() );
  counts = {};
  if ( use_ != AclUse::filter && !sameRules( rules_, rulesOf( lists ) ) )
    return programAgain( lists, counts, others );
  return Edit( *this, lists, by, counts ).run( others );
}

}  // namespace Agent
