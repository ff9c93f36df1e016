// The match fields of a packet as the chip's parser has them.
#pragma once

#include <optional>
#include <span>

#include "agent/acl/MatchFields.h"
#include "agent/verify/Replay.h"
#include "softasic/PacketParser.h"

namespace Agent {

class SeenPacket {
 public:
  // Both ports must exist.
  SeenPacket( const SoftAsic::ChipProfile & chip, std::span< const U8 > frame,
              const PortPair & ports );

  // A field as the stage of the direction sees it; empty: the packet does not have it. Of
  // Fragments: the enumerator none, first or later.
  std::optional< FieldBits > value( const MatchField & field, Direction direction ) const;
  // True if the ingress stage takes the packet for one with the tag of VLAN 0.
  bool isTakenAsTagged() const { return takenAsTagged_; }
  // True for a whole IP header of the version.
  bool isIpv4() const { return has( SoftAsic::keyIpv4 ); }
  bool isIpv6() const { return has( SoftAsic::keyIpv6 ); }

 private:
  bool has( U64 bits ) const { return ( parsed_.key.words[ SoftAsic::metaWord ] & bits ) == bits; }

  SoftAsic::ParsedFrame parsed_;
  PortPair ports_;
  bool takenAsTagged_;
};

}  // namespace Agent
