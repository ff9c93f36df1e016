#include "agent/read/ClassBenchReader.h"

#include <fmt/core.h>

#include "agent/read/LineReader.h"
#include "platform/InputError.h"

namespace Agent {

namespace {

constexpr size_t columnsMin = 9;  // words up to the protocol
constexpr size_t protocolColumn = 8;

FieldMatch< U32 > readPrefix( const LineReader & reader, std::string_view word,
                              const std::string & what ) {
  const auto [ address, length ] = reader.split( word, '/', what );
  const U32 bits = reader.address( address, what );
  const FieldMatch< U32 > prefix = prefix4( bits, reader.decimal( length, 32, what + " length" ) );
  if ( ( bits & ~prefix.mask ) != 0 )
    reader.fail( word, fmt::format( "{} \"{}\" has bits beyond its length", what, word ) );
  return prefix;
}

// Three words: low, a colon, high.
PortRange readPorts( const LineReader & reader, const std::string_view * words,
                     const std::string & what ) {
  PortRange ports;
  ports.low = static_cast< U16 >( reader.decimal( words[ 0 ], 0xFFFF, what ) );
  if ( words[ 1 ] != ":" )
    reader.fail( words[ 1 ],
                 fmt::format( "{}: \"{}\" where a colon is expected", what, words[ 1 ] ) );
  ports.high = static_cast< U16 >( reader.decimal( words[ 2 ], 0xFFFF, what ) );
  if ( ports.low > ports.high )
    reader.fail( words[ 0 ], fmt::format( "{}: {} is above {}", what, ports.low, ports.high ) );
  return ports;
}

void readProtocol( const LineReader & reader, std::string_view word, AclRule & rule ) {
  const auto [ value, mask ] = reader.split( word, '/', "protocol" );
  const auto protocol = static_cast< U8 >( reader.hex( value, 0xFF, "protocol" ) );
  const U32 bits = reader.hex( mask, 0xFF, "protocol mask" );
  if ( bits != 0 && bits != 0xFF )
    reader.fail( mask, fmt::format( "protocol mask \"{}\" is neither 0x00 nor 0xFF", mask ) );
  if ( bits != 0 )
    rule.protocol = { protocol, 0xFF };
}

void readHeaderBits( const LineReader & reader, std::string_view word, bool first,
                     AclRule & rule ) {
  const auto [ valueText, maskText ] = reader.split( word, '/', "header bits" );
  const auto value = static_cast< U16 >( reader.hex( valueText, 0xFFFF, "header bits" ) );
  const auto mask = static_cast< U16 >( reader.hex( maskText, 0xFFFF, "header bits mask" ) );
  if ( mask == 0 )
    return;
  if ( first && rule.isFor( protocolIcmp ) )
    rule.icmpTypeCode = { static_cast< U16 >( value & mask ), mask };
  else if ( first && rule.isFor( protocolTcp ) && ( mask & 0xFF ) == 0 )
    rule.tcpFlags = { static_cast< U8 >( ( value & mask ) >> 8 ), static_cast< U8 >( mask >> 8 ) };
  else
    reader.fail( word,
                 fmt::format( "header bits \"{}\" are not supported for this protocol", word ) );
}

AclRule readRule( const std::string & file, const TextLine & line ) {
  const LineReader reader( file, line );
  const auto & words = line.words;
  if ( !words[ 0 ].starts_with( '@' ) )
    reader.fail( "a rule must begin with '@'" );
  if ( words.size() < columnsMin )
    reader.fail( "a rule has prefixes, ports and a protocol: columns are missing" );
  AclRule rule;
  rule.line = line.number;
  rule.column = static_cast< U32 >( words[ 0 ].data() - line.text.data() ) + 1;
  rule.source = readPrefix( reader, words[ 0 ].substr( 1 ), "source" );
  rule.destination = readPrefix( reader, words[ 1 ], "destination" );
  rule.sourcePorts = readPorts( reader, &words[ 2 ], "source ports" );
  rule.destinationPorts = readPorts( reader, &words[ 5 ], "destination ports" );
  readProtocol( reader, words[ protocolColumn ], rule );
  for ( size_t i = columnsMin; i < words.size(); ++i )
    readHeaderBits( reader, words[ i ], i == columnsMin, rule );
  return rule;
}

}  // namespace

Acl parseClassBench( const std::string & name, const std::string & file,
                     const std::string & text ) {
  Acl acl;
  acl.name = name;
  acl.file = file;
  for ( WordLines lines( text ); lines.next(); )
    acl.rules.push_back( readRule( file, lines.line() ) );
  if ( acl.rules.empty() )
    throw Platform::InputError( file, 0, "there are no rules" );
  return acl;
}

bool isClassBench( const AclSource & source ) {
  return source.text[ source.text.find_first_not_of( " \t\r\n" ) ] == '@';
}

void readClassBench( const AclSource & source, AclDocument & document ) {
  Acl acl;
  acl.name = source.name;
  acl.file = source.file;
  size_t index = 0;
  for ( WordLines lines( source.text ); lines.next(); ++index ) {
    document.progress.at( lines.line().text.data() );
    document.refusals.guard(
        acl.name, [ & ] { return fmt::format( "rule {}", index + 1 ); },
        [ & ] {
          AclRule rule = readRule( source.file, lines.line() );
          document.requireRoom( acl.name, acl.rules.size(), { rule.line, rule.column } );
          acl.rules.push_back( std::move( rule ) );
        } );
  }
  if ( !acl.rules.empty() || document.refusals.count() != 0 )
    document.lists.push_back( std::move( acl ) );
}

}  // namespace Agent
