// One data qualifier in hardware: creation, destruction, and the limit of a group's width.
// Internal.
//
// The hardware offset always counts from the start of the outer L3 header: the operations that take
// a base and an offset from the agent normalise them once.
#pragma once

#include "morvane/MorvaneTcamGroupManager.h"
#include "morvane/MorvaneTcamManager/Rollback.h"

namespace Morvane {

// No ether type.
inline constexpr U32 noEthType = 0xFFFFFFFF;

// The SDK's record with accessors, whose names are part of traced texts.
struct DataQualifier : bcm_field_data_qualifier_s {
  S32 qual_id() const { return Shim::Fields::dataId( record() ); }
  U32 length() const { return Shim::Fields::dataLength( record() ); }
  S32 offset_base() const { return Shim::Fields::dataBase( record() ); }

  // The accessors hide the fields of their names.
  bcm_field_data_qualifier_s & record() { return *this; }
  const bcm_field_data_qualifier_s & record() const { return *this; }
};

// Whether the SDK's record sets can hold the id.
constexpr bool isDataQualifier( S32 qualId ) {
  return qualId >= 0 && static_cast< U32 >( qualId ) < BCM_FIELD_DATA_QUAL_MAX;
}

// Walks the qualifiers of one unit that a group carries; they may change during the walk.
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

// A qualifier with a normalised offset.
DataQualifier outerL3Qualifier( U8 offset, U8 length );
// All IPv4 packets.
bcm_field_data_packet_format_s ipv4PacketFormat();

// The rule's offset, counted from the start of the outer L3 header. Throws RangeException above
// 127.
U8 normalizedUdfOffset( UdfOffsetBase base, U8 offset );

// Creates a qualifier; `offset` is normalised, `ethType` is used for UdfBaseL2HeaderEnd only. On
// success qualId is not -1, and the caller replaces the status, udfCreateFailure. Without room,
// raises the log message and returns udfCreateFailureWithUdfResourceExhaustion, with nothing
// allocated. Asserts, as does destroyUdfQualifier, that the base is not before the end of the L2
// header. `rollback` undoes the creation; without one, an exception from the second SDK call leaves
// the qualifier without packets.
GroupUdfQualApplyStatus createUdfQualifier( U32 unit, U32 ethType, UdfOffsetBase base, U8 offset,
                                            U8 length, Rollback * rollback = nullptr );
// Destroys a qualifier that no group matches on. Takes the base and ether type of its creation.
void destroyUdfQualifier( U8 unit, U32 ethType, UdfOffsetBase base, int udfQualId );
// Deletes the packet format, or the ether type, of a qualifier.
void deleteUdfPackets( U32 unit, S32 udfQualId, UdfOffsetBase base, U32 ethType );
// Removes a qualifier from the qualifier set of a pipe group, if it is in the set.
void narrowGroup( U32 unit, U32 pipeGroupId, U32 qualId );
// Adds the destruction of a qualifier to a release.
void dropUdfQualifier( const UdfUnitSpec & udf, Release & release );

// Whether `length` more bytes exceed `maxLength`. Counts the qualifiers of all units for IPv4,
// those of the unit and ether type for MAC.
bool groupUdfWidthExceeded( U32 unit, const MorvaneTcamGroupManager * groupManager, S32 aclType,
                            U32 ethType, U8 length, U8 maxLength );

}  // namespace Morvane
