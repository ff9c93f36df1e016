// The outer-VLAN workaround's objects.
//
// On a chip whose field processor is shared by all pipes, an untagged packet reaches the ingress
// stage with outer VLAN 0. Groups that match on the outer VLAN are therefore kept twice there. The
// agent fills the directory; the state machine is created by start-up where a unit needs it.
#pragma once

#include "kiv/Attribute.h"
#include "kiv/Entity.h"
#include "kiv/Export.h"
#include "kiv/RbTreeMap.h"
#include "shim/SdkTypes.h"

namespace Morvane {

using namespace Kiv::Integers;

// Ports on which each VLAN is untagged.
class KIV_API MorvaneOvidUtBitmapDir : public Kiv::Entity {
 public:
  struct Notifiee : Kiv::NotifieeConst {
    virtual void onOvidUtBitmap( U16 ) {}
  };

  explicit MorvaneOvidUtBitmapDir( const Kiv::Name & name ) : Kiv::Entity( name ) {}
  const char * fwkType() const override { return "Morvane::MorvaneOvidUtBitmapDir"; }

  KIV_VALUES( Kiv::RbTreeMap, U16, bcm_pbmp_t, ovidUtBitmap, OvidUtBitmap );
};

class KIV_API MorvaneOvidWarSm : public Kiv::Entity {
 public:
  struct Notifiee : Kiv::NotifieeConst {};

  MorvaneOvidWarSm( const Kiv::Name & name, Kiv::Ptr< const MorvaneOvidUtBitmapDir > directory );
  const char * fwkType() const override { return "Morvane::MorvaneOvidWarSm"; }

  const Kiv::Ptr< const MorvaneOvidUtBitmapDir > & directory() const { return directory_; }

 private:
  Kiv::Ptr< const MorvaneOvidUtBitmapDir > directory_;
};

}  // namespace Morvane
