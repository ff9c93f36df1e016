#include "agent/packets/PacketText.h"

#include <fmt/core.h>

#include <charconv>
#include <set>
#include <string_view>
#include <vector>

#include "agent/acl/AddressText.h"
#include "agent/acl/Names.h"
#include "agent/acl/RuleText.h"
#include "agent/text/Suggestion.h"

namespace Agent {

namespace {

[[noreturn]] void failText( const std::string & what ) {
  throw PacketTextError( what );
}

// Words; a ">" is one of its own.
std::vector< std::string > wordsOf( const std::string & text ) {
  std::vector< std::string > words( 1 );
  for ( const char c : text )
    if ( c == ' ' || c == '\t' || c == '\n' || c == '>' ) {
      words.emplace_back();
      if ( c == '>' ) {
        words.back() = c;
        words.emplace_back();
      }
    } else {
      words.back() += c;
    }
  std::erase( words, "" );
  return words;
}

// Decimal or with 0x.
std::optional< U64 > anyNumber( std::string_view text ) {
  const bool hex = text.starts_with( "0x" );
  const std::string_view digits = text.substr( hex ? 2 : 0 );
  U64 value = 0;
  const auto [ end, error ] =
      std::from_chars( digits.data(), digits.data() + digits.size(), value, hex ? 16 : 10 );
  return error == std::errc() && end == digits.data() + digits.size() ? std::optional( value )
                                                                      : std::nullopt;
}

U32 numberUpTo( U32 max, const std::string & word, const std::string & what ) {
  const auto value = anyNumber( word );
  if ( !value || *value > max )
    failText( fmt::format( "{} is a number from 0 to {}, not {}", what, max, word ) );
  return static_cast< U32 >( *value );
}

struct Endpoint {
  std::optional< U32 > ip;
  std::optional< Ip6Address > ip6;
  std::optional< U16 > port;
};

Endpoint endpointOf( const std::string & word ) {
  Endpoint point;
  if ( ( point.ip6 = ip6FromText( word ) ) )
    return point;
  const bool brackets = word.starts_with( '[' );
  const size_t close = word.find( ']' );
  const std::string address = brackets && close != std::string::npos
                                  ? word.substr( 1, close - 1 )
                                  : word.substr( 0, word.find( ':' ) );
  std::string rest = word.substr( address.size() + ( brackets ? 2 : 0 ) );
  if ( brackets )
    point.ip6 = ip6FromText( address );
  else
    point.ip = ip4FromText( address );
  if ( ( !point.ip && !point.ip6 ) || ( !rest.empty() && rest[ 0 ] != ':' ) )
    failText(
        fmt::format( "{} is no address: A.B.C.D[:PORT] or [IPV6][:PORT] is expected", word ) );
  if ( rest.empty() )
    return point;
  rest.erase( 0, 1 );
  point.port = portFromText( rest );
  if ( !point.port )
    point.port = static_cast< U16 >( numberUpTo( 0xFFFF, rest, "a port" ) );
  return point;
}

// One text. Steps are declared in execution order.
class Reader {
 public:
  explicit Reader( const std::string & text ) : words_( wordsOf( text ) ) {}
  TextPacket read();

 private:
  void readWord();
  bool readKeyword( const std::string & word );
  bool readTag( const std::string & word );
  bool readIp( const std::string & word );
  void readProtocol( const std::string & word );
  void readIcmp();
  void readFlags( const std::string & word );
  void resolve();
  void resolveIp();
  void resolvePorts();
  void resolveIcmp();
  U32 icmpOf( bool ip6 ) const;

  bool atArrow( size_t index ) const { return index < words_.size() && words_[ index ] == ">"; }
  const std::string & value( const std::string & of );
  void once( const std::string & what );
  bool has( const char * what ) const { return seen_.contains( what ); }
  void require( bool met, const char * what, const char * needs ) const {
    if ( has( what ) && !met )
      failText( fmt::format( "{} needs {}", what, needs ) );
  }

