// The qualifier set of a group on one chip.
//
// makeQualifierSet serves groups that are built in hardware and checks of a platform that has no
// chip yet: it needs neither a group manager nor the SDK. Internal.
#pragma once

#include "kiv/Export.h"
#include "morvane/Platform.h"

namespace Morvane {

// Data qualifiers that a flow-programming group has beside its set: beyond the L3 header, or inside
// VXLAN; and the bytes of each.
inline constexpr U32 plainFlowFields = 2;
inline constexpr U32 vxlanFlowFields = 5;
inline constexpr U8 flowFieldLength = 4;

// Qualifier lists end with bcmFieldQualifyCount.
struct QualifierSetInput {
  U32 group = 0;
  // The platform's list of the group (also of a flow-programming group), or mirroringQualifiers.
  const U32 * qualifiers = nullptr;
  // Corrections of the chip type; null: none.
  const U32 * excludes = nullptr;
  const U32 * includes = nullptr;
  MorvaneCentral::ChipInfo chip = {};
  ChipProperties properties = {};
};

// What the group's own list says of it. Corrections of the chip type do not count.
struct GroupKind {
  bool stageIngress = true;  // copied per pipe
  bool largeSlice = true;    // asks for a large slice first, then retries without
  bool matchesNoPort = true;
  bool matchesOuterVlan = false;
};

struct QualifierSet : GroupKind {
  bcm_field_qset_t qset = {};
};

// Whose set is made, for the traces of every step.
struct QualifierTrace {
  U32 unit;
  const char * operation;
};

// The fixed list of a mirroring group. `aclType` -1 means that none is known yet: IPv4. IPv6
// without support is refused by an assertion, as is any other type.
KIV_API const U32 * mirroringQualifiers( S32 aclType, bool ipv6MirroringSupported );

KIV_API GroupKind groupKind( const U32 * qualifiers );

// The SDK's answers for a unit.
ChipProperties chipProperties( U32 unit );

// The list, then the excludes and includes of the chip type, then the chip's own adjustments. A
// qualifier number that the SDK does not have is refused by an assertion. Null `trace`: no traces.
KIV_API QualifierSet makeQualifierSet( const QualifierSetInput & input,
                                       const QualifierTrace * trace = nullptr );

// Entries of an ingress group that matches the outer VLAN need twins where all pipes share one
// field processor. It decides from the finished set.
inline bool keepsTwins( const QualifierSet & set, const ChipProperties & chip ) {
  return chip.sharedByPipes && set.stageIngress && set.qset.has( bcmFieldQualifyOuterVlanId );
}

}  // namespace Morvane
