// The qualifier set of a group on one chip.
//
// makeQualifierSet needs neither a group manager nor the SDK: checks of a platform without a chip
// use it too. Internal.
#pragma once

#include "kiv/Export.h"
#include "morvane/Platform.h"

namespace Morvane {

// Number of data qualifiers of a flow-programming group, past the L3 header or inside VXLAN, and
// the bytes of each.
inline constexpr U32 plainFlowFields = 2;
inline constexpr U32 vxlanFlowFields = 5;
inline constexpr U8 flowFieldLength = 4;

// Qualifier lists end with bcmFieldQualifyCount.
struct QualifierSetInput {
  U32 group = 0;
  // The platform's list, or mirroringQualifiers.
  const U32 * qualifiers = nullptr;
  // Corrections of the chip type; null: none.
  const U32 * excludes = nullptr;
  const U32 * includes = nullptr;
  MorvaneCentral::ChipInfo chip = {};
  ChipProperties properties = {};
};

// Derived from the group's list without the corrections of the chip type.
struct GroupKind {
  bool stageIngress = true;  // copied per pipe
  bool largeSlice = true;    // a first attempt requests a large slice
  bool matchesNoPort = true;
  bool matchesOuterVlan = false;
};

struct QualifierSet : GroupKind {
  bcm_field_qset_t qset = {};
};

// Context of the traces.
struct QualifierTrace {
  U32 unit;
  const char * operation;
};

// The fixed list of a mirroring group. `aclType` -1: not known yet, IPv4. Asserts that the type is
// known and that IPv6 is supported.
KIV_API const U32 * mirroringQualifiers( S32 aclType, bool ipv6MirroringSupported );

KIV_API GroupKind groupKind( const U32 * qualifiers );

// Reads the properties of a unit from the SDK.
ChipProperties chipProperties( U32 unit );

// The list, then the excludes and includes of the chip type, then the chip's own adjustments. A
// qualifier number that the SDK does not have is refused by an assertion. Null `trace`: no traces.
KIV_API QualifierSet makeQualifierSet( const QualifierSetInput & input,
                                       const QualifierTrace * trace = nullptr );

// Entries of an ingress group that matches the outer VLAN need twins where all pipes share one
// field processor. `set` is the finished set.
inline bool keepsTwins( const QualifierSet & set, const ChipProperties & chip ) {
  return chip.sharedByPipes && set.stageIngress &&
         Shim::Fields::qualifierHas( set.qset, bcmFieldQualifyOuterVlanId );
}

}  // namespace Morvane
