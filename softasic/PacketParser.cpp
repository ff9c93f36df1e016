#include "softasic/PacketParser.h"

#include <algorithm>
#include <cassert>

namespace SoftAsic {

namespace {

constexpr U16 etherVlan = 0x8100;
constexpr U16 etherServiceVlan = 0x88a8;
constexpr U16 etherIpv4 = 0x0800;
constexpr U16 etherIpv6 = 0x86dd;
constexpr U16 etherArp = 0x0806;

constexpr size_t arpBytes = 28;
constexpr size_t ipv4Bytes = 20;
constexpr size_t ipv6Bytes = 40;
constexpr size_t tcpBytes = 20;
constexpr size_t udpBytes = 8;
constexpr size_t icmpBytes = 4;
constexpr U32 extensionsMax = 8;

enum IpProtocol : U8 {
  protoHopByHop = 0,
  protoIcmp = 1,
  protoTcp = 6,
  protoUdp = 17,
  protoRouting = 43,
  protoFragment = 44,
  protoAuthentication = 51,
  protoIcmp6 = 58,
  protoDestinationOptions = 60,
};

// Unparsed rest of a frame; `size` shrinks to the length given by a length field.
struct Bytes {
  const U8 * data;
  size_t size;

  U8 u8( size_t at ) const { return data[ at ]; }
  U16 u16( size_t at ) const { return static_cast< U16 >( data[ at ] << 8 | data[ at + 1 ] ); }
  U64 be( size_t at, size_t count ) const {
    U64 value = 0;
    for ( size_t i = 0; i < count; ++i )
      value = value << 8 | data[ at + i ];
    return value;
  }
  Bytes from( size_t at ) const { return { data + at, size - at }; }
};

bool isExtension( U8 protocol ) {
  return protocol == protoHopByHop || protocol == protoRouting || protocol == protoFragment ||
         protocol == protoAuthentication || protocol == protoDestinationOptions;
}

// Length of the extension header at the start of `rest`; 0 if truncated before its length field.
size_t extensionLength( U8 protocol, const Bytes & rest ) {
  if ( rest.size < 8 )
    return 0;
  if ( protocol == protoFragment )
    return 8;
  if ( protocol == protoAuthentication )
    return 4 * ( size_t{ rest.u8( 1 ) } + 2 );
  return 8 * ( size_t{ rest.u8( 1 ) } + 1 );
}

class Parser {
 public:
  // Both must outlive the parser. `result` is empty.
  Parser( Bytes frame, ParsedFrame & result )
      : frame_( frame ), result_( result ), key_( result.key ) {}
  void parse();

 private:
  void put( U32 qualifier, U64 value );
  void putAddress( U32 qualifier, const Bytes & bytes, size_t at );
  void valid( U32 bits ) { key_.words[ metaWord ] |= bits; }
  // Offset of `rest` in the frame.
  size_t offset( const Bytes & rest ) const {
    return static_cast< size_t >( rest.data - frame_.data );
  }

  void parseTag( const Bytes & rest, bool inner );
  void parseL3( U16 type, Bytes rest );
  void parseIpv4( Bytes ip );
  void parseIpv6( Bytes ip );
  bool parseFragment( U16 offsetField, bool moreFragments );
  void parseL4( U8 protocol, const Bytes & l4 );

