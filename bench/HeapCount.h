// Counts heap use by replacing operator new and delete.
#pragma once

#include <cstdint>

namespace Bench {

struct HeapUse {
  std::uint64_t allocations;  // calls of operator new so far
  std::int64_t bytes;         // bytes allocated now, including rounding
};

HeapUse heapUse();

}  // namespace Bench
