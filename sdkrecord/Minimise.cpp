#include "sdkrecord/Minimise.h"

#include <algorithm>
#include <map>
#include <set>
#include <tuple>

#include "shim/SdkTypes.h"

namespace SdkRecord {

namespace {

// Unit, kind, id
using Object = std::tuple< U32, IdKind, U32 >;

void addObject( std::vector< Object > & objects, U32 unit, IdKind kind, U64 id ) {
  const auto number = static_cast< U32 >( id );
  if ( kind == IdKind::entry && ( number & BCM_FIELD_QUALIFY_PRESEL ) != 0 )
    objects.emplace_back( unit, IdKind::presel, number & ~BCM_FIELD_QUALIFY_PRESEL );
  else
    objects.emplace_back( unit, kind, number );
}

// Those that a call names or is given, the one that it creates among them.
std::vector< Object > objectsOf( const Event & event ) {
  std::vector< Object > objects;
  if ( event.kind != EventKind::call )
    return objects;
  const CallLeaves leaves = event.after->leaves( *event.operation );
  for ( const auto * const part : { &leaves.in, &leaves.out } )
    for ( const Leaf & leaf : *part ) {
      if ( leaf.id == IdKind::none )
        continue;
      if ( const auto * const number = std::get_if< Number >( &leaf.value ) )
        addObject( objects, event.unit, leaf.id, number->get() );
      else if ( const auto & bits = std::get< Bits >( leaf.value ); !leaf.isZero() )
        for ( U32 id = 0; id < bits.words.size() * 32; ++id )
          if ( bits.has( id ) )
            addObject( objects, event.unit, leaf.id, id );
    }
  return objects;
}

class Minimiser {
 public:
  Minimiser( const Events & events, const Difference & first, const Trial & trial );
  Events run();

 private:
  using Keep = std::vector< bool >;

  void findCreators();
  // Without calls whose objects were not created; false if the last call is one of them.
  bool closed( Keep & keep ) const;
  bool adopt( Keep keep );
  void keepOnlyRelated();
  void leaveOutOperations();
  bool leaveOutRuns( size_t count );
  Events kept( const Keep & keep ) const;

  Events events_;
  const Difference & first_;
  const Trial & trial_;
  std::vector< std::vector< size_t > > creators_;  // of the objects of each event
  Keep keep_;
};

Minimiser::Minimiser( const Events & events, const Difference & first, const Trial & trial )
    : events_( events.begin(), events.begin() + static_cast< std::ptrdiff_t >( first.event + 1 ) ),
      first_( first ),
      trial_( trial ),
      creators_( events_.size() ),
      keep_( events_.size(), true ) {
  findCreators();
}

void Minimiser::findCreators() {
  std::map< Object, size_t > creators;
  for ( size_t i = 0; i < events_.size(); ++i ) {
    const Event & event = *events_[ i ];
    if ( event.kind == EventKind::reset )
      std::erase_if( creators, [ & ]( const auto & creator ) {
        return std::get< 0 >( creator.first ) == event.unit;
      } );
    const bool made = event.kind == EventKind::call && event.rc >= 0 && !event.threw;
    const IdKind created = made ? event.operation->creates : IdKind::none;
    const IdKind destroyed = made ? event.operation->destroys : IdKind::none;
    for ( const Object & object : objectsOf( event ) ) {
      const IdKind kind = std::get< 1 >( object );
      if ( const auto found = creators.find( object ); kind != created && found != creators.end() )
        creators_[ i ].push_back( found->second );
      if ( kind == created )
        creators[ object ] = i;
      else if ( kind == destroyed )
        creators.erase( object );
    }
  }
}

bool Minimiser::closed( Keep & keep ) const {
  for ( size_t i = 0; i < keep.size(); ++i )
    keep[ i ] = keep[ i ] && std::all_of( creators_[ i ].begin(), creators_[ i ].end(),
                                          [ & ]( size_t creator ) { return keep[ creator ]; } );
  return keep.back();
}

Events Minimiser::kept( const Keep & keep ) const {
  Events events;
  for ( size_t i = 0; i < keep.size(); ++i )
    if ( keep[ i ] )
      events.push_back( events_[ i ] );
  return events;
}

bool Minimiser::adopt( Keep keep ) {
  if ( !closed( keep ) || keep == keep_ )
    return false;
  const Events events = kept( keep );
  const std::optional< Difference > difference = trial_( events );
  if ( !difference || difference->event + 1 != events.size() || difference->where != first_.where ||
       difference->got != first_.got )
    return false;
  keep_ = std::move( keep );
  return true;
}

// What the last call needs; otherwise also what else was done with that.
void Minimiser::keepOnlyRelated() {
  Keep needed( events_.size() );
  needed.back() = true;
  for ( size_t i = needed.size(); i-- > 0; )
    if ( needed[ i ] )
      for ( const size_t creator : creators_[ i ] )
        needed[ creator ] = true;
  if ( adopt( needed ) )
    return;
  Keep related = needed;
  for ( size_t i = 0; i < related.size(); ++i )
    related[ i ] =
        related[ i ] || std::any_of( creators_[ i ].begin(), creators_[ i ].end(),
                                     [ & ]( size_t creator ) { return needed[ creator ]; } );
  adopt( related );
}

// All calls of one operation, and all packets.
void Minimiser::leaveOutOperations() {
  std::set< const Operation * > operations;
  for ( const Event * const event : events_ )
    operations.insert( event->operation );
  for ( const Operation * const operation : operations ) {
    Keep keep = keep_;
    for ( size_t i = 0; i + 1 < keep.size(); ++i )
      keep[ i ] = keep[ i ] && events_[ i ]->operation != operation;
    adopt( std::move( keep ) );
  }
}

// Runs of that many, from the end: what is created last is used least.
bool Minimiser::leaveOutRuns( size_t count ) {
  std::vector< size_t > left;
  for ( size_t i = 0; i + 1 < keep_.size(); ++i )
    if ( keep_[ i ] )
      left.push_back( i );
  bool any = false;
  for ( size_t end = left.size(); end > 0; end -= std::min( end, count ) ) {
    Keep keep = keep_;
    for ( size_t i = end - std::min( end, count ); i < end; ++i )
      keep[ left[ i ] ] = false;
    any = adopt( std::move( keep ) ) || any;
  }
  return any;
}

Events Minimiser::run() {
  keepOnlyRelated();
  leaveOutOperations();
  for ( size_t count = events_.size() / 2; count > 1; count /= 2 )
    leaveOutRuns( count );
  while ( leaveOutRuns( 1 ) ) {
  }
  return kept( keep_ );
}

}  // namespace

Events minimise( const Events & events, const Difference & first, const Trial & trial ) {
  return Minimiser( events, first, trial ).run();
}

}  // namespace SdkRecord
