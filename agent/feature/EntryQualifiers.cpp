#include "agent/feature/EntryQualifiers.h"

#include <array>

#include "shim/SdkCall.h"

namespace Agent {

namespace {

bcm_mac_t sdkMac( U64 address ) {
  bcm_mac_t mac = {};
  for ( U32 i = 0; i < sizeof mac.b; ++i )
    mac.b[ i ] = static_cast< U8 >( address >> ( 40 - 8 * i ) );
  return mac;
}

bcm_ip6_t sdkAddress( const Ip6Address & address ) {
  bcm_ip6_t result = {};
  std::copy( address.begin(), address.end(), result.b );
  return result;
}

bcm_ip6_t sdkMask( U8 length ) {
  bcm_ip6_t mask = {};
  for ( U32 bit = 0; bit < length; ++bit )
    mask.b[ bit / 8 ] |= static_cast< U8 >( 0x80U >> bit % 8 );
  return mask;
}

std::array< U8, 4 > bytesOf( U32 value ) {
  return { static_cast< U8 >( value >> 24 ), static_cast< U8 >( value >> 16 ),
           static_cast< U8 >( value >> 8 ), static_cast< U8 >( value ) };
}

void qualifyIp4( U32 unit, U32 entryId, const EntryMatch & match ) {
  SDK_CHECKED( bcm_field_qualify_IpType( unit, entryId, bcmFieldIpTypeIpv4Any ) );
  if ( match.sourceIp.mask != 0 )
    SDK_CHECKED(
        bcm_field_qualify_SrcIp( unit, entryId, match.sourceIp.value, match.sourceIp.mask ) );
  if ( match.destinationIp.mask != 0 )
    SDK_CHECKED( bcm_field_qualify_DstIp( unit, entryId, match.destinationIp.value,
                                          match.destinationIp.mask ) );
}

void qualifyIp6( U32 unit, U32 entryId, const EntryMatch & match ) {
  SDK_CHECKED( bcm_field_qualify_IpType( unit, entryId, bcmFieldIpTypeIpv6 ) );
  if ( match.source6.length != 0 ) {
    const bcm_ip6_t address = sdkAddress( match.source6.address );
    const bcm_ip6_t mask = sdkMask( match.source6.length );
    SDK_CHECKED( bcm_field_qualify_SrcIp6( unit, entryId, address, mask ) );
  }
  if ( match.destination6.length != 0 ) {
    const bcm_ip6_t address = sdkAddress( match.destination6.address );
    const bcm_ip6_t mask = sdkMask( match.destination6.length );
    SDK_CHECKED( bcm_field_qualify_DstIp6( unit, entryId, address, mask ) );
  }
}

void qualifyL2( U32 unit, U32 entryId, const EntryMatch & match ) {
  if ( match.sourceMac.mask != 0 ) {
    const bcm_mac_t address = sdkMac( match.sourceMac.value );
    const bcm_mac_t mask = sdkMac( match.sourceMac.mask );
    SDK_CHECKED( bcm_field_qualify_SrcMac( unit, entryId, address, mask ) );
  }
  if ( match.destinationMac.mask != 0 ) {
    const bcm_mac_t address = sdkMac( match.destinationMac.value );
    const bcm_mac_t mask = sdkMac( match.destinationMac.mask );
    SDK_CHECKED( bcm_field_qualify_DstMac( unit, entryId, address, mask ) );
  }
  if ( match.etherType.mask != 0 )
    SDK_CHECKED(
        bcm_field_qualify_EtherType( unit, entryId, match.etherType.value, match.etherType.mask ) );
  if ( match.vlan.mask != 0 )
    SDK_CHECKED(
        bcm_field_qualify_OuterVlanId( unit, entryId, match.vlan.value, match.vlan.mask ) );
}

void qualifyPorts( U32 unit, U32 entryId, const EntryMatch & match ) {
  const EntryPorts & source = match.sourcePorts;
  const EntryPorts & destination = match.destinationPorts;
  if ( source.rangeChecker != 0 )
    SDK_CHECKED( bcm_field_qualify_RangeCheck( unit, entryId, source.rangeChecker, 0 ) );
  else if ( source.prefix.mask != 0 )
    SDK_CHECKED(
        bcm_field_qualify_L4SrcPort( unit, entryId, source.prefix.value, source.prefix.mask ) );
  if ( destination.rangeChecker != 0 )
    SDK_CHECKED( bcm_field_qualify_RangeCheck( unit, entryId, destination.rangeChecker, 0 ) );
  else if ( destination.prefix.mask != 0 )
    SDK_CHECKED( bcm_field_qualify_L4DstPort( unit, entryId, destination.prefix.value,
                                              destination.prefix.mask ) );
}

void qualifyL4( U32 unit, U32 entryId, const EntryMatch & match ) {
  if ( match.protocol.mask != 0 )
    SDK_CHECKED(
        bcm_field_qualify_IpProtocol( unit, entryId, match.protocol.value, match.protocol.mask ) );
  qualifyPorts( unit, entryId, match );
  if ( match.tcpFlags.mask != 0 )
    SDK_CHECKED(
        bcm_field_qualify_TcpControl( unit, entryId, match.tcpFlags.value, match.tcpFlags.mask ) );
  if ( match.icmpTypeCode.mask != 0 )
    SDK_CHECKED( bcm_field_qualify_IcmpTypeCode( unit, entryId, match.icmpTypeCode.value,
                                                 match.icmpTypeCode.mask ) );
}

void qualifyData( U32 unit, U32 entryId, const DataMatch & match ) {
  const std::array< U8, 4 > data = bytesOf( match.value );
  const std::array< U8, 4 > mask = bytesOf( match.mask );
  SDK_CHECKED( bcm_field_qualify_data( unit, entryId, match.qualifier, data.data(), mask.data(),
                                       static_cast< U16 >( data.size() ) ) );
}

}  // namespace

void qualifyEntry( U32 unit, U32 entryId, const EntryMatch & match ) {
  switch ( match.kind ) {
    case AclKind::ipv4:
      qualifyIp4( unit, entryId, match );
      qualifyL4( unit, entryId, match );
      break;
    case AclKind::ipv6:
      qualifyIp6( unit, entryId, match );
      qualifyL4( unit, entryId, match );
      break;
    case AclKind::mac:
      qualifyL2( unit, entryId, match );
      break;
  }
  for ( const DataMatch & data : match.data )
    qualifyData( unit, entryId, data );
}

void addActions( U32 unit, U32 entryId, const EntryActions & actions ) {
  if ( actions.forwarding != Forwarding::none ) {
    const bcm_field_action_t action =
        actions.forwarding == Forwarding::drop ? bcmFieldActionDrop : bcmFieldActionPermit;
    SDK_CHECKED( bcm_field_action_add( unit, entryId, action, 0, 0 ) );
  }
  if ( actions.copyToCpu )
    SDK_CHECKED( bcm_field_action_add( unit, entryId, bcmFieldActionCopyToCpu, 0, 0 ) );
  if ( actions.mirrorPort ) {
    bcm_pbmp_t ports = {};
    ports.add( *actions.mirrorPort );
    SDK_CHECKED( bcm_field_action_ports_add( unit, entryId, bcmFieldActionMirrorPbmp, ports ) );
  }
}

std::vector< U32 > requiredQualifiers( AclKind kind, const AclRule & rule ) {
  std::vector< U32 > needs;
  const auto need = [ & ]( bool restricted, U32 qualifier ) {
    if ( restricted )
      needs.push_back( qualifier );
  };
  need( kind != AclKind::mac, bcmFieldQualifyIpType );
  need( rule.source.length != 0, bcmFieldQualifySrcIp );
  need( rule.destination.length != 0, bcmFieldQualifyDstIp );
  need( rule.source6.length != 0, bcmFieldQualifySrcIp6 );
  need( rule.destination6.length != 0, bcmFieldQualifyDstIp6 );
  need( rule.sourceMac.mask != 0, bcmFieldQualifySrcMac );
  need( rule.destinationMac.mask != 0, bcmFieldQualifyDstMac );
  need( rule.etherType.mask != 0, bcmFieldQualifyEtherType );
  need( rule.vlan.mask != 0, bcmFieldQualifyOuterVlanId );
  need( rule.protocol.mask != 0, bcmFieldQualifyIpProtocol );
  need( !rule.sourcePorts.any(), bcmFieldQualifyL4SrcPort );
  need( !rule.destinationPorts.any(), bcmFieldQualifyL4DstPort );
  need( rule.tcpFlags.mask != 0, bcmFieldQualifyTcpControl );
  need( rule.icmpTypeCode.mask != 0, bcmFieldQualifyIcmpTypeCode );
  return needs;
}

}  // namespace Agent
