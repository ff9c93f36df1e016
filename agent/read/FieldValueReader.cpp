#include "agent/read/FieldValueReader.h"

#include <fmt/core.h>

#include <charconv>

#include "agent/acl/AddressText.h"
#include "agent/acl/Names.h"
#include "agent/acl/PoliceRate.h"
#include "agent/acl/RuleText.h"
#include "agent/read/MatchSets.h"
#include "platform/NearNames.h"

namespace Agent {

namespace {

using Platform::JsonFields;
using Platform::JsonNode;

using Matches = std::vector< TernaryBits >;
using Ranges = std::vector< AnyRange >;

// "0x" followed by hexadecimal digits.
std::optional< U32 > hexFromText( std::string_view text ) {
  U32 value = 0;
  if ( !text.starts_with( "0x" ) || text.size() == 2 )
    return std::nullopt;
  const auto [ end, error ] =
      std::from_chars( text.data() + 2, text.data() + text.size(), value, 16 );
  if ( error != std::errc() || end != text.data() + text.size() )
    return std::nullopt;
  return value;
}

// One field of one rule.
class FieldValueReader {
 public:
  FieldValueReader( JsonFields & fields, AclKind kind, const MatchField & field, AclRule & rule )
      : fields_( fields ), kind_( kind ), field_( field ), rule_( rule ) {}

  void read( const JsonNode & node );

 private:
  [[noreturn]] void fail( const JsonNode & node, std::string_view expected ) const;
  std::vector< std::string_view > names() const;
  // "(NAMES)" that are most like the value.
  std::string namesLike( const JsonNode & node ) const;
  const std::string & textOf( const JsonNode & node, std::string_view expected ) const;
  U32 largest() const { return ( 1U << field_.width ) - 1; }
  std::optional< U32 > number( const std::string & text ) const;

  void readOne( const JsonNode & node, Matches & matches, Ranges & ranges ) const;
  TernaryBits ip4( const JsonNode & node ) const;
  TernaryBits ip6( const JsonNode & node ) const;
  TernaryBits mac( const JsonNode & node ) const;
  TernaryBits named( const JsonNode & node ) const;
  void flags( const JsonNode & node, Matches & matches ) const;
  TernaryBits flagNames( const JsonNode & node ) const;
  TernaryBits icmp( const JsonNode & node ) const;
  Ranges range( const JsonNode & node ) const;
  [[noreturn]] void failRange( const JsonNode & node ) const;
  Fragments fragments( const JsonNode & node ) const;

