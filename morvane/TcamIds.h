// Group and entry identifiers of the hardware copies of one logical object.
//
// A 32-bit word: the group or entry number in bits 0-23, the pipe in bits 24-25, the copy within
// the pipe in bit 26; bits 27-31 are zero. Callers hold the pipe-0, copy-0 identifier, which is the
// number itself. All code that packs or unpacks identifiers is here.
#pragma once

#include "Fru/Hal/BitRange.h"
#include "kiv/Types.h"
#include "kiv/ValueType.h"

namespace Morvane {

using namespace Kiv::Integers;

inline constexpr Fru::Hal::BitRange tcamNumberBits{ 0, 24 };
inline constexpr Fru::Hal::BitRange tcamPipeBits{ 24, 2 };
inline constexpr Fru::Hal::BitRange tcamCopyBits{ 26, 1 };

// Any free entry, for the allocator.
inline constexpr U32 anyEntry = 0xFFFFFFFF;
// One past the last number of any entry range.
inline constexpr U32 entryNumberEnd = 1U << 24;
// Priority above every rule: the multicast entry's.
inline constexpr U32 multicastWarPriority = 0x7FFFFFFF;

// Identifier of one hardware copy; excess bits of the arguments are ignored.
constexpr U32 tcamId( U32 number, U32 pipe, U32 copy ) {
  return tcamNumberBits.get( number ) | ( pipe << tcamPipeBits.first & tcamPipeBits.mask() ) |
         ( copy << tcamCopyBits.first & tcamCopyBits.mask() );
}

// Policer of one pipe where every pipe has its own policer ids.
constexpr U32 pipePolicerId( U32 basePolicerId, U32 pipe ) {
  return pipe << tcamPipeBits.first | basePolicerId;
}

// First entry id of a group's ranges; group 0 starts at 1, because entry 0 means none.
constexpr U32 firstBaseEntry( U32 group ) {
  return group == 0 ? 1 : group << 16;
}

// Key of the counter records, ordered by the group word.
struct GroupIdToPipeGroupId : Kiv::Value {
  U32 pipeGroupId = 0;

  GroupIdToPipeGroupId() = default;
  // Implicit: a pipe group id is the key.
  GroupIdToPipeGroupId( U32 word ) : pipeGroupId( word ) {}

  U32 groupId() const { return tcamNumberBits.get( pipeGroupId ); }
  U32 pipe() const { return tcamPipeBits.get( pipeGroupId ); }
  U32 copy() const { return tcamCopyBits.get( pipeGroupId ); }

  static constexpr const char * typeName = "Morvane::GroupIdToPipeGroupId";
  static constexpr auto fields() {
    return std::make_tuple( Kiv::field( "pipeGroupId", &GroupIdToPipeGroupId::pipeGroupId ) );
  }
};

// Key of the qualifier-set corrections of a group on a chip type.
struct GroupQsetModKey : Kiv::Value {
  U16 groupId = 0;
  U16 chipType = 0;

  GroupQsetModKey() = default;
  GroupQsetModKey( U16 group, U16 type ) : groupId( group ), chipType( type ) {}

  // The packed key: group id in the low half, chip type in the high half.
  U32 word() const { return static_cast< U32 >( chipType ) << 16 | groupId; }

  static constexpr const char * typeName = "Morvane::GroupQsetModKey";
  static constexpr auto fields() {
    return std::make_tuple( Kiv::field( "groupId", &GroupQsetModKey::groupId ),
                            Kiv::field( "chipType", &GroupQsetModKey::chipType ) );
  }
};

}  // namespace Morvane
