// The access lists of a switch in order of precedence.
#pragma once

#include <vector>

#include "agent/acl/AclRule.h"

namespace Agent {

// Index of a list and of a rule in it.
struct RuleIndex {
  U32 acl = 0;
  U32 rule = 0;
  friend bool operator==( const RuleIndex &, const RuleIndex & ) = default;
};

// Lists that are looked up as one, in order of precedence.
struct PolicyTable {
  struct List {
    U32 index;  // of the access list
    const Acl * acl;
  };
  AclKind kind = AclKind::ipv4;         // of all its lists
  Direction direction = Direction::in;  // likewise
  std::vector< List > lists;
  // What happens to packets of its kind about which no list decides.
  Forwarding rest = Forwarding::none;
};

// All tables of a switch. Each table finds its own rule; the first one of a direction whose rule
// permits or drops decides about forwarding. Packets that are dropped when they enter do not reach
// the tables for packets that leave.
struct Policy {
  std::vector< PolicyTable > tables;  // in order of precedence, those for entering packets first
};

}  // namespace Agent
