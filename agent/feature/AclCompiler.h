// Compiles rules into TCAM entries.
//
// A port range that is not a single prefix is matched by a range checker or expanded to prefixes; a
// rule becomes one entry per combination of source and destination ports. All other fields are
// ternary already. The entries of a rule do not overlap, so only the order of rules matters.
#pragma once

#include <vector>

#include "agent/acl/AclRule.h"
#include "agent/feature/PortExpansion.h"

namespace Agent {

// Port match of an entry in one direction.
struct EntryPorts {
  PortMatch prefix;      // valid without a range checker
  U32 rangeChecker = 0;  // hardware id; 0: none
};

// Match on a data qualifier of the group.
struct DataMatch {
  S32 qualifier = 0;  // hardware id
  U32 value = 0;
  U32 mask = 0;
};

// Match of one entry, in addition to the kind of its list. Fields with a zero mask are not
// qualified.
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

// Range checkers of a rule; 0: the direction is matched by prefixes.
struct RangeCheckers {
  U32 source = 0;
  U32 destination = 0;
};

// True if the range takes several prefixes, so that a range checker saves entries.
bool wantsChecker( const PortRange & range );

// Without data qualifiers.
std::vector< EntryMatch > compileRule( AclKind kind, const AclRule & rule,
                                       const RangeCheckers & checkers );
// Number of entries that compileRule returns.
U32 entriesOf( const AclRule & rule, const RangeCheckers & checkers );

}  // namespace Agent