  JsonFields & fields_;
  const AclKind kind_;
  const MatchField & field_;
  AclRule & rule_;
};

void FieldValueReader::fail( const JsonNode & node, std::string_view expected ) const {
  fields_.fail( node.place(), fmt::format( "\"{}\" must be {}, not {}", field_.name, expected,
                                           Platform::jsonShown( node ) ) );
}

std::vector< std::string_view > FieldValueReader::names() const {
  switch ( field_.text ) {
    case FieldText::protocol:
      return protocolNames();
    case FieldText::etherType:
      return etherTypeNames();
    case FieldText::dscp:
      return dscpNames();
    case FieldText::icmp:
      return icmpTypeNames( kind_ );
    case FieldText::ports:
      return serviceNames();
    default:
      return {};
  }
}

std::string FieldValueReader::namesLike( const JsonNode & node ) const {
  return fmt::format( "({})", Platform::nearNames( names(), node.string ) );
}

const std::string & FieldValueReader::textOf( const JsonNode & node,
                                              std::string_view expected ) const {
  if ( node.kind != JsonNode::Kind::string )
    fail( node, expected );
  return jsonText( fields_.file(), node, fmt::format( "\"{}\"", field_.name ) );
}

void FieldValueReader::read( const JsonNode & node ) {
  if ( field_.text == FieldText::fragments ) {
    rule_.fragments = fragments( node );
    return;
  }
  Matches matches;
  Ranges ranges;
  if ( node.kind != JsonNode::Kind::array )
    readOne( node, matches, ranges );
  for ( const JsonNode & element : node.elements )
    readOne( element, matches, ranges );
  if ( matches.empty() && ranges.empty() )
    fields_.fail( node.place(), fmt::format( "\"{}\" is an empty list", field_.name ) );
  if ( field_.isRange() )
    setRanges( rule_, field_.id, ranges );
  else
    setMatches( rule_, field_.id, matches );
}

void FieldValueReader::readOne( const JsonNode & node, Matches & matches, Ranges & ranges ) const {
  switch ( field_.text ) {
    case FieldText::ip4Prefix:
      return matches.push_back( ip4( node ) );
    case FieldText::ip6Prefix:
      return matches.push_back( ip6( node ) );
    case FieldText::mac:
      return matches.push_back( mac( node ) );
    case FieldText::protocol:
    case FieldText::etherType:
    case FieldText::dscp:
      return matches.push_back( named( node ) );
    case FieldText::flags:
      return flags( node, matches );
    case FieldText::icmp:
      return matches.push_back( icmp( node ) );
    case FieldText::number:
      for ( const AnyRange & part : range( node ) )
        for ( const TernaryBits & match : prefixesOf( part, field_.width ) )
          matches.push_back( match );
      return;
    default:
      for ( const AnyRange & part : range( node ) )
        ranges.push_back( part );
  }
}

// ADDRESS, ADDRESS/LENGTH or ADDRESS/MASK.
TernaryBits FieldValueReader::ip4( const JsonNode & node ) const {
  constexpr std::string_view expected = "an address, ADDRESS/0 to ADDRESS/32, or ADDRESS/MASK";
  const std::string & text = textOf( node, expected );
  const size_t slash = std::min( text.find( '/' ), text.size() );
  const std::string rest = text.substr( std::min( slash + 1, text.size() ) );
  const auto address = ip4FromText( text.substr( 0, slash ) );
  const auto length = slash == text.size() ? std::optional< U64 >( 32 ) : numberFromText( rest );
  auto mask = ip4FromText( rest );
  if ( length && *length <= 32 )
    mask = prefix4( 0, static_cast< U32 >( *length ) ).mask;
  if ( !address || !mask )
    fail( node, expected );
  if ( ( *address & ~*mask ) != 0 )
    fail( node, "without bits outside its mask" );
  return ternary( FieldMatch< U32 >{ *address, *mask } );
}

TernaryBits FieldValueReader::ip6( const JsonNode & node ) const {
  constexpr std::string_view expected = "an address, ADDRESS/0 to ADDRESS/128, or ADDRESS/MASK";
  const std::string & text = textOf( node, expected );
  const size_t slash = std::min( text.find( '/' ), text.size() );
  const std::string rest = text.substr( std::min( slash + 1, text.size() ) );
  const auto address = ip6FromText( text.substr( 0, slash ) );
  const auto length = slash == text.size() ? std::optional< U64 >( 128 ) : numberFromText( rest );
  auto mask = ip6FromText( rest );
  if ( length && *length <= 128 )
    mask = prefix6( {}, static_cast< U32 >( *length ) ).mask;
  if ( !address || !mask )
    fail( node, expected );
  for ( U32 i = 0; i < 16; ++i )
    if ( ( ( *address )[ i ] & ~( *mask )[ i ] ) != 0 )
      fail( node, "without bits outside its mask" );
  return ternary( FieldMatch< Ip6Address >{ *address, *mask } );
}

// ADDRESS or ADDRESS/MASK.
TernaryBits FieldValueReader::mac( const JsonNode & node ) const {
  constexpr std::string_view expected = "a MAC address, or ADDRESS/MASK";
  const std::string & text = textOf( node, expected );
  const size_t slash = std::min( text.find( '/' ), text.size() );
  const auto value = macFromText( std::string_view( text ).substr( 0, slash ) );
  const auto mask = slash == text.size()
                        ? std::optional< U64 >( 0xFFFFFFFFFFFF )
                        : macFromText( std::string_view( text ).substr( slash + 1 ) );
  if ( !value || !mask )
    fail( node, expected );
  if ( ( *value & ~*mask ) != 0 )
    fail( node, "without bits outside its mask" );
  return exactly( *value, *mask );
}

// A number or a name; an Ethernet type is a hexadecimal text or a name.
TernaryBits FieldValueReader::named( const JsonNode & node ) const {
  const bool type = field_.text == FieldText::etherType;
  std::optional< U32 > value;
  if ( node.kind == JsonNode::Kind::integer && !type && node.integer >= 0 &&
       node.integer <= largest() ) {
    value = static_cast< U32 >( node.integer );
  } else if ( node.kind == JsonNode::Kind::string ) {
    value = type ? hexFromText( node.string ) : std::nullopt;
    if ( !value )
      value = number( node.string );
  }
  if ( type && ( !value || *value < 0x600 || *value > 0xFFFF ) )
    fail( node, "a type of \"0x600\" to \"0xffff\" (what is below is a length), or its name " +
                    namesLike( node ) );
  if ( !value )
    fail( node, fmt::format( "a whole number from 0 to {}, or a name {}", largest(),
                             namesLike( node ) ) );
  return exactly( *value, largest() );
}

// The number of a name.
std::optional< U32 > FieldValueReader::number( const std::string & text ) const {
  switch ( field_.text ) {
    case FieldText::protocol:
      return protocolFromText( text );
    case FieldText::etherType:
      return etherTypeFromText( text );
    case FieldText::dscp:
      return dscpFromText( text );
    case FieldText::ports:
      return portFromText( text );
    default:
      return std::nullopt;
  }
}

// { "value", "mask" }, "established", or names of flags.
void FieldValueReader::flags( const JsonNode & node, Matches & matches ) const {
  if ( node.kind == JsonNode::Kind::string && node.string == "established" ) {
    matches.push_back( exactly( tcpAck, tcpAck ) );
    matches.push_back( exactly( tcpReset, tcpReset ) );
    return;
  }
  if ( node.kind == JsonNode::Kind::string )
    return matches.push_back( flagNames( node ) );
  JsonFields object( fields_.file(), node, fmt::format( "\"{}\"", field_.name ) );
  const auto byte = [ & ]( const char * key ) {
    const auto bits = hexFromText( object.text( key, "0xff" ) );
    if ( !bits || *bits > 0xFF )
      object.fail( object.place( key ),
                   fmt::format( "\"{}\" must be a text from \"0x0\" to \"0xff\"", key ) );
    return *bits;
  };
  const U32 mask = byte( "mask" );
  if ( object.find( "value" ) == nullptr )
    object.text( "value" );  // fails: it is required
  const U32 value = byte( "value" );
  if ( ( value & ~mask ) != 0 )
    object.fail( object.place( "value" ), "\"value\" has bits outside of the mask" );
  matches.push_back( exactly( value, mask ) );
  object.finish();
}

// "syn+!ack": all flags named are set, those after '!' clear.
TernaryBits FieldValueReader::flagNames( const JsonNode & node ) const {
  TernaryBits match;
  std::string_view rest = node.string;
  while ( true ) {
    const size_t end = rest.find( '+' );
    std::string_view name = rest.substr( 0, end );
    const bool clear = name.starts_with( '!' );
    name.remove_prefix( clear ? 1 : 0 );
    const auto flag = tcpFlagFromText( name );
    if ( !flag || ( match.mask.low & *flag ) != 0 )
      fail( node,
            fmt::format( "an object, established, or names ({}) such as \"syn+!ack\", each once",
                         Platform::nearNames( tcpFlagNames(), name ) ) );
    match.mask.low |= *flag;
    match.value.low |= clear ? 0 : *flag;
    if ( end == std::string_view::npos )
      return match;
    rest.remove_prefix( end + 1 );
  }
}

// { "type", "code" }, or the name of a type.
TernaryBits FieldValueReader::icmp( const JsonNode & node ) const {
  if ( node.kind == JsonNode::Kind::string ) {
    const auto match = icmpTypeFromText( kind_, node.string );
    if ( !match )
      fail( node, fmt::format( "an object, or the name of a type of {} lists {}", kindName( kind_ ),
                               namesLike( node ) ) );
    return ternary( *match );
  }
  JsonFields object( fields_.file(), node, fmt::format( "\"{}\"", field_.name ) );
  TernaryBits match = exactly( object.number( "type", 0, 0xFF ) << 8, 0xFF00 );
  if ( object.find( "code" ) != nullptr )
    match = exactly( match.value.low | object.number( "code", 0, 0xFF ), 0xFFFF );
  object.finish();
  return match;
}

void FieldValueReader::failRange( const JsonNode & node ) const {
  const bool ports = field_.text == FieldText::ports && node.kind == JsonNode::Kind::string;
  fail( node,
        fmt::format( "a whole number from 0 to {}, \"LOW-HIGH\", \"<N\", \">N\" or \"!N\"{}",
                     largest(), ports ? ", of ports or services " + namesLike( node ) : "" ) );
}

// A number, "LOW-HIGH", "<NUMBER", ">NUMBER" or "!NUMBER"; a port can be the name of a service.
Ranges FieldValueReader::range( const JsonNode & node ) const {
  if ( node.kind == JsonNode::Kind::integer ) {
    if ( node.integer < 0 || node.integer > largest() )
      failRange( node );
    const auto value = static_cast< U32 >( node.integer );
    return { { value, value } };
  }
  if ( node.kind != JsonNode::Kind::string )
    failRange( node );
  const std::string & text = node.string;
  const char mark = text.empty() ? '\0' : text.front();
  const auto end = [ & ]( const std::string & part ) {
    const auto digits = numberFromText( part );
    const auto named = digits ? std::nullopt : number( part );
    const auto value = named ? std::optional< U64 >( *named ) : digits;
    if ( !value || *value > largest() )
      failRange( node );
    return static_cast< U32 >( *value );
  };
  Ranges ranges;
  if ( mark == '<' || mark == '>' || mark == '!' ) {
    const U32 value = end( text.substr( 1 ) );
    if ( mark != '>' && value != 0 )
      ranges.push_back( { 0, value - 1 } );
    if ( mark != '<' && value != largest() )
      ranges.push_back( { value + 1, largest() } );
  } else {
    const size_t dash = number( text ) ? text.size() : std::min( text.find( '-' ), text.size() );
    const U32 low = end( text.substr( 0, dash ) );
    const U32 high = dash == text.size() ? low : end( text.substr( dash + 1 ) );
    ranges.push_back( { low, high } );
  }
  if ( ranges.empty() || ranges.front().low > ranges.front().high )
    failRange( node );
  return ranges;
}

Fragments FieldValueReader::fragments( const JsonNode & node ) const {
  std::string known;
  for ( U8 i = 0; i <= static_cast< U8 >( Fragments::notLater ); ++i ) {
    if ( node.kind == JsonNode::Kind::string && node.string == fragmentsName( Fragments( i ) ) )
      return Fragments( i );
    known += fmt::format( "{}{}", known.empty() ? "" : ", ", fragmentsName( Fragments( i ) ) );
  }
  fail( node, "one of " + known );
}

}  // namespace

void readFieldValue( JsonFields & fields, AclKind kind, const MatchField & field,
                     const JsonNode & node, AclRule & rule ) {
  FieldValueReader( fields, kind, field, rule ).read( node );
}

}  // namespace Agent
