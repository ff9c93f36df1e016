#include "agent/feature/PortExpansion.h"

#include <bit>

namespace Agent {

// Greedy from the low end: the largest aligned block inside the range is always optimal.
std::vector< PortMatch > expandPorts( const PortRange & range ) {
  std::vector< PortMatch > matches;
  const U32 end = range.high + 1U;
  for ( U32 low = range.low; low < end; ) {
    const U32 aligned = low == 0 ? 0x10000U : low & -low;
    const U32 size = std::min( aligned, std::bit_floor( end - low ) );
    matches.push_back( { static_cast< U16 >( low ), static_cast< U16 >( ~( size - 1 ) ) } );
    low += size;
  }
  return matches;
}

}  // namespace Agent
