// Compiles rules into TCAM entries.
//
// A port range that is not a single prefix is matched by a range checker or expanded to prefixes; a
// rule becomes one entry per combination of source and destination ports. All other fields are
// ternary already (acl/MatchFields.h). The entries of a rule do not overlap, so only the order of
// rules matters.
#pragma once

#include <vector>

#include "agent/acl/MatchFields.h"

namespace Agent {

// Match of an entry in one field.
struct EntryField {
  const MatchField * field = nullptr;
  TernaryBits bits;      // valid without a range checker
  U32 rangeChecker = 0;  // hardware id; 0: none
};

// Match on a data qualifier of the group.
struct DataMatch {
  S32 qualifier = 0;  // hardware id
  U32 value = 0;
  U32 mask = 0;
};

// Match of one entry: the kind of its list and every field that the rule restricts.
struct EntryMatch {
  AclKind kind = AclKind::ipv4;
  std::vector< EntryField > fields;  // in the table's order
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
