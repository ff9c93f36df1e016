// Priorities for entries of a share, so that rules can be added between others.
#pragma once

#include <optional>
#include <vector>

#include "kiv/Types.h"

namespace Agent {

using namespace Kiv::Integers;

// The entries of one rule: they have `top` and the priorities below it.
struct PrioritySlot {
  U32 entries = 0;
  std::optional< U32 > top;  // empty: the rule is to be added
};

// Gives a priority to each slot that has none. The slots are in order of precedence, and so are the
// priorities that they have. Others change only where there is no gap for those that are added; of
// the slots after and before them, those move that are fewer entries. All entries together must not
// be more than the priorities from `lowest` to `highest`.
void planPriorities( std::vector< PrioritySlot > & slots, U32 highest, U32 lowest );

}  // namespace Agent
