#include "agent/read/RouterCliRule.h"

#include <fmt/core.h>

#include <algorithm>
#include <optional>
#include <span>

#include "agent/acl/AddressText.h"
#include "agent/acl/Names.h"
#include "agent/read/MatchSets.h"
#include "platform/NearNames.h"

namespace Agent {

namespace {

using Ranges = std::vector< AnyRange >;
using Word = std::string_view;

constexpr size_t valuesMax = 64;  // of one operator; routers have ten

struct Named {
  Word name;
  U8 value;
};

constexpr Named precedences[] = {
    { "routine", 0 },        { "priority", 1 }, { "immediate", 2 }, { "flash", 3 },
    { "flash-override", 4 }, { "critical", 5 }, { "internet", 6 },  { "network", 7 },
};

constexpr Named services[] = {
    { "normal", 0 },         { "min-monetary-cost", 1 }, { "max-reliability", 2 },
    { "max-throughput", 4 }, { "min-delay", 8 },
};

bool isObjectGroup( Word word ) {
  return sameWord( word, "object-group" ) || sameWord( word, "addrgroup" ) ||
         sameWord( word, "portgroup" ) || sameWord( word, "object" ) ||
         sameWord( word, "net-group" ) || sameWord( word, "port-group" );
}

bool isOperator( Word word ) {
  for ( const Word known : { "eq", "neq", "lt", "gt", "range" } )
    if ( sameWord( word, known ) )
      return true;
  return false;
}

class CliRuleReader {
 public:
  CliRuleReader( WordReader & words, CliList form )
      : words_( words ), form_( form ), rule_( result_.rule ) {}

  CliRule read();

 private:
  using Option = void ( CliRuleReader::* )();
  struct OptionName {
    Word name;
    Option read;
  };
  static const OptionName options[];

  AclKind kind() const { return form_ == CliList::ipv6 ? AclKind::ipv6 : AclKind::ipv4; }
  bool is( U8 protocol ) const { return protocol_ == protocol; }

  void action();
  void protocol();
  void address( bool source );
  TernaryBits ip4( Word word, const std::string & what );
  TernaryBits ip6( Word word, const std::string & what );
  void set( FieldId field, const std::vector< TernaryBits > & matches );
  void ports( FieldId field );
  Ranges ranges( bool ports, U32 max );
  bool isValue( Word word, bool ports ) const;
  U32 value( Word word, bool ports, U32 max ) const;
  U8 named( const Named * begin, const Named * end, const std::string & what, U32 max );

  void option();
  void established();
  void fragments();
  void dscp();
  void precedence();
  void tos();
  void ttl();
  void log();
  void matchAny();
  void matchAll();
  // "+ack": the flag must be set; "-ack": it must be clear.
  std::vector< TernaryBits > signedFlags();
  std::string optionsLike( Word word ) const;
  void needTcp() const;
  bool icmp( Word word );
  void finish();

