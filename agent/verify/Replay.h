// Sends packets through the switch and compares the results.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "agent/packets/Packet.h"
#include "agent/session/SwitchSession.h"
#include "agent/verify/BruteForce.h"

namespace Agent {

// The rule that an entry implements; empty for a default action and for other users' entries.
using RuleOf = std::function< std::optional< RuleIndex >( U32 entryId ) >;

// One pass of packets, with times relative to its start.
class Replay {
 public:
  // Does not reset the chip's virtual clock.
  Replay( SwitchSession & session, RuleOf ruleOf );

  // Sends a packet on an ingress port, which must exist. Packets must be in time order.
  PacketFate send( const Packet & packet, U32 port );

 private:
  SwitchSession & session_;
  const RuleOf ruleOf_;
  const U64 start_;
};

// First port of every pipe and copy.
std::vector< U32 > portOfEveryCopy( const SoftAsic::ChipProfile & chip );

// These, and the ports at and next to the ends of the ranges that rules on ingress ports allow.
std::vector< U32 > portsToVerify( const SoftAsic::ChipProfile & chip,
                                  const std::vector< Acl > & acls );

// The fields of a packet as rules match them at a port. Where the pipes share their tables, an
// untagged or priority-tagged packet matches both VLAN 0 and the port's untagged VLAN, and an
// untagged one priority 0; elsewhere an untagged packet matches no VLAN and no priority.
FrameFields fieldsAtPort( const Platform::PlatformData & platform, U32 port, FrameFields fields );

// One line with packet, ingress port, expected and actual result.
std::string fateDifference( const Packet & packet, U32 port, const PacketFate & expected,
                            const PacketFate & actual );

}  // namespace Agent
