// One data qualifier in hardware: made, taken away, and weighed against a group's width.
//
// Every qualifier counts its offset from the start of the outer L3 header, whatever base its rule
// names: offsets are normalised once, by the operation that takes them from the agent. Internal.
#pragma once

#include "morvane/MorvaneTcamGroupManager.h"

namespace Morvane {

// Stands for "no ether type" wherever one is given.
inline constexpr U32 noEthType = 0xFFFFFFFF;

// The SDK's record, with its fields readable by their accessors' names.
struct DataQualifier : bcm_field_data_qualifier_s {
  S32 qual_id() const { return bcm_field_data_qualifier_s::qual_id; }
  U32 length() const { return bcm_field_data_qualifier_s::length; }
  S32 offset_base() const { return bcm_field_data_qualifier_s::offset_base; }
};

// Walks the qualifiers of one unit that a group carries. It survives any change of them.
class UnitUdfQualIter {
 public:
  UnitUdfQualIter( const GroupUdfQual & carried, U32 unit )
      : at_( carried.udfQualIdIterConst() ), unit_( unit ) {
    passOtherUnits();
  }

  explicit operator bool() const { return static_cast< bool >( at_ ); }
  UnitUdfQualIter & operator++() {
    ++at_;
    passOtherUnits();
    return *this;
  }

  S32 key() const { return static_cast< S32 >( udfQualIdBits.get( bookKey() ) ); }  // the SDK's id
  U32 bookKey() const { return at_.key(); }                                         // udfQualKey
  U32 uses() const { return at_.value(); }

 private:
  void passOtherUnits() {
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

// Makes a qualifier; `offset` is normalised, `ethType` counts for UdfBaseL2HeaderEnd only. Only a
// qualId other than -1 tells of success: the status then still is udfCreateFailure, for the caller
// to replace. Without room the log message is raised, nothing is left, and the status is
// udfCreateFailureWithUdfResourceExhaustion. A base before the L2 header's end is refused by an
// assertion, here and in destroyUdfQualifier.
GroupUdfQualApplyStatus createUdfQualifier( U32 unit, U32 ethType, UdfOffsetBase base, U8 offset,
                                            U8 length );
// Takes a qualifier away that no group matches on; base and ether type are the ones it was made
// with.
void destroyUdfQualifier( U8 unit, U32 ethType, UdfOffsetBase base, int udfQualId );

// Whether `length` more bytes would pass `maxLength`. For IPv4 the qualifiers of all units count,
// for MAC those of the unit and ether type.
bool groupUdfWidthExceeded( U32 unit, const MorvaneTcamGroupManager * groupManager, S32 aclType,
                            U32 ethType, U8 length, U8 maxLength );

}  // namespace Morvane
