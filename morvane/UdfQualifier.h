// User-defined fields: the result of programming one, and the records of the data qualifiers, which
// the group manager owns.
//
// Data-qualifier ids are per unit. Collections of them are keyed by udfQualKey, which adds the
// unit; unit 0's keys are the ids themselves.
#pragma once

#include "Fru/Hal/BitRange.h"
#include "kiv/Attribute.h"
#include "kiv/Entity.h"
#include "kiv/Enum.h"
#include "kiv/Export.h"
#include "kiv/HashMap.h"
#include "kiv/ValueType.h"

namespace Morvane {

using namespace Kiv::Integers;

#define MORVANE_UDF_OFFSET_BASES( X ) \
  X( UdfBasePacketStart )             \
  X( UdfBaseL2HeaderStart )           \
  X( UdfBaseL2HeaderEnd )             \
  X( UdfBaseL3HeaderStart )           \
  X( UdfBaseL3HeaderEnd )

// Where the offset of a user-defined field counts from.
KIV_ENUM( UdfOffsetBase, MORVANE_UDF_OFFSET_BASES );

// Keys of data qualifiers: the SDK's id in bits 0-23, the unit in bits 24-31.
inline constexpr Fru::Hal::BitRange udfQualIdBits{ 0, 24 };
inline constexpr Fru::Hal::BitRange udfUnitBits{ 24, 8 };

constexpr U32 udfQualKey( U32 unit, S32 qualId ) {
  return udfUnitBits.set( udfQualIdBits.set( 0, static_cast< U32 >( qualId ) ), unit );
}

#define MORVANE_GROUP_UDF_CREATE_STATUSES( X )   \
  X( udfCreateFailure )                          \
  X( udfCreateSuccessNoGroupRecreate )           \
  X( udfCreateSuccessWithGroupRecreate )         \
  X( udfCreateFailureWithUdfResourceExhaustion ) \
  X( udfCreateFailureWithGroupRecreateFailure )  \
  X( udfUnsupportedFailure )

// Result of programming a qualifier; the numbers are fixed.
//   udfCreateFailure                            nothing was programmed, nothing has changed
//   udfCreateSuccessNoGroupRecreate             the group keeps all its entries
//   udfCreateSuccessWithGroupRecreate           the group was rebuilt and is empty: add all its
//                                               rules and their user-defined fields again
//   udfCreateFailureWithUdfResourceExhaustion   no room for the qualifier; nothing has changed
//   udfCreateFailureWithGroupRecreateFailure    the group, its entries and its qualifiers were
//                                               destroyed
KIV_ENUM( GroupUdfCreateStatus, MORVANE_GROUP_UDF_CREATE_STATUSES );

struct GroupUdfQualApplyStatus : Kiv::Value {
  S32 qualId = -1;  // data-qualifier id on the unit; -1: none
  GroupUdfCreateStatus udfCreateStatus = udfCreateFailure;

  GroupUdfQualApplyStatus() = default;
  GroupUdfQualApplyStatus( S32 id, GroupUdfCreateStatus status )
      : qualId( id ), udfCreateStatus( status ) {}

  static constexpr const char * typeName = "Morvane::GroupUdfQualApplyStatus";
  static constexpr auto fields() {
    return std::make_tuple(
        Kiv::field( "qualId", &GroupUdfQualApplyStatus::qualId ),
        Kiv::field( "udfCreateStatus", &GroupUdfQualApplyStatus::udfCreateStatus ) );
  }
};

// One programmed qualifier.
struct UdfUnitSpec : Kiv::Value {
  U32 unit = 0;
  S32 qualId = -1;
  UdfOffsetBase base = UdfBasePacketStart;
  U8 offset = 0;             // bytes, 0 to 127, as passed to the SDK
  U8 length = 0;             // bytes, 1 to 16
  U32 ethType = 0xFFFFFFFF;  // 0xFFFFFFFF: no ether type
  U8 ipProtocol = 255;       // 255: not used
  U16 refCount = 0;          // rule uses over all groups

  // Apply to values read from text and to programmed ones.
  static constexpr Kiv::Limits offsetLimits{ 0, 127,
                                             "UdfUnitSpec::offset < 0 or > 127 not allowed" };
  static constexpr Kiv::Limits lengthLimits{ 1, 16, "UdfUnitSpec::length < 1 or > 16 not allowed" };

  static constexpr const char * typeName = "Morvane::UdfUnitSpec";
  static constexpr auto fields() {
    return std::make_tuple( Kiv::field( "unit", &UdfUnitSpec::unit ),
                            Kiv::field( "qualId", &UdfUnitSpec::qualId ),
                            Kiv::field( "base", &UdfUnitSpec::base ),
                            Kiv::field( "offset", &UdfUnitSpec::offset, offsetLimits ),
                            Kiv::field( "length", &UdfUnitSpec::length, lengthLimits ),
                            Kiv::field( "ethType", &UdfUnitSpec::ethType ),
                            Kiv::field( "ipProtocol", &UdfUnitSpec::ipProtocol ),
                            Kiv::field( "refCount", &UdfUnitSpec::refCount ) );
  }

  // Converts an offset; throws RangeException outside 0 to 127.
  KIV_API static U8 checkedOffset( S32 offset );
};

// The data qualifiers that a group carries.
class KIV_API GroupUdfQual : public Kiv::Entity {
 public:
  struct Notifiee : Kiv::NotifieeConst {
    virtual void onUdfQualId( U32 ) {}
  };

  explicit GroupUdfQual( const Kiv::Name & name ) : Kiv::Entity( name ) {}
  const char * fwkType() const override { return "Morvane::GroupUdfQual"; }

  // Rule uses in this group by udfQualKey. A member with 0 uses is in the group's qualifier set and
  // waits for its rules to be added again.
  KIV_COUNTS( Kiv::HashMap, U32, U32, udfQualId, UdfQualId );
  // Adds a qualifier without uses and returns its key.
  U32 newUdfQualId( U32 unit, S32 qualId );
};

}  // namespace Morvane
