// Records of one entry manager on one unit.
//
// Invariants: entryCreated has one member per logical entry that is handed out. entryStats and
// groupId have one per hardware copy, keyed by pipe entry id. Only the owning entry manager writes.
#pragma once

#include "kiv/Attribute.h"
#include "kiv/Entity.h"
#include "kiv/Export.h"
#include "kiv/FamilyMap.h"
#include "kiv/HashMap.h"
#include "kiv/PageMap.h"
#include "kiv/String8.h"
#include "kiv/ValueType.h"
#include "morvane/OvidTwin.h"
#include "morvane/TcamIds.h"
#include "shim/SdkTypes.h"

namespace Morvane {

using namespace Kiv::Integers;

// Input ports that the next installation writes into an entry.
class KIV_API TcamEntryBcmPbmp : public Kiv::Entity {
 public:
  struct Notifiee : Kiv::NotifieeConst {
    virtual void onPbmpData() {}
    virtual void onPbmpMask() {}
    virtual void onInPort() {}
    virtual void onSinglePort() {}
    virtual void onPermanent() {}
  };

  explicit TcamEntryBcmPbmp( const Kiv::Name & name ) : Kiv::Entity( name ) {}
  const char * fwkType() const override { return "Morvane::TcamEntryBcmPbmp"; }

  KIV_SCALAR( bcm_pbmp_t, pbmpData, PbmpData, {} );
  KIV_SCALAR( bcm_pbmp_t, pbmpMask, PbmpMask, {} );
  KIV_SCALAR( U32, inPort, InPort, 0 );
  // The store holds inPort instead of the bitmaps.
  KIV_SCALAR( bool, singlePort, SinglePort, false );
  // The store survives installation and removal, until the entry is released.
  KIV_SCALAR( bool, permanent, Permanent, false );
};

// Output ports that a loopback redirect adds to the loopback port.
class KIV_API OutportsTcamBcmPbmp : public Kiv::Entity {
 public:
  struct Notifiee : Kiv::NotifieeConst {
    virtual void onPbmp() {}
  };

  explicit OutportsTcamBcmPbmp( const Kiv::Name & name ) : Kiv::Entity( name ) {}
  const char * fwkType() const override { return "Morvane::OutportsTcamBcmPbmp"; }

  KIV_SCALAR( bcm_pbmp_t, pbmp, Pbmp, {} );
};

// Input ports that a hardware entry was last qualified with.
struct EntryInPorts {
  bcm_pbmp_t data = {};
  bcm_pbmp_t mask = {};

  static constexpr const char * typeName = "Morvane::EntryInPorts";
  static constexpr auto fields() {
    return std::make_tuple( Kiv::field( "data", &EntryInPorts::data ),
                            Kiv::field( "mask", &EntryInPorts::mask ) );
  }
  friend bool operator==( const EntryInPorts &, const EntryInPorts & ) = default;
};

// A redirect to loopback ports as requested; each pipe adds its own port.
struct LoopbackRedirect {
  U32 action = 0;  // an SDK action, 0 for none
  bcm_pbmp_t ports = {};

  static constexpr const char * typeName = "Morvane::LoopbackRedirect";
  static constexpr auto fields() {
    return std::make_tuple( Kiv::field( "action", &LoopbackRedirect::action ),
                            Kiv::field( "ports", &LoopbackRedirect::ports ) );
  }
  friend bool operator==( const LoopbackRedirect &, const LoopbackRedirect & ) = default;
};

// Keyed by pipe entry; the copies of a logical entry share a node.
static_assert( tcamCopyBits.first == tcamPipeBits.first + tcamPipeBits.width );
template < class K, class V >
using PipeEntryMap =
    Kiv::FamilyMap< K, V, tcamPipeBits.first, tcamPipeBits.width + tcamCopyBits.width >;

class KIV_API UnitEntriesCreated final : public Kiv::Entity {
 public:
  struct Notifiee : Kiv::NotifieeConst {
    virtual void onEntryCreated( U32 ) {}
    virtual void onEntryStats( U32 ) {}
    virtual void onGroupId( U32 ) {}
    virtual void onTcamEntryBcmPbmp( U32 ) {}
    virtual void onLoopbackPortRedirectAction( U32 ) {}
    virtual void onOutportsBcmPbmp( U32 ) {}
    virtual void onStatTypes( U32 ) {}
    virtual void onEntryInstalled( U32 ) {}
    virtual void onEntryDisabled( U32 ) {}
    virtual void onLoopbackRedirect( U32 ) {}
    virtual void onEntryInPorts( U32 ) {}
    virtual void onOvidTwin( U32 ) {}
    virtual void onOvidTwinIdle( U32 ) {}
    virtual void onRangeEntryMissing( U32 ) {}
    virtual void onRangeCreated() {}
    virtual void onGroupReferences() {}
    virtual void onMulticastWarEntry() {}
  };

