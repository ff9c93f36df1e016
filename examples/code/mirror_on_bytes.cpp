// Mirrors TCP packets whose payload begins with "GET ": a match on bytes that no qualifier names.
#include <cstdio>
#include <cstring>

#include "ExampleSwitch.h"
#include "morvane/AclType.h"

int main() {
  const Kiv::LockGuard activity( Kiv::ActivityUnlockAnchor::lock() );
  ExampleSwitch sw;
  auto & mirror = *sw.groups->entryManager( Morvane::mirroringAclTcamGroup1 );

  // The group's type comes first, then the group itself, then the field, then entries.
  sw.groups->groupMirroringAclTypeIs( Kiv::U8( mirror.group() ), Morvane::Acl::ip() );
  if ( !mirror.initializeGroup( unit ) )
    return 1;
  constexpr unsigned anyEtherType = 0xFFFFFFFF;
  constexpr Kiv::U8 tcpHeader = 20;  // bytes, without options
  constexpr Kiv::U8 length = 4;
  const auto field =
      mirror.setMirroringAclUdf( unit, Morvane::Acl::ip(), anyEtherType,
                                 Morvane::UdfBaseL3HeaderEnd, tcpHeader, length, true );
  // udfCreateSuccessWithGroupRecreate would ask for all rules of the group again; it has none yet.
  std::printf( "field: %s\n", enumName( field.udfCreateStatus ) );

  const unsigned entry = mirror.getEntry( unit, mirror.baseEntry(), "GET" );
  SDK_CHECKED( bcm_field_qualify_IpType( unit, entry, bcmFieldIpTypeIpv4Any ) );
  SDK_CHECKED( bcm_field_qualify_IpProtocol( unit, entry, 6, 0xFF ) );
  const Kiv::U8 get[ length ] = { 'G', 'E', 'T', ' ' };
  const Kiv::U8 exact[ length ] = { 0xFF, 0xFF, 0xFF, 0xFF };
  SDK_CHECKED( bcm_field_qualify_data( unit, entry, field.qualId, get, exact, length ) );
  bcm_pbmp_t ports = {};
  ports.add( 7 );
  SDK_CHECKED( bcm_field_action_ports_add( unit, entry, bcmFieldActionMirrorPbmp, ports ) );
  mirror.installEntry( unit, entry );

  for ( const char * payload : { "GET /index.html", "POST /form", "GET" } ) {
    const SoftAsic::Verdict verdict = sw.send( tcpPacket( 0xC0000209, payload ) );
    std::printf( "%-15s %s\n", payload, verdict.mirrorPorts.has( 7 ) ? "mirrored" : "-" );
  }

  // The entries first, then the field.
  mirror.releaseEntry( unit, entry );
  mirror.setMirroringAclUdf( unit, Morvane::Acl::ip(), anyEtherType, Morvane::UdfBaseL3HeaderEnd,
                             tcpHeader, length, false );
  std::printf( "fields left: %zu\n", sw.chip.dataQualifiers( unit ).size() );
  return 0;
}
