// Shared range checkers: the interval, and per unit the hardware id and the users. Only the group
// manager writes the records.
#pragma once

#include "kiv/Attribute.h"
#include "kiv/Entity.h"
#include "kiv/Export.h"
#include "kiv/HashMap.h"
#include "kiv/ValueType.h"

namespace Morvane {

using namespace Kiv::Integers;

// Identifies a checker: the interval, both ends inclusive, and the SDK's flags for it.
class RangeCheckerDesc : public Kiv::Value {
 public:
  RangeCheckerDesc() = default;
  RangeCheckerDesc( U32 low, U32 high, U32 rangeFlags )
      : low_( low ), high_( high ), rangeFlags_( rangeFlags ) {}

  U32 low() const { return low_; }
  U32 high() const { return high_; }
  // BCM_FIELD_RANGE_*.
  U32 rangeFlags() const { return rangeFlags_; }

  static constexpr const char * typeName = "Morvane::RangeCheckerDesc";
  static constexpr auto fields() {
    return std::make_tuple( Kiv::field( "low", &RangeCheckerDesc::low_ ),
                            Kiv::field( "high", &RangeCheckerDesc::high_ ),
                            Kiv::field( "rangeFlags", &RangeCheckerDesc::rangeFlags_ ) );
  }

 private:
  U32 low_ = 0;
  U32 high_ = 0;
  U32 rangeFlags_ = 0;
};

// One shared range checker; its name is the text form of its descriptor.
class KIV_API RangeCheckerData : public Kiv::Entity {
 public:
  struct Notifiee : Kiv::NotifieeConst {
    virtual void onUnitId( U32 ) {}
    virtual void onUnitRefCount( U32 ) {}
  };

  RangeCheckerData( const Kiv::Name & name, const RangeCheckerDesc & desc );
  const char * fwkType() const override { return "Morvane::RangeCheckerData"; }

  KIV_CONST( RangeCheckerDesc, desc, Desc );
  // Hardware id by unit; absent if the unit has no checker.
  KIV_VALUES( Kiv::HashMap, U32, U32, unitId, UnitId );
  // Users by unit.
  KIV_COUNTS( Kiv::HashMap, U32, U32, unitRefCount, UnitRefCount );
};

}  // namespace Morvane
