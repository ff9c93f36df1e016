#include "agent/feature/PriorityPlan.h"

#include <algorithm>

namespace Agent {

namespace {

// Towards lower priorities, which are those of later slots, or towards higher ones.
enum class Side : int { down = 1, up = -1 };

class Planner {
 public:
  Planner( std::vector< PrioritySlot > & slots, U32 highest, U32 lowest )
      : slots_( slots ), highest_( highest ), lowest_( lowest ) {}

  void place( size_t first, size_t end );

 private:
  struct Shift {
    S64 by = 0;  // as far as there is room
    U64 moved = 0;
  };

  PrioritySlot * placed( S64 from, Side side ) const;
  // The bounds of the free priorities between a place and the next slot on that side.
  S64 endBelow( const PrioritySlot * next ) const {
    return next == nullptr ? lowest_ - 1 : S64{ *next->top };
  }
  S64 endAbove( const PrioritySlot * next ) const {
    return next == nullptr ? highest_ + 1 : bottom( *next );
  }
  static S64 bottom( const PrioritySlot & slot ) { return S64{ *slot.top } - slot.entries + 1; }
  Shift shift( S64 from, Side side, S64 by, bool apply );
  void widen( S64 first, S64 end, S64 by );

  std::vector< PrioritySlot > & slots_;
  const S64 highest_;
  const S64 lowest_;
};

PrioritySlot * Planner::placed( S64 from, Side side ) const {
  for ( S64 i = from; i >= 0 && i < static_cast< S64 >( slots_.size() ); i += S64( side ) )
    if ( slots_[ static_cast< size_t >( i ) ].top )
      return &slots_[ static_cast< size_t >( i ) ];
  return nullptr;
}

// Each slot moves by what the gaps before it do not take up.
Planner::Shift Planner::shift( S64 from, Side side, S64 by, bool apply ) {
  Shift result = { by, 0 };
  PrioritySlot * next = placed( from, side );
  while ( by > 0 ) {
    if ( next == nullptr ) {
      result.by -= by;
      break;
    }
    PrioritySlot & slot = *next;
    next = placed( &slot - slots_.data() + S64( side ), side );
    const S64 gap = side == Side::down ? bottom( slot ) - endBelow( next ) - 1
                                       : endAbove( next ) - *slot.top - 1;
    result.moved += slot.entries;
    if ( apply )
      slot.top = static_cast< U32 >( *slot.top - S64( side ) * by );
    by -= gap;
  }
  return result;
}

void Planner::widen( S64 first, S64 end, S64 by ) {
  const Shift down = shift( end, Side::down, by, false );
  const Shift up = shift( first - 1, Side::up, by, false );
  const bool preferUp = up.by == by && ( down.by != by || up.moved < down.moved );
  const S64 downBy = preferUp ? 0 : down.by;
  shift( end, Side::down, downBy, true );
  shift( first - 1, Side::up, by - downBy, true );
}

void Planner::place( size_t first, size_t end ) {
  const auto begin = static_cast< S64 >( first );
  const auto after = static_cast< S64 >( end );
  S64 wanted = 0;
  for ( size_t i = first; i < end; ++i )
    wanted += slots_[ i ].entries;
  const auto above = [ & ] { return endAbove( placed( begin - 1, Side::up ) ); };
  const S64 gap = above() - endBelow( placed( after, Side::down ) ) - 1;
  if ( wanted > gap )
    widen( begin, after, wanted - gap );
  S64 top = above() - 1;
  for ( size_t i = first; i < end; ++i ) {
    slots_[ i ].top = static_cast< U32 >( top );
    top -= slots_[ i ].entries;
  }
}

}  // namespace

void planPriorities( std::vector< PrioritySlot > & slots, U32 highest, U32 lowest ) {
  Planner planner( slots, highest, lowest );
  for ( size_t first = 0; first < slots.size(); ++first ) {
    if ( slots[ first ].top )
      continue;
    size_t end = first + 1;
    while ( end < slots.size() && !slots[ end ].top )
      ++end;
    planner.place( first, end );
  }
}

}  // namespace Agent
