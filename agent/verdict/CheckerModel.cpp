#include "agent/verdict/CheckerModel.h"

namespace Agent {

RangeCheckers CheckerModel::take( const AclRule & rule ) {
  return checkersBy(
      rule,
      [ this ]( const PlacedRange & range ) -> U32 {
        if ( const auto held = taken_.find( range ); held != taken_.end() )
          return held->second;
        const bool free = choice_->method == PortMethod::checkers || taken_.size() < checkers_;
        if ( !free || !choice_->wantsChecker( range ) )
          return 0;
        return taken_.emplace( range, static_cast< U32 >( taken_.size() + 1 ) ).first->second;
      } );
}

}  // namespace Agent
