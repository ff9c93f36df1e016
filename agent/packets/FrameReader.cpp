#include "agent/packets/FrameReader.h"

#include <fmt/core.h>
#include <fmt/format.h>

#include <algorithm>

#include "agent/acl/AddressText.h"

namespace Agent {

namespace {

constexpr size_t macsSize = 12;
constexpr size_t ip4Size = 20;
constexpr size_t ip6Size = 40;
constexpr U32 tagsMax = 2;
constexpr U32 extensionsMax = 8;

U64 number( std::span< const U8 > bytes ) {
  U64 value = 0;
  for ( const U8 byte : bytes )
    value = value << 8 | byte;
  return value;
}

U16 word( std::span< const U8 > bytes, size_t at ) {
  return static_cast< U16 >( number( bytes.subspan( at, 2 ) ) );
}

FragmentKind fragmentKind( U32 offset, bool more ) {
  return offset != 0 ? FragmentKind::later : more ? FragmentKind::first : FragmentKind::whole;
}

void readL4( FrameFields & fields, std::span< const U8 > l4 ) {
  const U8 protocol = *fields.protocol;
  const bool tcp = protocol == protocolTcp && l4.size() >= 20;
  const bool udp = protocol == protocolUdp && l4.size() >= 8;
  if ( tcp || udp )
    fields.ports = { word( l4, 0 ), word( l4, 2 ) };
  if ( tcp )
    fields.tcpFlags = l4[ 13 ];
  if ( ( protocol == protocolIcmp || protocol == protocolIcmp6 ) && l4.size() >= 4 )
    fields.icmpTypeCode = word( l4, 0 );
}

void readIp4( FrameFields & fields, std::span< const U8 > ip ) {
  if ( ip.size() < ip4Size || ip[ 0 ] / 16 != 4 )
    return;
  const size_t header = ip[ 0 ] % 16 * 4U;
  const size_t total = word( ip, 2 );
  if ( header < ip4Size || header > std::min( ip.size(), total ) )
    return;
  fields.l3 = L3Kind::ipv4;
  fields.sourceIp = static_cast< U32 >( number( ip.subspan( 12, 4 ) ) );
  fields.destinationIp = static_cast< U32 >( number( ip.subspan( 16, 4 ) ) );
  fields.trafficClass = ip[ 1 ];
  fields.hopLimit = ip[ 8 ];
  fields.protocol = ip[ 9 ];
  const U16 fragment = word( ip, 6 );
  fields.fragment = fragmentKind( fragment % 0x2000, fragment / 0x2000 % 2 != 0 );
  if ( fields.fragment != FragmentKind::later )
    readL4( fields, ip.first( std::min( ip.size(), total ) ).subspan( header ) );
}

// Length of the extension header at the start of `rest`; empty: not an extension header.
std::optional< size_t > extensionSize( U8 protocol, std::span< const U8 > rest ) {
  switch ( protocol ) {
    case 0:   // hop by hop
    case 43:  // routing
    case 60:  // destination options
      return rest.size() < 8 ? 0 : 8 + rest[ 1 ] * 8U;
    case 44:  // fragment
      return rest.size() < 8 ? 0 : 8;
    case 51:  // authentication
      return rest.size() < 8 ? 0 : 8 + rest[ 1 ] * 4U;
    default:
      return std::nullopt;
  }
}

void readIp6( FrameFields & fields, std::span< const U8 > ip ) {
  if ( ip.size() < ip6Size || ip[ 0 ] / 16 != 6 )
    return;
  fields.l3 = L3Kind::ipv6;
  std::copy_n( ip.begin() + 8, 16, fields.source6.begin() );
  std::copy_n( ip.begin() + 24, 16, fields.destination6.begin() );
  fields.trafficClass = static_cast< U8 >( word( ip, 0 ) / 16 );
  fields.hopLimit = ip[ 7 ];
  std::span< const U8 > rest =
      ip.first( std::min< size_t >( ip.size(), ip6Size + word( ip, 4 ) ) ).subspan( ip6Size );
  U8 protocol = ip[ 6 ];
  U32 extensions = 0;
  FragmentKind fragment = FragmentKind::whole;
  while ( fragment != FragmentKind::later ) {
    const auto size = extensionSize( protocol, rest );
    if ( !size )
      break;
    if ( *size == 0 || *size > rest.size() || ++extensions > extensionsMax )
      return;  // next protocol unknown
    if ( protocol == 44 )
      fragment = std::max( fragment, fragmentKind( word( rest, 2 ) / 8, rest[ 3 ] % 2 != 0 ) );
    protocol = rest[ 0 ];
    rest = rest.subspan( *size );
  }
  fields.protocol = protocol;
  fields.fragment = fragment;
  if ( fragment != FragmentKind::later )
    readL4( fields, rest );
}

}  // namespace

FrameFields readFrame( std::span< const U8 > frame ) {
  FrameFields fields;
  fields.frame = frame;
  size_t at = macsSize;
  if ( frame.size() < at + 2 )
    return fields;
  fields.hasMacs = true;
  fields.destinationMac = number( frame.first( 6 ) );
  fields.sourceMac = number( frame.subspan( 6, 6 ) );
  for ( U32 tags = 0; tags < tagsMax; ++tags ) {
    if ( word( frame, at ) != 0x8100 && word( frame, at ) != 0x88A8 )
      break;
    if ( frame.size() < at + 6 )
      return fields;
    const U16 tag = word( frame, at + 2 );
    if ( tags == 0 )
      fields.vlanPriority = static_cast< U8 >( tag / 0x2000 );
    ( tags == 0 ? fields.vlan : fields.innerVlan ) = tag % 0x1000;
    at += 4;
  }
  const U16 type = word( frame, at );
  at += 2;
  fields.l3At = at;
  if ( type >= 0x600 )
    fields.etherType = type;
  if ( type == 0x0800 )
    readIp4( fields, frame.subspan( at ) );
  if ( type == 0x86DD )
    readIp6( fields, frame.subspan( at ) );
  return fields;
}

std::string describe( const FrameFields & fields ) {
  std::string text = fmt::format( "{} bytes", fields.frame.size() );
  if ( fields.l3 == L3Kind::ipv4 )
    text += fmt::format( " {} to {}", ip4Text( fields.sourceIp ), ip4Text( fields.destinationIp ) );
  else if ( fields.l3 == L3Kind::ipv6 )
    text += fmt::format( " {} to {}", ip6Text( fields.source6 ), ip6Text( fields.destination6 ) );
  else if ( fields.hasMacs )
    text += fmt::format( " {} to {} type {:#06x}", macText( fields.sourceMac ),
                         macText( fields.destinationMac ), fields.etherType.value_or( 0 ) );
  if ( fields.vlan )
    text += fmt::format( " vlan {}", *fields.vlan );
  if ( fields.vlanPriority.value_or( 0 ) != 0 )
    text += fmt::format( " priority {}", *fields.vlanPriority );
  if ( fields.innerVlan )
    text += fmt::format( " inner vlan {}", *fields.innerVlan );
  if ( fields.trafficClass )
    text += fmt::format( " class {:#04x} ttl {}", *fields.trafficClass, *fields.hopLimit );
  if ( fields.fragment.value_or( FragmentKind::whole ) != FragmentKind::whole )
    text += fields.fragment == FragmentKind::first ? " first fragment" : " later fragment";
  if ( fields.protocol )
    text += fmt::format( " protocol {}", *fields.protocol );
  if ( fields.ports )
    text += fmt::format( " ports {} to {}", fields.ports->source, fields.ports->destination );
  if ( fields.tcpFlags )
    text += fmt::format( " flags {:#04x}", *fields.tcpFlags );
  if ( fields.icmpTypeCode )
    text += fmt::format( " icmp {:#06x}", *fields.icmpTypeCode );
  return text;
}

}  // namespace Agent
