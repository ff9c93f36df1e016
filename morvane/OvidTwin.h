// What the outer-VLAN workaround (morvane/MorvaneOvidWarSm.h) keeps of VLANs and of twins.
#pragma once

#include "kiv/Types.h"
#include "kiv/ValueType.h"
#include "morvane/TcamIds.h"
#include "shim/SdkTypes.h"

namespace Morvane {

using namespace Kiv::Integers;

inline constexpr U16 vlanIdMask = 0xFFF;

// A VLAN of a unit; ordered by unit, then VLAN.
struct MorvaneUnitOvidKey : Kiv::Value {
  U32 unit = 0;
  U16 ovid = 0;  // outer VLAN id, 1 to 4095

  MorvaneUnitOvidKey() = default;
  MorvaneUnitOvidKey( U32 unitNumber, U16 outerVlan ) : unit( unitNumber ), ovid( outerVlan ) {}

  static constexpr const char * typeName = "Morvane::MorvaneUnitOvidKey";
  static constexpr auto fields() {
    return std::make_tuple( Kiv::field( "unit", &MorvaneUnitOvidKey::unit ),
                            Kiv::field( "ovid", &MorvaneUnitOvidKey::ovid ) );
  }
};

// The outer-VLAN match of a rule; the default value matches every VLAN and none.
struct OvidMatch {
  U16 vlan = 0;  // without bits outside the mask
  U16 mask = 0;  // bits of a VLAN id

  static constexpr const char * typeName = "Morvane::OvidMatch";
  static constexpr auto fields() {
    return std::make_tuple( Kiv::field( "vlan", &OvidMatch::vlan ),
                            Kiv::field( "mask", &OvidMatch::mask ) );
  }
  friend bool operator==( const OvidMatch &, const OvidMatch & ) = default;

  // Untagged packets show VLAN 0: a match that covers it takes them all without a twin.
  bool needsTwin() const { return vlan != 0; }

  // Calls function( vlan ) for every VLAN id that the match covers; there are as many as the free
  // bits of the mask have values.
  template < class F >
  void forEachVlan( F && function ) const {
    const U32 free = vlanIdMask & ~U32{ mask };
    U32 bits = 0;
    do {
      function( static_cast< U16 >( vlan | bits ) );
      bits = ( bits - free ) & free;
    } while ( bits != 0 );
  }
};

// What a twin was made from.
struct OvidTwin {
  OvidMatch match;
  bcm_pbmp_t ports = {};  // input ports that the rule admits, as it was installed

  static constexpr const char * typeName = "Morvane::OvidTwin";
  static constexpr auto fields() {
    return std::make_tuple( Kiv::field( "match", &OvidTwin::match ),
                            Kiv::field( "ports", &OvidTwin::ports ) );
  }
  friend bool operator==( const OvidTwin &, const OvidTwin & ) = default;
};

// The twin of an entry stands where a second pipe's copy would.
constexpr U32 ovidTwinId( U32 entry ) {
  return tcamId( entry, 1, 0 );
}

}  // namespace Morvane
