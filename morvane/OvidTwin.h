// Records of VLANs and twins, for the outer-VLAN workaround (morvane/MorvaneOvidWarSm.h).
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

// The outer-VLAN match of a rule; by default every VLAN and untagged packets.
struct OvidMatch {
  U16 vlan = 0;  // no bits outside the mask
  U16 mask = 0;  // of a VLAN id's 12 bits

  static constexpr const char * typeName = "Morvane::OvidMatch";
  static constexpr auto fields() {
    return std::make_tuple( Kiv::field( "vlan", &OvidMatch::vlan ),
                            Kiv::field( "mask", &OvidMatch::mask ) );
  }
  friend bool operator==( const OvidMatch &, const OvidMatch & ) = default;

  // Untagged packets have VLAN 0 here: a match that covers it needs no twin.
  bool needsTwin() const { return vlan != 0; }

  // Calls function( vlan ) for every VLAN id that the match covers.
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

// The input of a twin.
struct OvidTwin {
  OvidMatch match;
  bcm_pbmp_t ports = {};  // input ports of the rule when it was installed

  static constexpr const char * typeName = "Morvane::OvidTwin";
  static constexpr auto fields() {
    return std::make_tuple( Kiv::field( "match", &OvidTwin::match ),
                            Kiv::field( "ports", &OvidTwin::ports ) );
  }
  friend bool operator==( const OvidTwin &, const OvidTwin & ) = default;
};

// The twin of an entry is its pipe-1 copy.
constexpr U32 ovidTwinId( U32 entry ) {
  return tcamId( entry, 1, 0 );
}

}  // namespace Morvane