  Bytes frame_;
  ParsedFrame & result_;
  PacketKey & key_;
};

void Parser::put( U32 qualifier, U64 value ) {
  const FieldPlace & field = keyFields()[ static_cast< U32 >( fieldIndex( qualifier ) ) ];
  putField( key_.words[ field.word ], field, value );
  valid( field.needs );
}

void Parser::putAddress( U32 qualifier, const Bytes & bytes, size_t at ) {
  const FieldPlace & field = keyFields()[ static_cast< U32 >( fieldIndex( qualifier ) ) ];
  key_.words[ field.word ] = bytes.be( at, 8 );
  key_.words[ field.word + 1U ] = bytes.be( at + 8, 8 );
}

void Parser::parse() {
  result_.length = frame_.size;
  if ( frame_.size < 14 )
    return;
  put( bcmFieldQualifyDstMac, frame_.be( 0, 6 ) );
  put( bcmFieldQualifySrcMac, frame_.be( 6, 6 ) );
  Bytes rest = frame_.from( 12 );
  for ( U32 tags = 0; tags < 2; ++tags ) {
    const U16 type = rest.u16( 0 );
    if ( type != etherVlan && type != etherServiceVlan )
      break;
    if ( rest.size < 6 )
      return;  // the tag or the type after it is truncated
    parseTag( rest, tags == 1 );
    rest = rest.from( 4 );
  }
  parseL3( rest.u16( 0 ), rest.from( 2 ) );
}

void Parser::parseTag( const Bytes & rest, bool inner ) {
  const U16 control = rest.u16( 2 );
  if ( inner ) {
    put( bcmFieldQualifyInnerVlanId, control & 0xFFFU );
    return;
  }
  put( bcmFieldQualifyOuterVlanId, control & 0xFFFU );
  put( bcmFieldQualifyOuterVlanPri, control >> 13 );
}

void Parser::parseL3( U16 type, Bytes rest ) {
  result_.l3 = offset( rest );
  if ( type >= etherTypeMin )
    put( bcmFieldQualifyEtherType, type );
  if ( type == etherIpv4 )
    return parseIpv4( rest );
  if ( type == etherIpv6 )
    return parseIpv6( rest );
  valid( keyNonIp );
  if ( type == etherArp && rest.size >= arpBytes )
    valid( keyArp );
}

void Parser::parseIpv4( Bytes ip ) {
  if ( ip.size < ipv4Bytes || ip.u8( 0 ) >> 4 != 4 )
    return;
  const size_t header = size_t{ 4 } * ( ip.u8( 0 ) & 0xFU );
  const size_t total = ip.u16( 2 );
  if ( header < ipv4Bytes || header > ip.size || total < header )
    return;
  valid( keyIp );
  put( bcmFieldQualifySrcIp, ip.be( 12, 4 ) );
  put( bcmFieldQualifyDstIp, ip.be( 16, 4 ) );
  put( bcmFieldQualifyDSCP, ip.u8( 1 ) );
  put( bcmFieldQualifyTtl, ip.u8( 8 ) );
  put( bcmFieldQualifyIpProtocol, ip.u8( 9 ) );
  const U16 fragment = ip.u16( 6 );
  ip.size = std::min( ip.size, total );
  if ( parseFragment( fragment & 0x1FFFU, ( fragment & 0x2000U ) != 0 ) )
    parseL4( ip.u8( 9 ), ip.from( header ) );
}

void Parser::parseIpv6( Bytes ip ) {
  if ( ip.size < ipv6Bytes || ip.u8( 0 ) >> 4 != 6 )
    return;
  valid( keyIp | keyIpv6 );
  putAddress( bcmFieldQualifySrcIp6, ip, 8 );
  putAddress( bcmFieldQualifyDstIp6, ip, 24 );
  put( bcmFieldQualifyDSCP, ip.u16( 0 ) >> 4 & 0xFFU );
  put( bcmFieldQualifyTtl, ip.u8( 7 ) );
  ip.size = std::min( ip.size, ipv6Bytes + ip.u16( 4 ) );
  U8 protocol = ip.u8( 6 );
  Bytes rest = ip.from( ipv6Bytes );
  bool first = true;  // `rest` starts with the first bytes after the extensions
  for ( U32 extensions = 0; first && isExtension( protocol ); ++extensions ) {
    const size_t length = extensionLength( protocol, rest );
    if ( length == 0 || length > rest.size || extensions == extensionsMax )
      return;
    if ( protocol == protoFragment )
      first = parseFragment( rest.u16( 2 ) >> 3, ( rest.u8( 3 ) & 1U ) != 0 );
    protocol = rest.u8( 0 );
    rest = rest.from( length );
  }
  put( bcmFieldQualifyIpProtocol, protocol );
  if ( first )
    parseL4( protocol, rest );
}

// Sets the fragment bits; false for a fragment other than the first, which has no L4 header.
bool Parser::parseFragment( U16 offset, bool moreFragments ) {
  if ( offset != 0 || moreFragments )
    valid( keyFragment );
  if ( offset != 0 )
    valid( keyLaterFragment );
  return offset == 0;
}

void Parser::parseL4( U8 protocol, const Bytes & l4 ) {
  result_.l4 = offset( l4 );
  if ( ( protocol == protoTcp && l4.size >= tcpBytes ) ||
       ( protocol == protoUdp && l4.size >= udpBytes ) ) {
    put( bcmFieldQualifyL4SrcPort, l4.u16( 0 ) );
    put( bcmFieldQualifyL4DstPort, l4.u16( 2 ) );
    if ( protocol == protoTcp )
      put( bcmFieldQualifyTcpControl, l4.u8( 13 ) );
  }
  if ( ( protocol == protoIcmp || protocol == protoIcmp6 ) && l4.size >= icmpBytes )
    put( bcmFieldQualifyIcmpTypeCode, l4.u16( 0 ) );
}

void putPort( PacketKey & key, U32 qualifier, U32 port ) {
  assert( port < BCM_PBMP_PORT_MAX );
  const FieldPlace & field = keyFields()[ static_cast< U32 >( fieldIndex( qualifier ) ) ];
  putField( key.words[ field.word ], field, port );
}

}  // namespace

ParsedFrame parseFrame( const U8 * frame, size_t length ) {
  ParsedFrame parsed;
  Parser( { frame, length }, parsed ).parse();
  return parsed;
}

void setIngressPort( PacketKey & key, U32 port ) {
  putPort( key, bcmFieldQualifyInPort, port );
  key.words[ portsWord + port / 64 ] |= U64{ 1 } << ( port % 64 );
}

void setEgressPort( PacketKey & key, U32 port ) {
  putPort( key, bcmFieldQualifyOutPort, port );
}

bool hasOuterTag( const PacketKey & key ) {
  return ( key.words[ metaWord ] & keyOuterTag ) != 0;
}

void setOuterTag( PacketKey & key, bool tagged ) {
  if ( tagged )
    key.words[ metaWord ] |= keyOuterTag;
  else
    key.words[ metaWord ] &= ~U64{ keyOuterTag };
}

}  // namespace SoftAsic
