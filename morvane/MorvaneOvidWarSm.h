// The outer-VLAN workaround: a rule on a VLAN matches that VLAN's untagged packets too.
//
// On a chip whose field processor is shared by all pipes, an untagged packet reaches the ingress
// stage with outer VLAN 0, whatever the VLAN of its port: a rule on VLAN V misses it. Every entry
// of an ingress group that can match the outer VLAN is therefore kept twice:
//
//   the entry     in pipe 0, the feature's rule, for tagged packets
//   its twin      the pipe-1 copy, the same rule on VLAN 0, and on those of the rule's input ports
//                 where V is untagged
//
// Both have the entry's priority, actions and state; each has its own statistics. No packet matches
// both. With a partial mask the twin admits the ports that are untagged in any VLAN that the mask
// covers. A rule without an outer-VLAN match, or with one that covers VLAN 0, matches untagged
// packets itself: its twin is installed, and disabled.
//
// The agent keeps the directory up to date, before and after rules are installed. Entry managers
// write twins (MorvaneTcamManager/OvidTwins.cpp) and record here the VLANs of each entry. When the
// untagged ports of a VLAN change, the state machine rewrites the twins of that VLAN, without an
// SDK call for twins whose ports stay the same.
//
// Invariants: an entry is in the map, under every VLAN that its match covers, exactly while it is
// installed and its twin is in use.
//
// Failure: an SDK failure ends the process. When an SDK call throws, the other twins are still
// written, the failed one becomes unfinished cleanup of its unit (morvane/UnitCleanup.h), and the
// exception is passed to onNotificationException.
//
// Locks: the activity lock, which is dropped around every SDK call. A change of a bitmap waits for
// the operation in progress (morvane/Operation.h).
#pragma once

#include "kiv/Attribute.h"
#include "kiv/Entity.h"
#include "kiv/Export.h"
#include "kiv/Ptr.h"
#include "kiv/RbTreeMap.h"
#include "morvane/MorvaneTcamEntryManager.h"
#include "morvane/OvidTwin.h"
#include "shim/SdkTypes.h"

namespace Morvane {

// Ports on which each VLAN is untagged, filled by the agent. An absent VLAN is untagged nowhere.
class KIV_API MorvaneOvidUtBitmapDir : public Kiv::Entity {
 public:
  struct Notifiee : Kiv::NotifieeConst {
    virtual void onOvidUtBitmap( const MorvaneUnitOvidKey & ) {}
  };

  explicit MorvaneOvidUtBitmapDir( const Kiv::Name & name ) : Kiv::Entity( name ) {}
  const char * fwkType() const override { return "Morvane::MorvaneOvidUtBitmapDir"; }

  KIV_VALUES( Kiv::RbTreeMap, MorvaneUnitOvidKey, bcm_pbmp_t, ovidUtBitmap, OvidUtBitmap );
};

// The entries that match one VLAN of a unit, with their managers.
class KIV_API OvidEntries : public Kiv::Entity {
 public:
  struct Notifiee : Kiv::NotifieeConst {
    virtual void onManager( U32 ) {}
  };

  explicit OvidEntries( const Kiv::Name & name ) : Kiv::Entity( name ) {}
  const char * fwkType() const override { return "Morvane::OvidEntries"; }

  // By entry id.
  KIV_VALUES( Kiv::RbTreeMap, U32, Kiv::Ptr< MorvaneTcamEntryManager >, manager, Manager );
};

class KIV_API MorvaneOvidWarSm : public Kiv::Entity, public MorvaneOvidUtBitmapDir::Notifiee {
 public:
  struct Notifiee : Kiv::NotifieeConst {
    virtual void onOvidEntries( const MorvaneUnitOvidKey & ) {}
  };

  // Without a directory no VLAN is untagged anywhere.
  MorvaneOvidWarSm( const Kiv::Name & name, Kiv::Ptr< const MorvaneOvidUtBitmapDir > directory );
  const char * fwkType() const override;

  // Constructor parameter.
  KIV_CONST( Kiv::Ptr< const MorvaneOvidUtBitmapDir >, directory, Directory );
  KIV_MEMBERS( Kiv::RbTreeMap, MorvaneUnitOvidKey, OvidEntries, ovidEntries, OvidEntries );

  // Add an entry under every VLAN of a match that needs a twin, and remove it.
  void entryIs( U32 unit, U32 entry, const OvidMatch & match,
                const Kiv::Ptr< MorvaneTcamEntryManager > & manager );
  void entryDel( U32 unit, U32 entry, const OvidMatch & match );

  // Ports of the unit that are untagged in any VLAN which the match covers.
  bcm_pbmp_t untaggedPorts( U32 unit, const OvidMatch & match ) const;

  void onOvidUtBitmap( const MorvaneUnitOvidKey & key ) override;
};

}  // namespace Morvane
