#include "softasic/QualifierNames.h"

#include <algorithm>
#include <iterator>

#include "shim/SdkQualifiers.h"

#define SOFTASIC_QUALIFIERS( X ) \
  X( SrcIp6 )                    \
  X( DstIp6 )                    \
  X( SrcIp6High )                \
  X( DstIp6High )                \
  X( DstMac )                    \
  X( SrcMac )                    \
  X( SrcIp )                     \
  X( DstIp )                     \
  X( InPort )                    \
  X( InPorts )                   \
  X( OutPort )                   \
  X( OuterVlanPri )              \
  X( InnerVlanId )               \
  X( OuterVlanId )               \
  X( EtherType )                 \
  X( IpType )                    \
  X( IpProtocol )                \
  X( DSCP )                      \
  X( Ttl )                       \
  X( IpFrag )                    \
  X( L4SrcPort )                 \
  X( L4DstPort )                 \
  X( TcpControl )                \
  X( IcmpTypeCode )              \
  X( RangeCheck )                \
  X( MixedSrcClassId )           \
  X( StageIngress )              \
  X( StageLookup )               \
  X( StageEgress )               \
  X( InPortsClass )

namespace SoftAsic {

namespace {

struct Qualifier {
  const char * name;
  U32 number;
};

#define SOFTASIC_QUALIFIER( name ) { #name, bcmFieldQualify##name },
constexpr Qualifier qualifiers[] = { SOFTASIC_QUALIFIERS( SOFTASIC_QUALIFIER ) };

}  // namespace

std::optional< U32 > qualifierNumber( const std::string & name ) {
  const auto * found = std::find_if( std::begin( qualifiers ), std::end( qualifiers ),
                                     [ & ]( const Qualifier & q ) { return q.name == name; } );
  if ( found == std::end( qualifiers ) )
    return std::nullopt;
  return found->number;
}

const char * qualifierName( U32 number ) {
  const auto * found = std::find_if( std::begin( qualifiers ), std::end( qualifiers ),
                                     [ & ]( const Qualifier & q ) { return q.number == number; } );
  return found == std::end( qualifiers ) ? nullptr : found->name;
}

std::vector< std::string_view > qualifierNames() {
  std::vector< std::string_view > names;
  for ( const Qualifier & qualifier : qualifiers )
    names.push_back( qualifier.name );
  return names;
}

}  // namespace SoftAsic
