#include "agent/acl/AddressText.h"

#include <arpa/inet.h>
#include <fmt/core.h>

#include <charconv>

namespace Agent {

namespace {

// `count` separated numbers of one to `digits` digits, each at most 255.
std::optional< U64 > bytesFromText( std::string_view text, int count, char separator, int base,
                                    size_t digits ) {
  U64 value = 0;
  for ( int i = 0; i < count; ++i ) {
    const size_t end = i + 1 < count ? text.find( separator ) : text.size();
    if ( end == std::string_view::npos || end == 0 || end > digits )
      return std::nullopt;
    U32 byte = 0;
    const auto [ stop, error ] = std::from_chars( text.data(), text.data() + end, byte, base );
    if ( error != std::errc() || stop != text.data() + end || byte > 0xFF )
      return std::nullopt;
    value = value << 8 | byte;
    text.remove_prefix( std::min( end + 1, text.size() ) );
  }
  return value;
}

}  // namespace

std::string ip4Text( U32 address ) {
  return fmt::format( "{}.{}.{}.{}", address >> 24, address >> 16 & 0xFF, address >> 8 & 0xFF,
                      address & 0xFF );
}

std::string ip6Text( const Ip6Address & address ) {
  char text[ INET6_ADDRSTRLEN ] = {};
  inet_ntop( AF_INET6, address.data(), text, sizeof text );
  return text;
}

std::string macText( U64 mac ) {
  std::string text;
  for ( int shift = 40; shift >= 0; shift -= 8 )
    text += fmt::format( "{:02x}{}", mac >> shift & 0xFF, shift == 0 ? "" : ":" );
  return text;
}

std::optional< U32 > ip4FromText( std::string_view text ) {
  const auto value = bytesFromText( text, 4, '.', 10, 3 );
  if ( !value )
    return std::nullopt;
  return static_cast< U32 >( *value );
}

std::optional< Ip6Address > ip6FromText( const std::string & text ) {
  Ip6Address address;
  if ( inet_pton( AF_INET6, text.c_str(), address.data() ) != 1 )
    return std::nullopt;
  return address;
}

std::optional< U64 > macFromText( std::string_view text ) {
  return bytesFromText( text, 6, ':', 16, 2 );
}

}  // namespace Agent
