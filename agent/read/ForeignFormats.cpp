#include "agent/read/ForeignFormats.h"

#include <algorithm>
#include <array>
#include <span>

namespace Agent {

namespace {

using Platform::JsonNode;
using Words = std::array< std::string_view, 3 >;

constexpr std::string_view captures[] = {
    // pcap with microseconds, with nanoseconds and of patched libpcaps, in both byte orders.
    "\xA1\xB2\xC3\xD4",
    "\xD4\xC3\xB2\xA1",
    "\xA1\xB2\x3C\x4D",
    "\x4D\x3C\xB2\xA1",
    "\xA1\xB2\xCD\x34",
    "\x34\xCD\xB2\xA1",
    "\x0A\x0D\x0D\x0A",  // pcapng
    "snoop",
    "GMBU",  // Network Monitor
};

constexpr std::string_view compressed[] = {
    "\x1F\x8B",          // gzip
    "\x28\xB5\x2F\xFD",  // zstd
};

bool beginsWith( std::string_view bytes, std::span< const std::string_view > magics ) {
  return std::any_of(
      magics.begin(), magics.end(),
      [ & ]( std::string_view magic ) { return bytes.starts_with( magic ); } );
}

bool isBlank( char c ) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

std::string_view lineAt( std::string_view text ) {
  return text.substr( 0, std::min( text.find_first_of( "\r\n" ), text.size() ) );
}

// The first line that is neither blank nor a comment.
std::string_view firstLine( std::string_view text ) {
  while ( !text.empty() ) {
    text.remove_prefix( std::min( text.find_first_not_of( " \t\r\n" ), text.size() ) );
    const bool comment = text.starts_with( '#' ) || text.starts_with( "//" );
    const std::string_view line = lineAt( text );
    if ( !comment && !line.empty() )
      return line;
    text.remove_prefix( line.size() );
  }
  return {};
}

// The first words of a line.
Words wordsOf( std::string_view line ) {
  Words words;
  for ( std::string_view & word : words ) {
    const auto begin = std::find_if_not( line.begin(), line.end(), isBlank );
    const auto end = std::find_if( begin, line.end(), isBlank );
    word = { begin, end };
    line = { end, line.end() };
  }
  return words;
}

bool isOneOf( std::string_view word, std::initializer_list< std::string_view > known ) {
  return std::find( known.begin(), known.end(), word ) != known.end();
}

bool isNftText( const Words & words ) {
  if ( words[ 0 ] == "table" )
    return isOneOf( words[ 1 ], { "ip", "ip6", "inet", "arp", "bridge", "netdev" } );
  return isOneOf( words[ 0 ], { "flush", "add", "define" } ) &&
         isOneOf( words[ 1 ], { "ruleset", "table", "chain", "rule" } );
}

const char * foreignText( std::string_view text ) {
  if ( text.starts_with( "#!" ) && lineAt( text ).find( "nft" ) != text.npos )
    return "an nft script";
  const std::string_view line = firstLine( text );
  const Words words = wordsOf( line );
  if ( line.starts_with( '<' ) )
    return "XML";
  if ( isNftText( words ) )
    return "an nft ruleset";
  if ( isOneOf( words[ 0 ], { "module", "submodule" } ) && words[ 2 ].starts_with( '{' ) )
    return "a YANG module";
  if ( line == "---" || line.starts_with( "%YAML" ) )
    return "YAML";
  if ( isOneOf( words[ 0 ], { "header", "term" } ) && line.ends_with( '{' ) )
    return "a policy of a generator: read what it renders";
  if ( words[ 0 ] == "firewall" || ( words[ 0 ] == "set" && words[ 1 ] == "firewall" ) )
    return "a hierarchical firewall configuration";
  if ( isCompressed( text ) )
    return "a compressed file";
  return nullptr;
}

const char * foreignJson( const JsonNode & root ) {
  for ( const auto & [ name, value ] : root.members ) {
    if ( name == "nftables" )
      return "an nft ruleset in JSON";
    if ( name == "yang-library" || name.starts_with( "ietf-yang-library:" ) )
      return "a YANG library";
    if ( name == "$schema" )
      return "a JSON schema";
  }
  return nullptr;
}

}  // namespace

bool isCapture( std::string_view bytes ) {
  return beginsWith( bytes, captures );
}

bool isCompressed( std::string_view bytes ) {
  return beginsWith( bytes, compressed );
}

const char * foreignFormat( const AclSource & source ) {
  return source.root == nullptr ? foreignText( source.text ) : foreignJson( *source.root );
}

}  // namespace Agent