  explicit UnitEntriesCreated( const Kiv::Name & name ) : Kiv::Entity( name ) {}
  const char * fwkType() const override { return "Morvane::UnitEntriesCreated"; }

  // Entries handed out, with their caller's description.
  KIV_VALUES( Kiv::PageMap, U32, Kiv::String8, entryCreated, EntryCreated );
  // Statistics id by pipe entry; 0 or absent means none.
  KIV_VALUES( PipeEntryMap, U32, U32, entryStats, EntryStats );
  // Pipe group in which a pipe entry was created.
  KIV_VALUES( PipeEntryMap, U32, U32, groupId, GroupId );
  // Input ports that the next installation applies, by logical entry.
  KIV_MEMBERS( Kiv::HashMap, U32, TcamEntryBcmPbmp, tcamEntryBcmPbmp, TcamEntryBcmPbmp );
  // Loopback redirect that the next installation applies: an SDK action, 0 or absent means none.
  KIV_VALUES( Kiv::HashMap, U32, U32, loopbackPortRedirectAction, LoopbackPortRedirectAction );
  KIV_MEMBERS( Kiv::HashMap, U32, OutportsTcamBcmPbmp, outportsBcmPbmp, OutportsBcmPbmp );
  // Types of a pipe entry's statistics, one bit each; absent means packets and bytes.
  KIV_VALUES( Kiv::HashMap, U32, U32, statTypes, StatTypes );
  // Whether a logical entry is installed; present for every member of entryCreated.
  KIV_VALUES( Kiv::PageMap, U32, bool, entryInstalled, EntryInstalled );
  // The same: null where entryCreated has no member either, except for a placeholder.
  const bool * installedMark( U32 entry ) const { return entryInstalled_.map().find( entry ); }
  // Disabled logical entries; absent means enabled.
  KIV_VALUES( Kiv::HashMap, U32, bool, entryDisabled, EntryDisabled );
  // Loopback redirect in force, by logical entry.
  KIV_VALUES( Kiv::HashMap, U32, LoopbackRedirect, loopbackRedirect, LoopbackRedirect );
  // Input ports last written into a pipe entry.
  KIV_VALUES( Kiv::HashMap, U32, EntryInPorts, entryInPorts, EntryInPorts );
  // Outer-VLAN workaround: installed entries whose twin is in use, with the input of the twin.
  KIV_VALUES( Kiv::HashMap, U32, OvidTwin, ovidTwin, OvidTwin );
  // Enabled entries with a disabled twin, because their rule needs none.
  KIV_VALUES( Kiv::HashMap, U32, bool, ovidTwinIdle, OvidTwinIdle );
  // Entries of a created range without a hardware entry, because the statistics failed; created
  // again when they are handed out.
  KIV_VALUES( Kiv::HashMap, U32, bool, rangeEntryMissing, RangeEntryMissing );
  // The whole range exists in hardware.
  KIV_SCALAR( bool, rangeCreated, RangeCreated, false );
  // This manager's references on its group: one for its range, one while entries are handed out.
  KIV_SCALAR( U32, groupReferences, GroupReferences, 0 );
  // The group's multicast entry, above every rule; 0 means none.
  KIV_SCALAR( U32, multicastWarEntry, MulticastWarEntry, 0 );
};

}  // namespace Morvane
