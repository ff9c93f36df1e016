// Records of user-defined-field qualifiers: what one matches, and which ones a group carries.
//
// The group manager owns the records; UDF programming fills them, start-up creates them empty.
#pragma once

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

// One programmed qualifier.
struct UdfUnitSpec : Kiv::Value {
  U32 unit = 0;
  S32 qualId = -1;
  UdfOffsetBase base = UdfBasePacketStart;
  U8 offset = 0;             // bytes, 0 to 127, as handed to the SDK
  U8 length = 0;             // bytes, 1 to 16
  U32 ethType = 0xFFFFFFFF;  // 0xFFFFFFFF: no ether type
  U8 ipProtocol = 255;       // 255: not used
  U16 refCount = 0;          // rule uses over all groups

  static constexpr const char * typeName = "Morvane::UdfUnitSpec";
  static constexpr auto fields() {
    return std::make_tuple(
        Kiv::field( "unit", &UdfUnitSpec::unit ), Kiv::field( "qualId", &UdfUnitSpec::qualId ),
        Kiv::field( "base", &UdfUnitSpec::base ), Kiv::field( "offset", &UdfUnitSpec::offset ),
        Kiv::field( "length", &UdfUnitSpec::length ),
        Kiv::field( "ethType", &UdfUnitSpec::ethType ),
        Kiv::field( "ipProtocol", &UdfUnitSpec::ipProtocol ),
        Kiv::field( "refCount", &UdfUnitSpec::refCount ) );
  }
};

// The data qualifiers that a group carries.
class KIV_API GroupUdfQual : public Kiv::Entity {
 public:
  struct Notifiee : Kiv::NotifieeConst {
    virtual void onUdfQualId( U32 ) {}
  };

  explicit GroupUdfQual( const Kiv::Name & name ) : Kiv::Entity( name ) {}

  // Rule uses in this group by data-qualifier id.
  KIV_COUNTS( Kiv::HashMap, U32, U32, udfQualId, UdfQualId );
};

}  // namespace Morvane
