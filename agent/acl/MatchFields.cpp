#include "agent/acl/MatchFields.h"

#include <algorithm>

namespace Agent {

namespace {

using enum FieldText;

constexpr std::array< bool, 3 > ip4 = { true, false, false };
constexpr std::array< bool, 3 > ip6 = { false, true, false };
constexpr std::array< bool, 3 > ip = { true, true, false };
constexpr std::array< bool, 3 > l2 = { false, false, true };
constexpr auto always = FieldNeeds::nothing;

constexpr MatchField fields[] = {
    { "source", 32, bcmFieldQualifySrcIp, ip4Prefix, always, ip4, &AclRule::source },
    { "destination", 32, bcmFieldQualifyDstIp, ip4Prefix, always, ip4, &AclRule::destination },
    { "source", 128, bcmFieldQualifySrcIp6, ip6Prefix, always, ip6, &AclRule::source6 },
    { "destination", 128, bcmFieldQualifyDstIp6, ip6Prefix, always, ip6, &AclRule::destination6 },
    { "sourceMac", 48, bcmFieldQualifySrcMac, mac, always, l2, &AclRule::sourceMac },
    { "destinationMac", 48, bcmFieldQualifyDstMac, mac, always, l2, &AclRule::destinationMac },
    { "etherType", 16, bcmFieldQualifyEtherType, etherType, always, l2, &AclRule::etherType },
    { "vlan", 12, bcmFieldQualifyOuterVlanId, number, always, l2, &AclRule::vlan },
    { "protocol", 8, bcmFieldQualifyIpProtocol, protocol, always, ip, &AclRule::protocol },
    { "sourcePorts", 16, bcmFieldQualifyL4SrcPort, ports, FieldNeeds::ports, ip,
      &AclRule::sourcePorts },
    { "destinationPorts", 16, bcmFieldQualifyL4DstPort, ports, FieldNeeds::ports, ip,
      &AclRule::destinationPorts },
    { "tcpFlags", 8, bcmFieldQualifyTcpControl, flags, FieldNeeds::tcp, ip, &AclRule::tcpFlags },
    { "icmp", 16, bcmFieldQualifyIcmpTypeCode, icmp, FieldNeeds::icmp, ip, &AclRule::icmpTypeCode },
};

U64 bigEndian( const U8 * bytes ) {
  U64 bits = 0;
  for ( U32 i = 0; i < 8; ++i )
    bits = bits << 8 | bytes[ i ];
  return bits;
}

// The upper `length` bits of 64.
U64 upperBits( U32 length ) {
  return length == 0 ? 0 : ~U64( 0 ) << ( 64 - std::min( length, 64U ) );
}

TernaryBits bitsOf( const Prefix & prefix ) {
  return { { 0, prefix.address & prefix.mask() }, { 0, prefix.mask() } };
}

TernaryBits bitsOf( const Prefix6 & prefix ) {
  const U32 length = prefix.length;
  const FieldBits mask = { upperBits( length ), upperBits( length - std::min( length, 64U ) ) };
  return { { bigEndian( prefix.address.data() ) & mask.high,
             bigEndian( prefix.address.data() + 8 ) & mask.low },
           mask };
}

template < class T >
TernaryBits bitsOf( const FieldMatch< T > & match ) {
  return { { 0, match.value }, { 0, match.mask } };
}

// A range is not ternary: rangeOf.
TernaryBits bitsOf( const PortRange & ) {
  return {};
}

}  // namespace

std::span< const MatchField > matchFields() {
  return fields;
}

const PortRange * rangeOf( const MatchField & field, const AclRule & rule ) {
  const auto member = std::get_if< PortRange AclRule::* >( &field.member );
  return member == nullptr ? nullptr : &( rule.**member );
}

TernaryBits ternaryOf( const MatchField & field, const AclRule & rule ) {
  return std::visit( [ & ]( auto member ) { return bitsOf( rule.*member ); }, field.member );
}

bool restricts( const MatchField & field, const AclRule & rule ) {
  if ( const PortRange * range = rangeOf( field, rule ) )
    return !range->any();
  return !ternaryOf( field, rule ).any();
}

const char * missingProtocol( const MatchField & field, const AclRule & rule ) {
  const bool tcp = rule.isFor( protocolTcp );
  const bool withPorts = rule.protocol.mask == 0 || tcp || rule.isFor( protocolUdp );
  const bool withTypes = rule.isFor( protocolIcmp ) || rule.isFor( protocolIcmp6 );
  switch ( field.needs ) {
    case FieldNeeds::nothing:
      break;
    case FieldNeeds::ports:
      return withPorts ? nullptr : "tcp or udp";
    case FieldNeeds::tcp:
      return tcp ? nullptr : "tcp";
    case FieldNeeds::icmp:
      return withTypes ? nullptr : "icmp or icmp6";
  }
  return nullptr;
}

}  // namespace Agent
