// Counts what the process takes from the heap, by standing in for operator new and delete.
#pragma once

#include <cstdint>

namespace Bench {

struct HeapUse {
  std::uint64_t allocations;  // calls of operator new so far
  std::int64_t bytes;         // bytes held now, as the allocator rounds them
};

HeapUse heapUse();

}  // namespace Bench
