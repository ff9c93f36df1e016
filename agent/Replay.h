// Sends packets through the switch, and judges the answers.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "agent/AclFeature.h"
#include "agent/BruteForce.h"
#include "agent/SwitchSession.h"

namespace Agent {

// What happened to one packet.
struct PacketFate {
  bool drop = false;
  std::optional< RuleIndex > rule;  // that matched; absent for the default
  friend bool operator==( const PacketFate &, const PacketFate & ) = default;
};

// The rules that a packet's fate is decided by.
struct Policy {
  std::vector< const Acl * > acls;  // in order of precedence; null for one that is not programmed
  bool denyByDefault = false;
};

// The fate that the rules call for, by a walk over all of them.
PacketFate expectedFate( const Policy & policy, const PacketFields & packet );

class Replay {
 public:
  Replay( SwitchSession & session, const AclFeature & feature );

  // What the chip does with the packet at an ingress port, which must exist.
  PacketFate send( const PacketFields & packet, U32 port );
  // The first port of every pipe and copy.
  const std::vector< U32 > & portOfEveryCopy() const { return ports_; }

 private:
  SwitchSession & session_;
  const AclFeature & feature_;
  std::vector< U32 > ports_;
};

// One line: the packet, where it entered, what was expected and what came.
std::string fateDifference( const PacketFields & packet, U32 port, const PacketFate & expected,
                            const PacketFate & actual );

}  // namespace Agent