  WordReader & words_;
  const CliList form_;
  CliRule result_;
  AclRule & rule_;
  std::optional< U8 > protocol_;
  std::vector< TernaryBits > flags_;  // without match-any and match-all
};

const CliRuleReader::OptionName CliRuleReader::options[] = {
    { "established", &CliRuleReader::established },
    { "fragments", &CliRuleReader::fragments },
    { "dscp", &CliRuleReader::dscp },
    { "precedence", &CliRuleReader::precedence },
    { "tos", &CliRuleReader::tos },
    { "ttl", &CliRuleReader::ttl },
    { "log", &CliRuleReader::log },
    { "log-input", &CliRuleReader::log },
    { "match-any", &CliRuleReader::matchAny },
    { "match-all", &CliRuleReader::matchAll },
};

CliRule CliRuleReader::read() {
  action();
  if ( form_ == CliList::standard ) {
    address( true );
  } else {
    protocol();
    address( true );
    ports( FieldId::sourcePorts );
    address( false );
    ports( FieldId::destinationPorts );
  }
  while ( !words_.done() )
    option();
  finish();
  return std::move( result_ );
}

void CliRuleReader::action() {
  const Word word = words_.next( "permit or deny" );
  rule_.line = words_.place().line;
  rule_.column = words_.place().column;
  if ( sameWord( word, "deny" ) )
    rule_.forwarding = Forwarding::drop;
  else if ( !sameWord( word, "permit" ) )
    words_.fail( fmt::format( "\"{}\" where permit or deny is expected", word ) );
}

void CliRuleReader::protocol() {
  const Word word = words_.next( "the protocol" );
  if ( isObjectGroup( word ) )
    words_.fail( fmt::format( "object groups ({}) are not read", word ) );
  const bool ip6 = kind() == AclKind::ipv6;
  if ( sameWord( word, ip6 ? "ipv6" : "ip" ) || ( !ip6 && sameWord( word, "ipv4" ) ) )
    return;
  if ( isNumber( word ) )
    protocol_ = static_cast< U8 >( words_.numberIn( word, "protocol", 0xFF ) );
  else
    protocol_ = protocolFromText( word );
  if ( !protocol_ )
    words_.failName( "protocol", word, protocolNames() );
  if ( ip6 && sameWord( word, "icmp" ) )
    protocol_ = protocolIcmp6;
  rule_.protocol = { *protocol_, 0xFF };
}

void CliRuleReader::set( FieldId field, const std::vector< TernaryBits > & matches ) {
  if ( restricts( matchField( field ), rule_ ) )
    words_.fail( fmt::format( "{} is matched twice", matchField( field ).name ) );
  setMatches( rule_, field, matches );
}

void CliRuleReader::address( bool source ) {
  const std::string what = source ? "the source" : "the destination";
  const Word word = words_.next( what );
  if ( isObjectGroup( word ) )
    words_.fail( fmt::format( "object groups ({}) are not read", word ) );
  if ( sameWord( word, "any" ) )
    return;
  if ( kind() == AclKind::ipv6 )
    set( source ? FieldId::source6 : FieldId::destination6, { ip6( word, what ) } );
  else
    set( source ? FieldId::source : FieldId::destination, { ip4( word, what ) } );
}

// host ADDRESS, ADDRESS/LENGTH, ADDRESS WILDCARD; in a standard list an address alone is a host.
TernaryBits CliRuleReader::ip4( Word word, const std::string & what ) {
  const bool host = sameWord( word, "host" );
  if ( host )
    word = words_.next( what );
  const size_t slash = std::min( word.find( '/' ), word.size() );
  const auto address = ip4FromText( word.substr( 0, slash ) );
  if ( !address || ( host && slash != word.size() ) )
    words_.fail( fmt::format( "{} \"{}\" is not an IPv4 address", what, word ) );
  U32 mask = 0xFFFFFFFF;
  const bool alone = form_ == CliList::standard && !ip4FromText( words_.peek() );
  if ( slash != word.size() ) {
    mask = prefix4( 0, words_.numberIn( word.substr( slash + 1 ), "the length", 32 ) ).mask;
  } else if ( !host && !alone ) {
    const Word wildcard = words_.next( "the wildcard mask of " + what );
    const auto bits = ip4FromText( wildcard );
    if ( !bits )
      words_.fail(
          fmt::format( "\"{}\" where the wildcard mask of {} is expected", wildcard, what ) );
    mask = ~*bits;
  }
  if ( ( *address & ~mask ) != 0 )
    words_.fail(
        fmt::format( "{} {} has bits that its mask leaves open", what, ip4Text( *address ) ) );
  return exactly( *address, mask );
}

// host ADDRESS or ADDRESS/LENGTH.
TernaryBits CliRuleReader::ip6( Word word, const std::string & what ) {
  const bool host = sameWord( word, "host" );
  if ( host )
    word = words_.next( what );
  const size_t slash = std::min( word.find( '/' ), word.size() );
  const auto address = ip6FromText( std::string( word.substr( 0, slash ) ) );
  if ( !address || host != ( slash == word.size() ) )
    words_.fail( fmt::format( "{} \"{}\" is neither any, host ADDRESS nor ADDRESS/LENGTH of IPv6",
                              what, word ) );
  const U32 length = host ? 128 : words_.numberIn( word.substr( slash + 1 ), "the length", 128 );
  const auto match = prefix6( *address, length );
  if ( match.value != *address )
    words_.fail( fmt::format( "{} {} has bits beyond its length", what, word ) );
  return ternary( match );
}

void CliRuleReader::ports( FieldId field ) {
  if ( !isOperator( words_.peek() ) )
    return;
  setRanges( rule_, field, presentPorts( ranges( true, 0xFFFF ) ) );
  if ( !is( protocolTcp ) && !is( protocolUdp ) )
    words_.fail( "ports need the protocol tcp or udp" );
}

bool CliRuleReader::isValue( Word word, bool ports ) const {
  return isNumber( word ) || ( ports && portFromText( word ) );
}

U32 CliRuleReader::value( Word word, bool ports, U32 max ) const {
  if ( const auto port = ports ? portFromText( word ) : std::nullopt )
    return *port;
  if ( ports && !isNumber( word.substr( 0, 1 ) ) )
    words_.failName( "port", word, serviceNames() );
  return words_.numberIn( word, "value", max );
}

// OPERATOR VALUE ..
Ranges CliRuleReader::ranges( bool ports, U32 max ) {
  const Word name = words_.next( "eq, neq, lt, gt or range" );
  if ( !isOperator( name ) )
    words_.fail( fmt::format( "\"{}\" where eq, neq, lt, gt or range is expected", name ) );
  const U32 first = value( words_.next( "a value" ), ports, max );
  if ( sameWord( name, "lt" ) || sameWord( name, "gt" ) ) {
    const bool below = sameWord( name, "lt" );
    if ( first == ( below ? 0 : max ) )
      words_.fail( fmt::format( "no value is {} {}", below ? "below" : "above", first ) );
    return { below ? AnyRange{ 0, first - 1 } : AnyRange{ first + 1, max } };
  }
  if ( sameWord( name, "range" ) ) {
    const U32 last = value( words_.next( "the end of the range" ), ports, max );
    if ( first > last )
      words_.fail( fmt::format( "the range {} to {} is empty", first, last ) );
    return { { first, last } };
  }
  Ranges values = { { first, first } };
  while ( isValue( words_.peek(), ports ) ) {
    const U32 other = value( words_.next( "a value" ), ports, max );
    values.push_back( { other, other } );
    if ( values.size() > valuesMax )
      words_.fail( fmt::format( "more than {} values", valuesMax ) );
  }
  return sameWord( name, "neq" ) ? complement( values, max ) : values;
}

void CliRuleReader::option() {
  const Word word = words_.next( "an option" );
  if ( isObjectGroup( word ) )
    words_.fail( fmt::format( "object groups ({}) are not read", word ) );
  for ( const OptionName & known : options )
    if ( sameWord( word, known.name ) &&
         ( form_ != CliList::standard || known.read == &CliRuleReader::log ) )
      return ( this->*known.read )();
  const auto flag = is( protocolTcp ) ? tcpFlagFromText( word ) : std::nullopt;
  if ( !flag && !icmp( word ) )
    words_.fail(
        fmt::format( "\"{}\" is not read here; there are {}", word, optionsLike( word ) ) );
  if ( !flag )
    return;
  const TernaryBits match = exactly( *flag, *flag );
  if ( std::find( flags_.begin(), flags_.end(), match ) != flags_.end() )
    words_.fail( fmt::format( "{} is named twice", word ) );
  flags_.push_back( match );
}

std::string CliRuleReader::optionsLike( Word word ) const {
  std::vector< Word > names;
  for ( const OptionName & known : options )
    if ( form_ != CliList::standard || known.read == &CliRuleReader::log )
      names.push_back( known.name );
  std::vector< Word > more;
  if ( is( protocolTcp ) )
    more = tcpFlagNames();
  if ( is( kind() == AclKind::ipv6 ? protocolIcmp6 : protocolIcmp ) )
    more = icmpTypeNames( kind() );
  names.insert( names.end(), more.begin(), more.end() );
  return Platform::nearNames( std::move( names ), word );
}

void CliRuleReader::needTcp() const {
  if ( !is( protocolTcp ) )
    words_.fail( "TCP flags need the protocol tcp" );
}

void CliRuleReader::established() {
  needTcp();
  set( FieldId::tcpFlags, establishedFlags() );
}

void CliRuleReader::fragments() {
  rule_.fragments = Fragments::later;
}

void CliRuleReader::dscp() {
  const Word word = words_.next( "the DSCP" );
  const auto name = dscpFromText( word );
  if ( !name && !isNumber( word ) )
    words_.failName( "DSCP", word, dscpNames() );
  const U32 value = name ? *name : words_.numberIn( word, "the DSCP", 63 );
  set( FieldId::dscp, { exactly( value, 0x3F ) } );
}

U8 CliRuleReader::named( const Named * begin, const Named * end, const std::string & what,
                         U32 max ) {
  const Word word = words_.next( what );
  for ( const Named * known = begin; known != end; ++known )
    if ( sameWord( word, known->name ) )
      return known->value;
  if ( !isNumber( word ) )
    words_.fail( fmt::format( "{} is not \"{}\"; there are {}", what, word,
                              Platform::nearRows( std::span( begin, end ), word ) ) );
  return static_cast< U8 >( words_.numberIn( word, what, max ) );
}

// The upper three bits of the DSCP.
void CliRuleReader::precedence() {
  const U8 value = named( std::begin( precedences ), std::end( precedences ), "the precedence", 7 );
  if ( ( rule_.dscp.mask & 0x38 ) != 0 )
    words_.fail( "the precedence is matched twice" );
  rule_.dscp.value |= static_cast< U8 >( value << 3 );
  rule_.dscp.mask |= 0x38;
}

// Four bits: the lower three of the DSCP and the upper one of the ECN.
void CliRuleReader::tos() {
  const U8 value = named( std::begin( services ), std::end( services ), "the type of service", 15 );
  if ( ( rule_.dscp.mask & 0x07 ) != 0 )
    words_.fail( "the type of service is matched twice" );
  rule_.dscp.value |= value >> 1;
  rule_.dscp.mask |= 0x07;
  rule_.ecn = { static_cast< U8 >( value << 1 & 0x02 ), 0x02 };
}

void CliRuleReader::ttl() {
  if ( restricts( matchField( FieldId::ttl ), rule_ ) )
    words_.fail( "the TTL is matched twice" );
  setRanges( rule_, FieldId::ttl, ranges( false, 0xFF ) );
}

void CliRuleReader::log() {
  result_.logs = true;
}

std::vector< TernaryBits > CliRuleReader::signedFlags() {
  needTcp();
  std::vector< TernaryBits > flags;
  U64 named = 0;
  while ( words_.peek().starts_with( '+' ) || words_.peek().starts_with( '-' ) ) {
    const Word word = words_.next( "a flag" );
    const auto flag = tcpFlagFromText( word.substr( 1 ) );
    if ( !flag || ( named & *flag ) != 0 )
      words_.fail( fmt::format( "\"{}\" is not a flag, or named twice", word ) );
    named |= *flag;
    flags.push_back( exactly( word.front() == '+' ? *flag : 0, *flag ) );
  }
  if ( flags.empty() )
    words_.fail( "flags such as +syn -ack are missing" );
  return flags;
}

void CliRuleReader::matchAny() {
  set( FieldId::tcpFlags, signedFlags() );
}

void CliRuleReader::matchAll() {
  TernaryBits all;
  for ( const TernaryBits & flag : signedFlags() ) {
    all.value.low |= flag.value.low;
    all.mask.low |= flag.mask.low;
  }
  set( FieldId::tcpFlags, { all } );
}

// TYPE [CODE], or a name. False if it is none of them.
bool CliRuleReader::icmp( Word word ) {
  if ( !is( kind() == AclKind::ipv6 ? protocolIcmp6 : protocolIcmp ) )
    return false;
  if ( const auto match = icmpTypeFromText( kind(), word ) ) {
    set( FieldId::icmp, { ternary( *match ) } );
    return true;
  }
  if ( !isNumber( word ) )
    return false;
  TernaryBits match = exactly( words_.numberIn( word, "ICMP type", 0xFF ) << 8, 0xFF00 );
  if ( isNumber( words_.peek() ) )
    match = exactly( match.value.low | words_.number( "ICMP code", 0xFF ), 0xFFFF );
  set( FieldId::icmp, { match } );
  return true;
}

void CliRuleReader::finish() {
  if ( !flags_.empty() ) {
    set( FieldId::tcpFlags, flags_ );
    result_.anyFlag = flags_.size() > 1;
  }
  if ( rule_.fragments == Fragments::any )
    return;
  for ( const MatchField & field : matchFields() )
    if ( field.needs != FieldNeeds::nothing && restricts( field, rule_ ) )
      words_.fail( fmt::format( "later fragments have no {}", field.name ) );
}

}  // namespace

CliRule readCliRule( WordReader & words, CliList form ) {
  return CliRuleReader( words, form ).read();
}

}  // namespace Agent
