// The fields of an IPv4 packet that access lists look at.
#pragma once

#include "agent/AclRule.h"

namespace Agent {

struct PacketFields {
  U32 sourceIp = 0;
  U32 destinationIp = 0;
  U8 protocol = 0;
  U16 sourcePort = 0;       // of TCP and UDP
  U16 destinationPort = 0;  // of TCP and UDP
  U8 tcpFlags = 0;          // of TCP
  U16 icmpTypeCode = 0;     // of ICMP: type in the high byte, code in the low one

  bool hasPorts() const { return protocol == protocolTcp || protocol == protocolUdp; }
  friend bool operator==( const PacketFields &, const PacketFields & ) = default;
};

}  // namespace Agent
