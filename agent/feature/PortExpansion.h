// Port ranges as ternary matches.
#pragma once

#include <vector>

#include "agent/acl/AclRule.h"

namespace Agent {

// Ports p with ( p & mask ) == value.
struct PortMatch {
  U16 value = 0;
  U16 mask = 0;  // 0: any port
  friend bool operator==( const PortMatch &, const PortMatch & ) = default;
};

// The minimal set of prefixes that covers the range, ascending: one for a single port or all ports,
// else at most 30. Requires low <= high.
std::vector< PortMatch > expandPorts( const PortRange & range );

}  // namespace Agent
