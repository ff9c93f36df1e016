// Sends packets through the switch and compares the results.
#pragma once

#include <string>
#include <vector>

#include "agent/AclFeature.h"
#include "agent/BruteForce.h"
#include "agent/SwitchSession.h"

namespace Agent {

// One pass of packets, with times relative to its start.
class Replay {
 public:
  // Does not reset the chip's virtual clock.
  Replay( SwitchSession & session, const AclFeature & feature );

  // Sends a packet on an ingress port, which must exist. Packets must be in time order.
  PacketFate send( const Packet & packet, U32 port );

 private:
  SwitchSession & session_;
  const AclFeature & feature_;
  const U64 start_;
};

// First port of every pipe and copy.
std::vector< U32 > portOfEveryCopy( const SoftAsic::ChipProfile & chip );

// The fields of a packet as rules match them at a port. Where the pipes share their tables, an
// untagged or priority-tagged packet matches both VLAN 0 and the port's untagged VLAN; elsewhere it
// matches no VLAN.
FrameFields fieldsAtPort( const Platform::PlatformData & platform, U32 port, FrameFields fields );

// One line with packet, ingress port, expected and actual result.
std::string fateDifference( const Packet & packet, U32 port, const PacketFate & expected,
                            const PacketFate & actual );

}  // namespace Agent
