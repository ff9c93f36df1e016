// Shared range checkers: the interval, and per unit its hardware id and users.
//
// The records are owned by the group manager, which fills and empties them; others read.
#pragma once

#include "kiv/Attribute.h"
#include "kiv/Entity.h"
#include "kiv/Export.h"
#include "kiv/HashMap.h"
#include "kiv/ValueType.h"

namespace Morvane {

using namespace Kiv::Integers;

// Identifies a checker: the interval, both ends inclusive, and the SDK's flags for it.
struct RangeCheckerDesc : Kiv::Value {
  U32 low = 0;
  U32 high = 0;
  U32 rangeFlags = 0;

  RangeCheckerDesc() = default;
  RangeCheckerDesc( U32 lowest, U32 highest, U32 flags )
      : low( lowest ), high( highest ), rangeFlags( flags ) {}

  static constexpr const char * typeName = "Morvane::RangeCheckerDesc";
  static constexpr auto fields() {
    return std::make_tuple( Kiv::field( "low", &RangeCheckerDesc::low ),
                            Kiv::field( "high", &RangeCheckerDesc::high ),
                            Kiv::field( "rangeFlags", &RangeCheckerDesc::rangeFlags ) );
  }
};

// One shared range checker; its name is the text form of its descriptor.
class KIV_API RangeCheckerData : public Kiv::Entity {
 public:
  struct Notifiee : Kiv::NotifieeConst {
    virtual void onUnitId( U32 ) {}
    virtual void onUnitRefCount( U32 ) {}
  };

  RangeCheckerData( const Kiv::Name & name, const RangeCheckerDesc & desc );

  KIV_CONST( RangeCheckerDesc, desc, Desc );
  // Hardware id by unit; present only while the unit has a checker.
  KIV_VALUES( Kiv::HashMap, U32, U32, unitId, UnitId );
  // Users by unit; an absent unit reads as 0.
  KIV_COUNTS( Kiv::HashMap, U32, U32, unitRefCount, UnitRefCount );
};

}  // namespace Morvane