  const std::vector< std::string > words_;
  size_t next_ = 0;
  std::set< std::string > seen_;
  TextPacket packet_;
  Endpoint source_;
  Endpoint destination_;
  bool icmpByName_ = false;
  std::string icmp_;  // the type in words; empty: not given
  std::optional< U32 > code_;
};

TextPacket Reader::read() {
  if ( words_.empty() )
    failText( "a packet in words is expected, e.g. \"in 3 tcp 10.0.0.1:1024 > 192.0.2.9:443\"" );
  while ( next_ < words_.size() )
    readWord();
  resolve();
  return packet_;
}

const std::string & Reader::value( const std::string & of ) {
  if ( next_ == words_.size() )
    failText( fmt::format( "a value is expected after {}", of ) );
  return words_[ next_++ ];
}

void Reader::once( const std::string & what ) {
  if ( !seen_.insert( what ).second )
    failText( fmt::format( "{} is given twice", what ) );
}

void Reader::readWord() {
  const std::string & word = words_[ next_++ ];
  if ( word == ">" )
    failText( "an address is expected before >" );
  if ( atArrow( next_ ) ) {
    once( "A > B" );
    source_ = endpointOf( word );
    ++next_;
    destination_ = endpointOf( value( ">" ) );
    return;
  }
  if ( !readKeyword( word ) && !readTag( word ) && !readIp( word ) )
    readProtocol( word );
}

bool Reader::readKeyword( const std::string & word ) {
  PacketFields & fields = packet_.fields;
  if ( word == "in" || word == "out" ) {
    once( word );
    ( word == "in" ? packet_.inPort : packet_.outPort ) = value( word );
  } else if ( word == "smac" || word == "dmac" ) {
    once( word );
    const std::string & text = value( word );
    const auto mac = macFromText( text );
    if ( !mac )
      failText(
          fmt::format( "{} {}: six bytes are expected, e.g. 02:00:5e:00:00:01", word, text ) );
    ( word == "smac" ? fields.sourceMac : fields.destinationMac ) = *mac;
  } else if ( word == "type" ) {
    once( "the ICMP type" );
    icmp_ = value( word );
  } else if ( word == "code" ) {
    once( word );
    code_ = numberUpTo( 0xFF, value( word ), "an ICMP code" );
  } else if ( word == "ethertype" ) {
    once( word );
    const std::string & text = value( word );
    const auto named = etherTypeFromText( text );
    fields.etherType =
        named ? *named : static_cast< U16 >( numberUpTo( 0xFFFF, text, "an ethertype" ) );
  } else {
    return false;
  }
  return true;
}

bool Reader::readTag( const std::string & word ) {
  PacketFields & fields = packet_.fields;
  if ( word != "vlan" && word != "pcp" && word != "inner" )
    return false;
  once( word );
  const U32 number = numberUpTo( word == "pcp" ? 7 : 0xFFF, value( word ), word );
  if ( word == "pcp" )
    fields.vlanPriority = static_cast< U8 >( number );
  else
    ( word == "vlan" ? fields.vlan : fields.innerVlan ) = static_cast< U16 >( number );
  return true;
}

bool Reader::readIp( const std::string & word ) {
  PacketFields & fields = packet_.fields;
  if ( word == "flags" ) {
    once( word );
    readFlags( value( word ) );
  } else if ( word == "fragment" ) {
    once( word );
    const std::string & text = value( word );
    if ( text != "first" && text != "later" )
      failText( fmt::format( "fragment is first or later, not {}", text ) );
    fields.fragment = text == "first" ? FragmentKind::first : FragmentKind::later;
  } else if ( word == "cut" ) {
    once( word );
    fields.cut = true;
  } else if ( word == "dscp" ) {
    once( word );
    const std::string & text = value( word );
    const auto named = dscpFromText( text );
    fields.trafficClass |= static_cast< U8 >(
        4 * ( named ? *named : numberUpTo( 63, text, "dscp, unless a class," ) ) );
  } else if ( word == "ecn" ) {
    once( word );
    fields.trafficClass |= static_cast< U8 >( numberUpTo( 3, value( word ), word ) );
  } else if ( word == "ttl" ) {
    once( word );
    fields.hopLimit = static_cast< U8 >( numberUpTo( 255, value( word ), word ) );
  } else {
    return false;
  }
  return true;
}

void Reader::readFlags( const std::string & word ) {
  U8 & flags = packet_.fields.tcpFlags;
  if ( const auto byte = anyNumber( word ) ) {
    flags = static_cast< U8 >( numberUpTo( 0xFF, word, "the byte of flags" ) );
    return;
  }
  for ( size_t at = 0; at <= word.size(); ) {
    const size_t comma = std::min( word.find( ',', at ), word.size() );
    const std::string name = word.substr( at, comma - at );
    const auto flag = tcpFlagFromText( name );
    if ( !flag )
      failText(
          fmt::format( "there is no TCP flag \"{}\": fin, syn, rst, psh, ack, urg, ece, cwr "
                       "with commas, or a byte are expected",
                       name ) );
    flags |= *flag;
    at = comma + 1;
  }
}

void Reader::readProtocol( const std::string & word ) {
  const auto named = protocolFromText( word );
  const auto number = anyNumber( word );
  if ( !named && !number ) {
    std::vector< std::string > known = {
        "in",   "out",  "vlan", "pcp", "inner", "flags",    "icmp",      "dscp", "ecn",  "ttl",
        "smac", "dmac", "tcp",  "udp", "gre",   "fragment", "ethertype", "type", "code", "cut" };
    for ( const std::string_view name : protocolNames() )
      known.emplace_back( name );
    failText( fmt::format( "unknown word {}{}", word, suggestion( word, known ) ) );
  }
  once( "the protocol" );
  packet_.fields.protocol =
      named ? *named : static_cast< U8 >( numberUpTo( 0xFF, word, "a protocol" ) );
  icmpByName_ = named == protocolIcmp;
  if ( named == protocolIcmp || named == protocolIcmp6 )
    readIcmp();
}

// The type, if the next word is one.
void Reader::readIcmp() {
  if ( next_ == words_.size() || atArrow( next_ + 1 ) )
    return;
  const std::string & word = words_[ next_ ];
  const bool number = anyNumber( word.substr( 0, word.find( '/' ) ) ).has_value();
  if ( !number && !icmpTypeFromText( AclKind::ipv4, word ) &&
       !icmpTypeFromText( AclKind::ipv6, word ) )
    return;
  once( "the ICMP type" );
  icmp_ = word;
  ++next_;
}

// --- What the words say together -------------------------------------------------------------

void Reader::resolve() {
  const bool ip = has( "A > B" );
  for ( const char * what :
        { "the protocol", "the ICMP type", "flags", "fragment", "cut", "dscp", "ecn", "ttl" } )
    require( ip, what, "addresses: A > B" );
  require( has( "the ICMP type" ), "code", "the ICMP type" );
  require( !ip, "ethertype", "a packet without addresses: theirs gives it" );
  const bool tagged = has( "vlan" );
  require( tagged, "pcp", "vlan" );
  require( tagged, "inner", "vlan" );
  if ( ip )
    resolveIp();
  else
    packet_.fields.l3 = L3Kind::other;
}

void Reader::resolveIp() {
  PacketFields & fields = packet_.fields;
  if ( source_.ip.has_value() != destination_.ip.has_value() )
    failText( "one address is IPv4, the other IPv6" );
  if ( !has( "the protocol" ) )
    failText( "the protocol is missing: tcp, udp, icmp, another name or a number" );
  if ( source_.ip ) {
    fields.sourceIp = *source_.ip;
    fields.destinationIp = *destination_.ip;
  } else {
    fields.l3 = L3Kind::ipv6;
    fields.source6 = *source_.ip6;
    fields.destination6 = *destination_.ip6;
  }
  resolvePorts();
  resolveIcmp();
}

void Reader::resolvePorts() {
  PacketFields & fields = packet_.fields;
  const bool l4 = fields.fragment != FragmentKind::later && !fields.cut;
  const bool ports = source_.port || destination_.port;
  if ( ports && !fields.hasPorts() )
    failText( "ports need the protocol tcp or udp" );
  require( fields.protocol == protocolTcp, "flags", "the protocol tcp" );
  if ( !l4 && ( ports || has( "flags" ) || !icmp_.empty() ) )
    failText( fmt::format( "a {} has no ports, flags or ICMP type",
                           fields.cut ? "cut packet" : "later fragment" ) );
  fields.sourcePort = source_.port.value_or( 0 );
  fields.destinationPort = destination_.port.value_or( 0 );
}

void Reader::resolveIcmp() {
  PacketFields & fields = packet_.fields;
  const bool ip6 = fields.l3 == L3Kind::ipv6;
  if ( icmpByName_ && ip6 )
    fields.protocol = protocolIcmp6;
  require( fields.protocol == protocolIcmp || fields.protocol == protocolIcmp6, "the ICMP type",
           "the protocol icmp" );
  if ( !icmp_.empty() )
    fields.icmpTypeCode = static_cast< U16 >( icmpOf( ip6 ) );
}

// Type and code. The code may be in the word for the type.
U32 Reader::icmpOf( bool ip6 ) const {
  const auto withCode = [ this ]( U32 typeCode, bool hasCode ) {
    if ( hasCode && code_ )
      failText( "code is given twice" );
    return typeCode | code_.value_or( 0 );
  };
  if ( const auto named = icmpTypeFromText( ip6 ? AclKind::ipv6 : AclKind::ipv4, icmp_ ) )
    return withCode( named->value, ( named->mask & 0xFF ) != 0 );
  const size_t slash = std::min( icmp_.find( '/' ), icmp_.size() );
  const std::string type = icmp_.substr( 0, slash );
  if ( !anyNumber( type ) )
    failText( fmt::format( "{} is a type of {} only", icmp_, ip6 ? "ICMP" : "ICMPv6" ) );
  const U32 code =
      slash == icmp_.size() ? 0 : numberUpTo( 0xFF, icmp_.substr( slash + 1 ), "an ICMP code" );
  return withCode( numberUpTo( 0xFF, type, "an ICMP type" ) << 8 | code, slash != icmp_.size() );
}

// --- Words of a packet -------------------------------------------------------------------------

std::string endpointWord( const PacketFields & fields, U32 ip, const Ip6Address & ip6, U16 port ) {
  const bool ports = fields.hasPorts() && !fields.cut && fields.fragment != FragmentKind::later;
  const bool isIp6 = fields.l3 == L3Kind::ipv6;
  const std::string address = isIp6 ? ip6Text( ip6 ) : ip4Text( ip );
  if ( !ports )
    return address;
  return fmt::format( "{}{}{}:{}", isIp6 ? "[" : "", address, isIp6 ? "]" : "", port );
}

std::string l4Words( const PacketFields & fields ) {
  const bool ip6 = fields.l3 == L3Kind::ipv6;
  std::string text;
  // By name, it would be ICMPv6.
  text += ip6 && fields.protocol == protocolIcmp ? std::to_string( protocolIcmp )
                                                 : protocolText( fields.protocol );
  text += " " + endpointWord( fields, fields.sourceIp, fields.source6, fields.sourcePort ) + " > " +
          endpointWord( fields, fields.destinationIp, fields.destination6, fields.destinationPort );
  if ( fields.protocol == protocolTcp && fields.tcpFlags != 0 )
    text += " flags " + tcpFlagsText( fields.tcpFlags );
  const bool icmp = fields.protocol == protocolIcmp || fields.protocol == protocolIcmp6;
  const U32 code = fields.icmpTypeCode & 0xFF;
  if ( icmp && fields.icmpTypeCode != 0 )
    text += fmt::format( " type {}{}", fields.icmpTypeCode >> 8,
                         code == 0 ? "" : fmt::format( "/{}", code ) );
  if ( fields.fragment != FragmentKind::whole )
    text += fields.fragment == FragmentKind::first ? " fragment first" : " fragment later";
  return text + ( fields.cut ? " cut" : "" );
}

std::string ipWords( const PacketFields & fields ) {
  std::string text = l4Words( fields );
  const auto add = [ & ]( const char * word, U32 value, U32 usual ) {
    if ( value != usual )
      text += fmt::format( " {} {}", word, value );
  };
  add( "dscp", fields.trafficClass >> 2, 0 );
  add( "ecn", fields.trafficClass & 3, 0 );
  add( "ttl", fields.hopLimit, PacketFields().hopLimit );
  return text;
}

}  // namespace

TextPacket packetFromText( const std::string & text ) {
  return Reader( text ).read();
}

std::string packetWords( const TextPacket & packet ) {
  const PacketFields & fields = packet.fields;
  std::string text;
  if ( packet.inPort )
    text += fmt::format( "in {} ", *packet.inPort );
  if ( packet.outPort )
    text += fmt::format( "out {} ", *packet.outPort );
  text += fields.l3 == L3Kind::other ? fmt::format( "ethertype {:#06x}", fields.etherType )
                                     : ipWords( fields );
  if ( fields.vlan )
    text += fmt::format( " vlan {}", *fields.vlan );
  if ( fields.vlanPriority != 0 )
    text += fmt::format( " pcp {}", fields.vlanPriority );
  if ( fields.innerVlan )
    text += fmt::format( " inner {}", *fields.innerVlan );
  if ( fields.sourceMac != PacketFields().sourceMac )
    text += " smac " + macText( fields.sourceMac );
  if ( fields.destinationMac != PacketFields().destinationMac )
    text += " dmac " + macText( fields.destinationMac );
  return text;
}

}  // namespace Agent
