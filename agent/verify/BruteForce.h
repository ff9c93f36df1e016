// Reference model of access lists: a linear search over the rules, on the packet's fields.
//
// Checks compiler, library and chip. It shares no code with them, and spells out every match
// field.
#pragma once

#include <functional>
#include <set>
#include <vector>

#include "agent/acl/Policy.h"
#include "agent/packets/FrameReader.h"

namespace Agent {

// The rule must be of the list; its place in it does not matter.
bool ruleMatches( const Acl & acl, const AclRule & rule, const FrameFields & packet );

// Result for one packet.
struct PacketFate {
  bool drop = false;
  bool copyToCpu = false;
  std::set< U32 > mirrorPorts;     // ports that get a copy
  std::vector< RuleIndex > rules;  // matching rules, by table in order of precedence
  friend bool operator==( const PacketFate &, const PacketFate & ) = default;
};

// Called for each matching rule with a policer; returns whether the packet conforms.
using Conforms = std::function< bool( const RuleIndex & rule, const PoliceRate & rate ) >;

// The expected result: of the tables for packets that enter, then, unless they drop it, of those
// for packets that leave. A packet that exceeds a rule's rate is dropped, and the rule's other
// actions do not apply.
PacketFate expectedFate( const Policy & policy, const FrameFields & packet,
                         const Conforms & conforms );
// The same where the fields differ between the directions (Replay.h).
PacketFate expectedFate( const Policy & policy, const FrameFields & entering,
                         const FrameFields & leaving, const Conforms & conforms );

}  // namespace Agent
