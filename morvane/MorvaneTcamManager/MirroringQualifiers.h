// The fixed qualifier lists of mirroring groups, by ACL type. Ended by bcmFieldQualifyCount.
#pragma once

#include "shim/SdkTypes.h"

namespace Morvane {

inline constexpr std::uint32_t mirroringIpQualifiers[] = {
    bcmFieldQualifyInPorts,   bcmFieldQualifySrcIp,      bcmFieldQualifyDstIp,
    bcmFieldQualifyIpType,    bcmFieldQualifyIpProtocol, bcmFieldQualifyL4SrcPort,
    bcmFieldQualifyL4DstPort, bcmFieldQualifyTcpControl, bcmFieldQualifyIcmpTypeCode,
    bcmFieldQualifyIpFrag,    bcmFieldQualifyDSCP,       bcmFieldQualifyStageIngress,
    bcmFieldQualifyCount };

inline constexpr std::uint32_t mirroringIp6Qualifiers[] = {
    bcmFieldQualifyInPorts,      bcmFieldQualifySrcIp6,     bcmFieldQualifyDstIp6,
    bcmFieldQualifyIpType,       bcmFieldQualifyIpProtocol, bcmFieldQualifyL4SrcPort,
    bcmFieldQualifyL4DstPort,    bcmFieldQualifyTcpControl, bcmFieldQualifyIcmpTypeCode,
    bcmFieldQualifyStageIngress, bcmFieldQualifyCount };

inline constexpr std::uint32_t mirroringMacQualifiers[] = {
    bcmFieldQualifySrcMac,       bcmFieldQualifyDstMac,       bcmFieldQualifyEtherType,
    bcmFieldQualifyOuterVlanId,  bcmFieldQualifyOuterVlanPri, bcmFieldQualifyInPorts,
    bcmFieldQualifyStageIngress, bcmFieldQualifyCount };

}  // namespace Morvane
