#include "agent/acl/RuleText.h"

#include <fmt/core.h>

#include <bit>

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

// "TYPE" or "TYPE/CODE".
std::string icmpText( const TernaryBits & match ) {
  const std::string type = std::to_string( match.value.low >> 8 );
  if ( match.mask.low == 0xFF00 )
    return type;
  if ( match.mask.low == 0xFFFF )
    return fmt::format( "{}/{}", type, match.value.low & 0xFF );
  return fmt::format( "{:#x}/{:#x}", match.value.low, match.mask.low );
}

std::string matchText( const MatchField & field, const TernaryBits & match ) {
  if ( field.text == FieldText::icmp )
    return icmpText( match );
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

std::string actionsText( const AclRule & rule ) {
  std::string text;
  if ( rule.forwarding != Forwarding::none )
    text = fmt::format( " {}", forwardingName( rule.forwarding ) );
  text += rule.copyToCpu ? " copyToCpu" : "";
  return text + ( rule.mirror ? " mirror" : "" );
}

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

std::string ruleText( AclKind kind, const AclRule & rule ) {
  std::string text = rule.name.empty() ? "" : rule.name + ":";
  for ( const MatchField & field : matchFields() )
    if ( field.isIn( kind ) && restricts( field, rule ) )
      text += fmt::format( " {}={}", field.name, fieldText( field, rule ) );
  for ( const UdfMatch & udf : rule.udf )
    text += fmt::format( " udf@{}={:#010x}/{:#010x}", udf.fromL3(), udf.value, udf.mask );
  text += actionsText( rule );
  return text.starts_with( ' ' ) ? text.substr( 1 ) : text;
}

}  // namespace Agent
