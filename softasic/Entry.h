// One entry of a group: its rule, its state and its row.
#pragma once

#include <memory>

#include "softasic/Rule.h"
#include "softasic/TernaryIndex.h"

namespace SoftAsic {

class Group;
class Slice;

inline constexpr U32 entryPriorityMax = 0x7FFFFFFF;

// Matching order in a group as one number, lower first: higher priority first, then the entry that
// was created earlier. `serial` counts a group's creations, below 2^33.
inline U64 entryRank( U32 priority, U64 serial ) {
  return U64{ entryPriorityMax - priority } << 33 | serial;
}
inline U32 rankPriority( U64 rank ) {
  return entryPriorityMax - static_cast< U32 >( rank >> 33 );
}
inline U64 rankSerial( U64 rank ) {
  return rank & ( ( U64{ 1 } << 33 ) - 1 );
}

struct Entry : IndexItem {
  U32 id = 0;
  U32 stat = 0;     // 0: none
  U32 policer = 0;  // 0: none
  U32 row = 0;      // physical row in its slice
  bool installed = false;
  bool enabled = true;
  bool indexed = false;  // installed and enabled: can be matched
  Slice * slice = nullptr;
  Group * group = nullptr;
  std::shared_ptr< Rule > pending;          // what the next install takes
  std::shared_ptr< const Rule > effective;  // what is installed; null while not installed
};

}  // namespace SoftAsic
