// Installs rules through a library that was compiled with the header of another SDK; the SDK's C
// functions print what arrives. Sees both headers, the SDK's first if VENDOR_FIRST is defined.
#ifdef VENDOR_FIRST
#include "kelmor_field.h"
#endif
#include "../install/OutsideSwitch.h"
#include "morvane/AclType.h"
#include "shim/SdkPlugin.h"
#ifndef VENDOR_FIRST
#include "kelmor_field.h"
#endif

#include <cstdio>

namespace {

using namespace Morvane;

constexpr bcm_pbmp_t ports( Kiv::U64 low, Kiv::U64 high ) {
  return { { low, high } };
}

// What the C functions do not do succeeds.
class KelmorSdk : public GrantingSdk {
 public:
#define FORWARD( name, params, ... )                          \
  int name( U32 unit, SDK_PARAMS params ) override {          \
    return ::name( static_cast< int >( unit ), __VA_ARGS__ ); \
  }
#define SDK_PARAMS( ... ) __VA_ARGS__
  FORWARD( bcm_field_group_config_create, ( bcm_field_group_config_t * config ), config )
  FORWARD( bcm_field_group_set, ( bcm_field_group_t group, bcm_field_qset_t set ), group, set )
  FORWARD( bcm_field_data_qualifier_packet_format_add,
           ( int id, bcm_field_data_packet_format_t * format ), id, format )
  FORWARD( bcm_field_qualify_MixedSrcClassId,
           ( bcm_field_entry_t entry, bcm_pbmp_t of, bcm_field_src_class_t data,
             bcm_field_src_class_t mask ),
           entry, of, data, mask )
  FORWARD( bcm_field_qualify_InPorts, ( bcm_field_entry_t entry, bcm_pbmp_t data, bcm_pbmp_t mask ),
           entry, data, mask )
  FORWARD( bcm_field_qualify_DstIp6, ( bcm_field_entry_t entry, bcm_ip6_t data, bcm_ip6_t mask ),
           entry, data, mask )
  FORWARD( bcm_field_action_ports_add,
           ( bcm_field_entry_t entry, bcm_field_action_t action, bcm_pbmp_t to ), entry, action,
           to )
  FORWARD( bcm_policer_create, ( bcm_policer_config_t * config, bcm_policer_t * id ), config, id )
  FORWARD( bcm_field_entry_install, ( bcm_field_entry_t entry ), entry )

  int bcm_field_data_qualifier_create( U32 unit, bcm_field_data_qualifier_t * created ) override {
    const int rc = ::bcm_field_data_qualifier_create( static_cast< int >( unit ), created );
    field_ = *created;
    return rc;
  }
  int bcm_field_data_qualifier_get( U32, int, bcm_field_data_qualifier_t * field ) override {
    *field = field_;
    return BCM_E_NONE;
  }
  int bcm_field_qset_data_qualifier_add( U32, bcm_field_qset_t * set, int id ) override {
    set->data_qualifiers[ 0 ] |= 1U << id;
    return BCM_E_NONE;
  }
  int bcm_port_config_get( U32, bcm_port_config_t * config ) override {
    *config = { ports( 0xFF, 0 ), ports( 0xF, 0 ), ports( 0xF0, 0 ) };
    return BCM_E_NONE;
  }
  int kelmor_bcm_tcam_capacity_info_get( U32, kelmor_tcam_capacity_info_t * info ) override {
    *info = { 1, { { 0, 2, { { 3, 256 }, { 0, 512 } } } } };
    return BCM_E_NONE;
  }
  bool kelmor_field_group_by_preselector( U32 ) const override {
    return true;
  }
  bool kelmor_field_ingress_half_size( U32 ) const override {
    return true;
  }

 private:
  bcm_field_data_qualifier_t field_ = {};
};

// A group of IPv6 rules, above which stands a multicast entry.
class Ip6Platform : public OnePlatform {
 public:
  Ip6Platform()
      : OnePlatform( { "mirror", mirroringAclTcamGroup1, 1, 0, false, true, false,
                       tcamAllocateUnbounded } ) {}
  bool requiresMulticastWar( U32 ) const override { return true; }
  bool matchesIPv4( U32 ) const override { return false; }
  bool matchesIPv6( U32 ) const override { return true; }
};

}  // namespace

int main() KIV_NO_THREAD_SAFETY_ANALYSIS {
  KelmorSdk sdk;
  Ip6Platform platform;
  Shim::sdk_ = &sdk;
  platformIs( &platform );
  Kiv::ActivityUnlockAnchor::lock().lock();
  const auto groups = Kiv::make< MorvaneTcamGroupManager >( Kiv::Name( "groups" ), nullptr, false );
  groups->numPipeIs( 2 );
  MorvaneCentral::ChipInfo chip = {};
  chip.multicastWar = true;
  groups->modChipInfoIs( 0, chip );
  groups->initializedIs( true );

  MorvaneUnboundedTcamEntryManager & mirror =
      *groups->unboundedEntryManager( mirroringAclTcamGroup1 );
  groups->groupMirroringAclTypeIs( Kiv::U8( mirror.group() ), Acl::ip() );
  mirror.initializeGroup( 0 );
  const auto field =
      mirror.setMirroringAclUdf( 0, Acl::ip(), ~0U, UdfBaseL3HeaderStart, 12, 4, true );
  const U32 entry = mirror.getEntry( 0, "rule" );
  const bcm_pbmp_t in = ports( 0x5, 0x8000000000000001 );
  mirror.inPortsForEntryIs( 0, entry, in, in, true );
  mirror.loopbackRedirectIs( 0, entry, bcmFieldActionRedirectPbmp, ports( 0x300000000, 0 ) );
  mirror.installEntry( 0, entry );
  bcm_policer_config_t policer = { bcmPolicerModeCommitted, 64, 1000, 0x2 };
  groups->createPolicer( 0, reinterpret_cast< Kiv::U8 * >( &policer ) );
  const auto records = mirror.unitEntries( 0 );
  std::printf( "field %d, ports %s %d\n%s", field.qualId,
               Kiv::valueToStrep( records->entryInPorts( entry ) ).charPtr(),
               records->entryInPorts( entry ).data == in, groups->tcamUsage( 0 ).charPtr() );
  return 0;
}
