// The counters that a caller requests for an entry.
#pragma once

#include "kiv/Attribute.h"
#include "kiv/Entity.h"
#include "kiv/Export.h"
#include "kiv/RbTreeMap.h"

namespace Morvane {

using namespace Kiv::Integers;

class KIV_API StatTypes : public Kiv::Entity {
 public:
  struct Notifiee : Kiv::NotifieeConst {
    virtual void onType( U32 ) {}
  };

  explicit StatTypes( const Kiv::Name & name ) : Kiv::Entity( name ) {}
  const char * fwkType() const override { return "Morvane::StatTypes"; }

  // SDK statistics type (bcm_field_stat_t) by index from 0; read in index order. Two types must be
  // neighbouring SDK values; there are at most 8.
  KIV_VALUES( Kiv::RbTreeMap, U32, U32, type, Type );
};

// The default: packets at index 0 and bytes at index 1. One shared object; do not change it.
KIV_API const Kiv::ValidPtr< StatTypes > & defaultStatTypes();

}  // namespace Morvane
