// Users and entries of one hardware copy of a group, by unit.
#pragma once

#include "kiv/Attribute.h"
#include "kiv/Entity.h"
#include "kiv/Export.h"
#include "kiv/PageMap.h"

namespace Morvane {

using namespace Kiv::Integers;

class KIV_API GroupCounts final : public Kiv::Entity {
 public:
  struct Notifiee : Kiv::NotifieeConst {
    virtual void onUnitAllocated( U32 ) {}
    virtual void onUnitRefCount( U32 ) {}
  };

  explicit GroupCounts( const Kiv::Name & name ) : Kiv::Entity( name ) {}
  const char * fwkType() const override { return "Morvane::GroupCounts"; }

  // Hardware entries that exist in the group copy.
  KIV_COUNTS( Kiv::PageMap, U32, U32, unitAllocated, UnitAllocated );
  // Users of the group copy, which exists in hardware exactly while this is above 0. A release on a
  // unit without references leaves -1, which counts as 0.
  KIV_COUNTS( Kiv::PageMap, U32, S32, unitRefCount, UnitRefCount );
};

}  // namespace Morvane
