#include "agent/acl/RuleText.h"

#include <fmt/core.h>

#include <bit>
#include <utility>

#include "agent/acl/AddressText.h"
#include "agent/acl/Names.h"

namespace Agent {

namespace {

// The length of a mask without holes; empty: it has some.
std::optional< U32 > prefixLength( const FieldBits & mask, U32 width ) {
  const auto ones = static_cast< U32 >( std::popcount( mask.high ) + std::popcount( mask.low ) );
  const U32 zeros = width - ones;
  const auto trailing = static_cast< U32 >( mask.low != 0 ? std::countr_zero( mask.low )
                                                          : 64 + std::countr_zero( mask.high ) );
  return ones == 0 || trailing == zeros ? std::optional( ones ) : std::nullopt;
}

// "TYPE", "TYPE/CODE" or "any/CODE"; all that the mask allows, "3,11", if they are few.
std::string icmpText( const TernaryBits & match ) {
  constexpr int fewBits = 3;
  const U64 mask = match.mask.low;
  const bool anyType = mask >> 8 == 0;
  const bool anyCode = ( mask & 0xFF ) == 0;
  const U64 open = ~mask & ( ( anyType ? 0U : 0xFF00U ) | ( anyCode ? 0U : 0xFFU ) );
  if ( std::popcount( open ) > fewBits )
    return fmt::format( "{:#x}/{:#x}", match.value.low, mask );
  std::string text;
  U64 choice = 0;  // of the open bits
  do {
    const U64 value = match.value.low | choice;
    text += ( text.empty() ? "" : "," ) + ( anyType ? "any" : std::to_string( value >> 8 ) ) +
            ( anyCode ? "" : fmt::format( "/{}", value & 0xFF ) );
    choice = ( choice - open ) & open;
  } while ( choice != 0 );
  return text;
}

// "+syn-ack": bits that are set, and bits that are not; "=syn,ack": the whole byte.
std::string flagsText( const TernaryBits & match ) {
  if ( match.mask.low == 0xFF )
    return "=" + tcpFlagsText( static_cast< U8 >( match.value.low ) );
  std::string text;
  for ( U32 bit = 1; bit <= 0x80; bit *= 2 )
    if ( ( match.mask.low & bit ) != 0 )
      text +=
          ( ( match.value.low & bit ) != 0 ? "+" : "-" ) + tcpFlagsText( static_cast< U8 >( bit ) );
  return text;
}

std::string matchText( const MatchField & field, const TernaryBits & match ) {
  if ( field.text == FieldText::icmp )
    return icmpText( match );
  if ( field.text == FieldText::flags )
    return flagsText( match );
  const std::string value = valueText( field, match.value );
  const auto length = prefixLength( match.mask, field.width );
  if ( length == field.width || field.text == FieldText::fragments )
    return value;
  const bool address = field.text == FieldText::ip4Prefix || field.text == FieldText::ip6Prefix;
  if ( address && length )
    return fmt::format( "{}/{}", value, *length );
  if ( address || field.text == FieldText::mac )
    return fmt::format( "{}/{}", value, valueText( field, match.mask ) );
  return fmt::format( "{}/{:#x}", value, match.mask.low );
}

std::string textOf( FieldId id, const AclRule & rule ) {
  const MatchField & field = matchField( id );
  return restricts( field, rule ) ? fieldText( field, rule ) : "";
}

// "any", "10.0.0.0/8:80-90", "[2001:db8::/32]:80".
std::string endText( bool ip6, const std::string & addresses, const std::string & ports ) {
  const std::string text = addresses.empty() ? "any" : addresses;
  if ( ports.empty() )
    return text;
  const bool brackets = ip6 && !addresses.empty();
  return fmt::format( "{}{}{}:{}", brackets ? "[" : "", text, brackets ? "]" : "", ports );
}

// Protocol, addresses and ports.
std::string flowText( AclKind kind, const AclRule & rule ) {
  const bool ip6 = kind == AclKind::ipv6;
  const std::string protocol = textOf( FieldId::protocol, rule );
  const std::string source = textOf( ip6 ? FieldId::source6 : FieldId::source, rule );
  const std::string destination =
      textOf( ip6 ? FieldId::destination6 : FieldId::destination, rule );
  const std::string from = textOf( FieldId::sourcePorts, rule );
  const std::string to = textOf( FieldId::destinationPorts, rule );
  std::string text = protocol.empty() ? "" : " " + protocol;
  if ( !source.empty() || !destination.empty() || !from.empty() || !to.empty() )
    text +=
        fmt::format( " {} > {}", endText( ip6, source, from ), endText( ip6, destination, to ) );
  return text;
}

// Of the fields that flowText leaves out, by the names of packets in words.
constexpr std::pair< FieldId, const char * > wordedFields[] = {
    { FieldId::tcpFlags, "flags" },
    { FieldId::icmp, "type" },
    { FieldId::fragments, "fragments" },
    { FieldId::dscp, "dscp" },
    { FieldId::ecn, "ecn" },
    { FieldId::ttl, "ttl" },
    { FieldId::sourceMac, "smac" },
    { FieldId::destinationMac, "dmac" },
    { FieldId::etherType, "ethertype" },
    { FieldId::vlan, "vlan" },
    { FieldId::vlanPriority, "pcp" },
    { FieldId::innerVlan, "inner" },
    { FieldId::inPorts, "in" },
    { FieldId::outPorts, "out" },
};

}  // namespace

std::string valueText( const MatchField & field, const FieldBits & bits ) {
  switch ( field.text ) {
    case FieldText::ip4Prefix:
      return ip4Text( static_cast< U32 >( bits.low ) );
    case FieldText::ip6Prefix:
      return ip6Text( addressOf( bits ) );
    case FieldText::mac:
      return macText( bits.low );
    case FieldText::protocol:
      return protocolText( static_cast< U8 >( bits.low ) );
    case FieldText::flags:
      return tcpFlagsText( static_cast< U8 >( bits.low ) );
    case FieldText::icmp:
      return icmpText( { bits, { 0, 0xFFFF } } );
    case FieldText::etherType:
      return fmt::format( "{:#x}", bits.low );
    case FieldText::fragments:
      return fragmentsName( Fragments( bits.low ) );
    default:
      return std::to_string( bits.low );
  }
}

const char * fragmentsName( Fragments fragments ) {
  switch ( fragments ) {
    case Fragments::any:
      return "any";
    case Fragments::none:
      return "none";
    case Fragments::first:
      return "first";
    case Fragments::later:
      return "later";
    case Fragments::fragment:
      return "fragment";
    case Fragments::notLater:
      return "notLater";
  }
  return "unknown";
}

const char * forwardingName( Forwarding action ) {
  switch ( action ) {
    case Forwarding::none:
      return "none";
    case Forwarding::permit:
      return "permit";
    case Forwarding::drop:
      return "drop";
  }
  return "unknown";
}

std::string fieldText( const MatchField & field, const AclRule & rule ) {
  std::string text;
  const auto add = [ & ]( const std::string & part ) {
    text += ( text.empty() ? "" : "," ) + part;
  };
  if ( field.isRange() ) {
    for ( const AnyRange & range : rangesIn( field, rule ) )
      add( range.low == range.high ? std::to_string( range.low )
                                   : fmt::format( "{}-{}", range.low, range.high ) );
    return text;
  }
  for ( const TernaryBits & match : matchesIn( field, rule ) )
    add( matchText( field, match ) );
  return text;
}

std::string tcpFlagsText( U8 flags ) {
  constexpr const char * names[] = { "fin", "syn", "rst", "psh", "ack", "urg", "ece", "cwr" };
  std::string text;
  for ( U32 bit = 0; bit < 8; ++bit )
    if ( ( flags >> bit & 1 ) != 0 )
      text += ( text.empty() ? "" : "," ) + std::string( names[ bit ] );
  return text.empty() ? "none" : text;
}

std::string matchText( AclKind kind, const AclRule & rule ) {
  std::string text = kind == AclKind::mac ? "" : flowText( kind, rule );
  for ( const auto & [ id, word ] : wordedFields )
    if ( matchField( id ).isIn( kind ) && restricts( matchField( id ), rule ) )
      text += fmt::format( " {} {}", word, textOf( id, rule ) );
  for ( const UdfMatch & udf : rule.udf )
    text += fmt::format( " udf@{} {:#010x}/{:#010x}", udf.fromL3(), udf.value, udf.mask );
  return ( rule.name.empty() ? "" : rule.name + ": " ) +
         ( text.empty() ? "any" : text.substr( 1 ) );
}

std::string actionsText( const AclRule & rule ) {
  std::string text;
  if ( rule.forwarding != Forwarding::none )
    text = fmt::format( " {}", forwardingName( rule.forwarding ) );
  text += rule.copyToCpu ? " copyToCpu" : "";
  text += rule.mirror ? " mirror" : "";
  return text.empty() ? "none" : text.substr( 1 );
}

std::string ruleText( AclKind kind, const AclRule & rule ) {
  return matchText( kind, rule ) + " " + actionsText( rule );
}

}  // namespace Agent
