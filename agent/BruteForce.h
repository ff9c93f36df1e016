// What an access list means, decided the plain way: rule by rule, on the packet's own fields.
//
// The yardstick for the compiler, the library and the chip. It shares no code with any of them, and
// compares prefixes and ranges directly instead of values and masks.
#pragma once

#include <optional>
#include <vector>

#include "agent/AclRule.h"
#include "agent/Packet.h"

namespace Agent {

bool ruleMatches( const AclRule & rule, const PacketFields & packet );

// A rule by the index of its access list and its own index in that.
struct RuleIndex {
  U32 acl = 0;
  U32 rule = 0;
  friend bool operator==( const RuleIndex &, const RuleIndex & ) = default;
};

// The first rule that matches, earlier access lists first; absent when none does. Null access lists
// are passed over.
std::optional< RuleIndex > firstMatch( const std::vector< const Acl * > & acls,
                                       const PacketFields & packet );

}  // namespace Agent
