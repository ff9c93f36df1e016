// Port ranges as ternary matches.
#pragma once

#include <vector>

#include "agent/AclRule.h"

namespace Agent {

// Ports p with ( p & mask ) == value.
struct PortMatch {
  U16 value = 0;
  U16 mask = 0;  // 0: every port
  friend bool operator==( const PortMatch &, const PortMatch & ) = default;
};

// The fewest prefixes that together match exactly the ports of the range, in rising order: one for
// a single port or all ports, at most 30 otherwise. `low` must not be above `high`.
std::vector< PortMatch > expandPorts( const PortRange & range );

}  // namespace Agent
