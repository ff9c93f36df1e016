#include "agent/feature/EntryQualifiers.h"

#include <array>

#include "kiv/Assert.h"
#include "shim/SdkCall.h"

namespace Agent {

namespace {

U8 byteOf( U64 bits, U32 fromRight ) {
  return static_cast< U8 >( bits >> 8 * fromRight );
}

// Field bits as the type that an SDK operation takes.
struct SdkBits {
  FieldBits bits;

  operator U8() const { return static_cast< U8 >( bits.low ); }
  operator U16() const { return static_cast< U16 >( bits.low ); }
  operator U32() const { return static_cast< U32 >( bits.low ); }
  operator bcm_mac_t() const {
    bcm_mac_t mac = {};
    for ( U32 i = 0; i < sizeof mac.b; ++i )
      mac.b[ i ] = byteOf( bits.low, 5 - i );
    return mac;
  }
  operator bcm_ip6_t() const {
    bcm_ip6_t address = {};
    for ( U32 i = 0; i < sizeof address.b; ++i )
      address.b[ i ] = i < 8 ? byteOf( bits.high, 7 - i ) : byteOf( bits.low, 15 - i );
    return address;
  }
};

std::array< U8, 4 > bytesOf( U32 value ) {
  return { static_cast< U8 >( value >> 24 ), static_cast< U8 >( value >> 16 ),
           static_cast< U8 >( value >> 8 ), static_cast< U8 >( value ) };
}

bcm_field_IpFrag_t sdkFragments( Fragments fragments ) {
  switch ( fragments ) {
    case Fragments::none:
      return bcmFieldIpFragNon;
    case Fragments::first:
      return bcmFieldIpFragFirst;
    case Fragments::later:
      return bcmFieldIpFragNotFirst;
    case Fragments::notLater:
      return bcmFieldIpFragNonOrFirst;
    default:
      return bcmFieldIpFragAny;
  }
}

// The SDK has one operation for each qualifier.
#define QUALIFY( name )                                                    \
  case bcmFieldQualify##name:                                              \
    SDK_CHECKED( bcm_field_qualify_##name( unit, entryId, value, mask ) ); \
    break

void qualifyField( U32 unit, U32 entryId, const EntryField & match ) {
  if ( match.rangeChecker != 0 ) {
    SDK_CHECKED( bcm_field_qualify_RangeCheck( unit, entryId, match.rangeChecker, 0 ) );
    return;
  }
  const SdkBits value = { match.bits.value };
  const SdkBits mask = { match.bits.mask };
  switch ( match.qualifier ) {
    case bcmFieldQualifyIpFrag:
      SDK_CHECKED(
          bcm_field_qualify_IpFrag( unit, entryId, sdkFragments( Fragments( value.bits.low ) ) ) );
      break;
      QUALIFY( SrcIp );
      QUALIFY( DstIp );
      QUALIFY( SrcIp6 );
      QUALIFY( DstIp6 );
      QUALIFY( SrcMac );
      QUALIFY( DstMac );
      QUALIFY( EtherType );
      QUALIFY( OuterVlanId );
      QUALIFY( OuterVlanPri );
      QUALIFY( InnerVlanId );
      QUALIFY( IpProtocol );
      QUALIFY( DSCP );
      QUALIFY( Ttl );
      QUALIFY( InPort );
      QUALIFY( OutPort );
      QUALIFY( L4SrcPort );
      QUALIFY( L4DstPort );
      QUALIFY( TcpControl );
      QUALIFY( IcmpTypeCode );
    default:
      KIV_ASSERT( !"the field has an SDK operation" );
  }
}
#undef QUALIFY

void qualifyKind( U32 unit, U32 entryId, AclKind kind ) {
  if ( kind == AclKind::ipv4 )
    SDK_CHECKED( bcm_field_qualify_IpType( unit, entryId, bcmFieldIpTypeIpv4Any ) );
  if ( kind == AclKind::ipv6 )
    SDK_CHECKED( bcm_field_qualify_IpType( unit, entryId, bcmFieldIpTypeIpv6 ) );
}

void qualifyData( U32 unit, U32 entryId, const DataMatch & match ) {
  const std::array< U8, 4 > data = bytesOf( match.value );
  const std::array< U8, 4 > mask = bytesOf( match.mask );
  SDK_CHECKED( bcm_field_qualify_data( unit, entryId, match.qualifier, data.data(), mask.data(),
                                       static_cast< U16 >( data.size() ) ) );
}

}  // namespace

void qualifyEntry( U32 unit, U32 entryId, const EntryMatch & match ) {
  qualifyKind( unit, entryId, match.kind );
  for ( const EntryField & field : match.fields )
    qualifyField( unit, entryId, field );
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

}  // namespace Agent
