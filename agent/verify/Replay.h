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

// Ports by which a packet enters and, unless it is dropped, leaves.
struct PortPair {
  U32 in = 0;
  U32 out = 0;
};

std::set< U32 > portsIn( const bcm_pbmp_t & bitmap );

// One pass of packets, with times relative to its start.
class Replay {
 public:
  // Does not reset the chip's virtual clock.
  Replay( SwitchSession & session, RuleOf ruleOf );

  // Sends a packet from port to port; both must exist. Packets must be in time order.
  PacketFate send( const Packet & packet, const PortPair & ports );

 private:
  SwitchSession & session_;
  const RuleOf ruleOf_;
  const U64 start_;
};

// First port of every pipe and copy.
std::vector< U32 > portOfEveryCopy( const SoftAsic::ChipProfile & chip );

// By which packets are verified: they enter by these ports, and by those at and next to the ends of
// the ranges that rules on ingress ports allow. With lists for packets that leave, they leave by
// those of `packetPorts` and the ports at and next to the ends of those lists' ranges: by each of
// them once, at least, after they entered by the first port, by a port that no list is bound to,
// and by any other.
std::vector< PortPair > portsToVerify( const SoftAsic::ChipProfile & chip,
                                       const std::vector< Acl > & acls,
                                       const std::vector< PortPair > & packetPorts );

// The fields of a packet as rules match them when it leaves by a port.
FrameFields fieldsLeaving( U32 port, FrameFields fields );

// The fields of a packet as rules match them when it enters by a port. Where the pipes share their
// tables, an untagged or priority-tagged packet matches both VLAN 0 and the port's untagged VLAN,
// and an untagged one priority 0; elsewhere an untagged packet matches no VLAN and no priority.
FrameFields fieldsAtPort( const Platform::PlatformData & platform, U32 port, FrameFields fields );

// One line with packet, ports, expected and actual result.
std::string fateDifference( const Packet & packet, const PortPair & ports,
                            const PacketFate & expected, const PacketFate & actual );

}  // namespace Agent
