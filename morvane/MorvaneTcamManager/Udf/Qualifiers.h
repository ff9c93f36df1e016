// One data qualifier in hardware: creation, destruction, and the width that a group has for it.
// Internal.
//
// Every qualifier counts its offset from the start of the outer L3 header, whatever base its rule
// names: offsets are normalised once, by the operation that takes them from the agent.
#pragma once

#include "morvane/MorvaneTcamGroupManager.h"
#include "morvane/MorvaneTcamManager/Rollback.h"

namespace Morvane {

// Stands for "no ether type" wherever one is given.
inline constexpr U32 noEthType = 0xFFFFFFFF;

// The SDK's record, with its fields readable by their accessors' names.
struct DataQualifier : bcm_field_data_qualifier_s {
  S32 qual_id() const { return bcm_field_data_qualifier_s::qual_id; }
  U32 length() const { return bcm_field_data_qualifier_s::length; }
  S32 offset_base() const { return bcm_field_data_qualifier_s::offset_base; }
};

// Whether the SDK's record sets have a place for the id.
constexpr bool isDataQualifier( S32 qualId ) {
  return qualId >= 0 && static_cast< U32 >( qualId ) < BCM_FIELD_DATA_QUAL_MAX;
}

// Walks the qualifiers of one unit that a group carries. It survives any change of them.
class UnitUdfQualIter {
 public:
  UnitUdfQualIter( const GroupUdfQual & carried, U32 unit )
      : at_( carried.udfQualIdIterConst() ), unit_( unit ) {
    skipOtherUnits();
  }

  explicit operator bool() const { return static_cast< bool >( at_ ); }
  UnitUdfQualIter & operator++() {
    ++at_;
    skipOtherUnits();
    return *this;
  }

  S32 key() const {
    return static_cast< S32 >( udfQualIdBits.get( recordKey() ) );
  }                                            // the SDK's id
  U32 recordKey() const { return at_.key(); }  // udfQualKey
  U32 uses() const { return at_.value(); }

 private:
  void skipOtherUnits() {
    while ( at_ && udfUnitBits.get( at_.key() ) != unit_ )
      ++at_;
  }

  GroupUdfQual::UdfQualIdIter at_;
  U32 unit_;
};

// A qualifier that counts from the outer L3 header; `offset` is normalised.
DataQualifier outerL3Qualifier( U8 offset, U8 length );
// All IPv4 packets.
bcm_field_data_packet_format_s ipv4PacketFormat();

// The rule's offset, counted from the start of the outer L3 header. Throws RangeException when a
// qualifier cannot reach that far.
U8 normalizedUdfOffset( UdfOffsetBase base, U8 offset );

// Creates a qualifier; `offset` is normalised, `ethType` counts for UdfBaseL2HeaderEnd only. Only
// a qualId other than -1 means success: the status then still is udfCreateFailure, for the caller
// to replace. Without room the log message is raised, nothing is left, and the status is
// udfCreateFailureWithUdfResourceExhaustion. A base before the end of the L2 header is an
// assertion, here and in destroyUdfQualifier. `rollback` undoes the creation; without one, a second
// SDK call that throws leaves the qualifier without packets.
GroupUdfQualApplyStatus createUdfQualifier( U32 unit, U32 ethType, UdfOffsetBase base, U8 offset,
                                            U8 length, Rollback * rollback = nullptr );
// Destroys a qualifier that no group matches on; base and ether type are those of its creation.
void destroyUdfQualifier( U8 unit, U32 ethType, UdfOffsetBase base, int udfQualId );
// Deletes the packet format, or the ether type, of a qualifier.
void deleteUdfPackets( U32 unit, S32 udfQualId, UdfOffsetBase base, U32 ethType );
// Removes a qualifier from the qualifier set of a pipe group, if it is there.
void narrowGroup( U32 unit, U32 pipeGroupId, U32 qualId );
// Adds what destroys a qualifier to a release.
void dropUdfQualifier( const UdfUnitSpec & udf, Release & release );

// Whether `length` more bytes would pass `maxLength`. For IPv4 the qualifiers of all units count,
// for MAC those of the unit and ether type.
bool groupUdfWidthExceeded( U32 unit, const MorvaneTcamGroupManager * groupManager, S32 aclType,
                            U32 ethType, U8 length, U8 maxLength );

}  // namespace Morvane
