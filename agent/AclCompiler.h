// Turns rules into what TCAM entries match.
//
// A range of ports that no single prefix holds is matched by a range checker or by several
// prefixes; a rule becomes one entry per pair of source and destination ports. Everything else of a
// rule is ternary as it stands. The entries of one rule never overlap, so that their order does not
// matter; the order of rules does.
#pragma once

#include <vector>

#include "agent/AclRule.h"
#include "agent/PortExpansion.h"

namespace Agent {

// How one entry matches the ports of one direction.
struct EntryPorts {
  PortMatch prefix;      // counts without a range checker
  U32 rangeChecker = 0;  // hardware id; 0: none
};

// A data qualifier of the group and what its bytes must be.
struct DataMatch {
  S32 qualifier = 0;  // hardware id
  U32 value = 0;
  U32 mask = 0;
};

// What one entry matches, besides being of its list's kind. A mask of 0 is not qualified.
struct EntryMatch {
  AclKind kind = AclKind::ipv4;
  FieldMatch< U32 > sourceIp;
  FieldMatch< U32 > destinationIp;
  Prefix6 source6;
  Prefix6 destination6;
  FieldMatch< U64 > sourceMac;
  FieldMatch< U64 > destinationMac;
  FieldMatch< U16 > etherType;
  FieldMatch< U16 > vlan;
  FieldMatch< U8 > protocol;
  EntryPorts sourcePorts;
  EntryPorts destinationPorts;
  FieldMatch< U8 > tcpFlags;
  FieldMatch< U16 > icmpTypeCode;
  std::vector< DataMatch > data;
};

// Range checkers that a rule has; 0: the direction is matched by prefixes.
struct RangeCheckers {
  U32 source = 0;
  U32 destination = 0;
};

// Whether a range takes several prefixes, so that a range checker saves entries.
bool wantsChecker( const PortRange & range );

// The entries of a rule, without data qualifiers.
std::vector< EntryMatch > compileRule( AclKind kind, const AclRule & rule,
                                       const RangeCheckers & checkers );
// How many they are.
U32 entriesOf( const AclRule & rule, const RangeCheckers & checkers );

}  // namespace Agent
