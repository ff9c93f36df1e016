// Sends packets through the switch, and judges the answers.
#pragma once

#include <string>
#include <vector>

#include "agent/AclFeature.h"
#include "agent/BruteForce.h"
#include "agent/SwitchSession.h"

namespace Agent {

// A pass of packets; their times count from its beginning.
class Replay {
 public:
  // The chip's virtual clock goes on from where it stands.
  Replay( SwitchSession & session, const AclFeature & feature );

  // What the chip does with the packet at an ingress port, which must exist. Packets come in the
  // order of their times.
  PacketFate send( const Packet & packet, U32 port );

 private:
  SwitchSession & session_;
  const AclFeature & feature_;
  const U64 start_;
};

// The first port of every pipe and copy.
std::vector< U32 > portOfEveryCopy( const SoftAsic::ChipProfile & chip );

// What rules are meant to see of a packet that enters by a port. Where one field processor serves
// all pipes, a packet without a tag, or with VLAN 0, is in VLAN 0 and in the one that is untagged
// on its port; elsewhere it is in none.
FrameFields seenAt( const Platform::PlatformData & platform, U32 port, FrameFields fields );

// One line: the packet, where it entered, what was expected and what came.
std::string fateDifference( const Packet & packet, U32 port, const PacketFate & expected,
                            const PacketFate & actual );

}  // namespace Agent
