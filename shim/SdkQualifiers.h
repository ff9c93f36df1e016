// Numbers of the SDK's field qualifiers.
//
// A qualifier is a packet field that a group can match on. Platform tables use the same numbers;
// other code uses only the names. Lists of qualifiers end with bcmFieldQualifyCount.
#pragma once

#include "shim/SdkConfig.h"

#ifdef MORVANE_SDK_HEADER
#include "shim/SdkTypes.h"
#else
#include <cstdint>

enum bcm_field_qualify_t : std::uint32_t {
  bcmFieldQualifySrcIp6 = 1,            // source IPv6 address, 128 bits
  bcmFieldQualifyDstIp6 = 2,            // destination IPv6 address, 128 bits
  bcmFieldQualifySrcIp6High = 3,        // upper 64 bits of the source IPv6 address
  bcmFieldQualifyDstIp6High = 4,        // upper 64 bits of the destination IPv6 address
  bcmFieldQualifyDstMac = 6,            // destination MAC address
  bcmFieldQualifySrcMac = 7,            // source MAC address
  bcmFieldQualifySrcIp = 9,             // source IPv4 address
  bcmFieldQualifyDstIp = 10,            // destination IPv4 address
  bcmFieldQualifyInPort = 12,           // ingress port, one port
  bcmFieldQualifyInPorts = 13,          // ingress ports, bitmap
  bcmFieldQualifyOutPort = 14,          // egress port, one port; egress stage only
  bcmFieldQualifyOuterVlanPri = 16,     // priority bits of the outer VLAN tag
  bcmFieldQualifyInnerVlanId = 17,      // inner VLAN id
  bcmFieldQualifyOuterVlanId = 18,      // outer VLAN id
  bcmFieldQualifyEtherType = 20,        // Ethernet type after the VLAN tags
  bcmFieldQualifyIpType = 21,           // kind of L3 header (bcm_field_IpType_t)
  bcmFieldQualifyIpProtocol = 22,       // IPv4 protocol or last IPv6 next header
  bcmFieldQualifyDSCP = 23,             // IPv4 TOS or IPv6 traffic class byte
  bcmFieldQualifyTtl = 24,              // IPv4 TTL or IPv6 hop limit
  bcmFieldQualifyIpFrag = 25,           // fragment kind (bcm_field_IpFrag_t)
  bcmFieldQualifyL4SrcPort = 26,        // TCP or UDP source port
  bcmFieldQualifyL4DstPort = 27,        // TCP or UDP destination port
  bcmFieldQualifyTcpControl = 28,       // TCP flags byte
  bcmFieldQualifyIcmpTypeCode = 29,     // ICMP or ICMPv6 type (high byte) and code (low byte)
  bcmFieldQualifyRangeCheck = 40,       // result of range checkers
  bcmFieldQualifyMixedSrcClassId = 60,  // ports and source class, for preselectors
  bcmFieldQualifyStageIngress = 68,     // stage: ingress (IFP)
  bcmFieldQualifyStageLookup = 71,      // stage: lookup (VFP)
  bcmFieldQualifyStageEgress = 72,      // stage: egress (EFP)
  bcmFieldQualifyInPortsClass = 585,    // ingress ports, class form used by per-copy tables
  bcmFieldQualifyCount = 759,           // number of qualifiers; ends a qualifier list
};
#endif
