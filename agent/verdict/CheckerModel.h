// Which range checkers rules get, without a switch: as the feature gets them from the library, rule
// after rule. A checker is shared by all rules with its range.
#pragma once

#include <map>

#include "agent/feature/RangeChoice.h"

namespace Agent {

class CheckerModel {
 public:
  // `checkers`: those of the chip. `choice` must outlive the model.
  CheckerModel( U32 checkers, const RangeChoice & choice )
      : checkers_( checkers ), choice_( &choice ) {}

  // The checkers of the next rule of a list whose group matches ranges. PortMethod::checkers gives
  // every range one, also those that the chip does not have.
  RangeCheckers take( const AclRule & rule );

  // Checkers by range, from 1 in the order in which they were taken.
  const std::map< PlacedRange, U32 > & taken() const { return taken_; }

 private:
  U32 checkers_;
  const RangeChoice * choice_;
  std::map< PlacedRange, U32 > taken_;
};

}  // namespace Agent
