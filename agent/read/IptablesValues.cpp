#include "agent/read/IptablesValues.h"

#include <fmt/core.h>

#include <algorithm>
#include <charconv>

#include "agent/acl/AddressText.h"
#include "agent/acl/Names.h"

namespace Agent {

namespace {

using Word = std::string_view;
using Ranges = std::vector< AnyRange >;

constexpr size_t multiportMax = 15;

U32 port( const WordReader & words, Word text ) {
  const auto named = portFromText( text );
  if ( !named && !isNumber( text.substr( 0, 1 ) ) )
    words.failName( "port", text, serviceNames() );
  return named ? *named : words.numberIn( text, "port", 0xFFFF );
}

}  // namespace

std::vector< Word > partsOf( Word text, char separator ) {
  std::vector< Word > parts;
  for ( size_t end = text.find( separator ); end != text.npos; end = text.find( separator ) ) {
    parts.push_back( text.substr( 0, end ) );
    text.remove_prefix( end + 1 );
  }
  parts.push_back( text );
  return parts;
}

std::pair< Word, std::optional< Word > > splitAt( Word text, char separator ) {
  const size_t at = text.find( separator );
  if ( at == text.npos )
    return { text, std::nullopt };
  return { text.substr( 0, at ), text.substr( at + 1 ) };
}

FieldBits addressBits( const WordReader & words, bool ip6, Word text ) {
  const auto four = ip6 ? std::nullopt : ip4FromText( text );
  const auto six = ip6 ? ip6FromText( std::string( text ) ) : std::nullopt;
  if ( !four && !six )
    words.fail( fmt::format( "\"{}\" is not an IPv{} address", text, ip6 ? 6 : 4 ) );
  return six ? fieldBits( *six ) : FieldBits{ 0, *four };
}

TernaryBits prefixIn( const WordReader & words, bool ip6, Word text ) {
  const auto [ address, rest ] = splitAt( text, '/' );
  TernaryBits match = { addressBits( words, ip6, address ), {} };
  const U32 width = ip6 ? 128 : 32;
  if ( rest && !isNumber( *rest ) ) {
    match.mask = addressBits( words, ip6, *rest );
  } else {
    const U32 length = rest ? words.numberIn( *rest, "the length", width ) : width;
    match.mask =
        ip6 ? fieldBits( prefix6( {}, length ).mask ) : FieldBits{ 0, prefix4( 0, length ).mask };
  }
  if ( ( match.value.high & ~match.mask.high ) != 0 || ( match.value.low & ~match.mask.low ) != 0 )
    words.fail( fmt::format( "{} has bits that its mask leaves open", address ) );
  return match;
}

AnyRange portsIn( const WordReader & words, Word text ) {
  const size_t colon = text.find( ':' );
  if ( colon == text.npos )
    return { port( words, text ), port( words, text ) };
  const Word low = text.substr( 0, colon );
  const Word high = text.substr( colon + 1 );
  const AnyRange range = { low.empty() ? 0 : port( words, low ),
                           high.empty() ? 0xFFFF : port( words, high ) };
  if ( range.low > range.high )
    words.fail( fmt::format( "the range {} is empty", text ) );
  return range;
}

Ranges portList( WordReader & words ) {
  Ranges list;
  size_t count = 0;
  for ( const Word part : partsOf( words.next( "ports" ), ',' ) ) {
    list.push_back( portsIn( words, part ) );
    count += part.find( ':' ) == part.npos ? 1 : 2;
    if ( count > multiportMax )
      words.fail( fmt::format( "more than {} ports", multiportMax ) );
  }
  return list;
}

U8 flagList( const WordReader & words, Word text ) {
  if ( sameWord( text, "ALL" ) )
    return 0x3F;
  if ( sameWord( text, "NONE" ) )
    return 0;
  U8 flags = 0;
  for ( const Word name : partsOf( text, ',' ) ) {
    const auto flag = tcpFlagFromText( name );
    if ( !flag || *flag > 0x3F )
      words.failName( "TCP flag", name, tcpFlagNames() );
    flags |= *flag;
  }
  return flags;
}

TernaryBits dscpNumber( WordReader & words ) {
  Word word = words.next( "the DSCP" );
  U32 value = 64;
  const bool hex = word.starts_with( "0x" );
  const Word digits = word.substr( hex ? 2 : 0 );
  const char * end = digits.data() + digits.size();
  if ( std::from_chars( digits.data(), end, value, hex ? 16 : 10 ).ptr != end || value > 63 )
    words.fail( fmt::format( "the DSCP \"{}\" is not a number up to 63", word ) );
  return { { 0, value }, { 0, 0x3F } };
}

}  // namespace Agent
