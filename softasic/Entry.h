// One entry of a group: its rule, its state and its row.
#pragma once

#include <memory>

#include "softasic/Rule.h"
#include "softasic/TernaryIndex.h"

namespace SoftAsic {

class Group;
class Slice;

inline constexpr U32 entryPriorityMax = 0x7FFFFFFF;

// Match order within a group as one number; lower wins. Higher priority first, then earlier
// creation. `serial` counts the entries created in the group and stays below 2^33.
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
  U32 row = 0;      // physical row in the slice
  bool installed = false;
  bool enabled = true;
  bool indexed = false;  // in the lookup: installed and enabled
  Slice * slice = nullptr;
  Group * group = nullptr;
  std::shared_ptr< Rule > pending;          // takes effect with the next install
  std::shared_ptr< const Rule > effective;  // installed rule; null: not installed
};

}  // namespace SoftAsic
