// What access lists mean, decided the plain way: rule by rule, on the packet's own fields.
//
// The yardstick for the compiler, the library and the chip. It shares no code with any of them, and
// compares prefixes and ranges directly instead of values and masks.
#pragma once

#include <functional>
#include <set>
#include <vector>

#include "agent/AclRule.h"
#include "agent/FrameReader.h"

namespace Agent {

bool ruleMatches( AclKind kind, const AclRule & rule, const FrameFields & packet );

// A rule by the index of its access list and its own index in that.
struct RuleIndex {
  U32 acl = 0;
  U32 rule = 0;
  friend bool operator==( const RuleIndex &, const RuleIndex & ) = default;
};

// Lists that are looked up as one, earlier ones first.
struct PolicyTable {
  struct List {
    U32 index;  // of the access list
    const Acl * acl;
  };
  AclKind kind = AclKind::ipv4;  // of all its lists
  std::vector< List > lists;
  bool denyRest = false;  // drops packets of its kind that no rule matches
};

// The rules that a packet's fate is decided by. Each table finds its own rule; what the packet's
// forwarding is, the first table with a rule that permits or drops decides.
struct Policy {
  std::vector< PolicyTable > tables;  // in order of precedence
};

// What happens to one packet.
struct PacketFate {
  bool drop = false;
  bool copyToCpu = false;
  std::set< U32 > mirrorPorts;     // ports that get a copy
  std::vector< RuleIndex > rules;  // that matched, by table in order of precedence
  friend bool operator==( const PacketFate &, const PacketFate & ) = default;
};

// Asked about each rule with a policer that a packet matches: whether it lets the packet pass.
using Conforms = std::function< bool( const RuleIndex & rule, const PoliceRate & rate ) >;

// The fate that the rules call for, by a walk over all of them. A packet that some policer does not
// let pass is dropped, and the rule with that policer does nothing else to it.
PacketFate expectedFate( const Policy & policy, const FrameFields & packet,
                         const Conforms & conforms );

}  // namespace Agent
