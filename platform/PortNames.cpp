#include "platform/PortNames.h"

#include <fmt/core.h>

#include <algorithm>
#include <charconv>

namespace Platform {

namespace {

constexpr std::string_view digits = "0123456789";

std::optional< U32 > portNamed( const PlatformData & platform, std::string_view text ) {
  const auto & names = platform.portNames;
  const auto named = std::find( names.begin(), names.end(), text );
  if ( named != names.end() )
    return static_cast< U32 >( named - names.begin() );
  U32 port = 0;
  const auto [ end, error ] = std::from_chars( text.data(), text.data() + text.size(), port );
  if ( error != std::errc() || end != text.data() + text.size() || port >= platform.chip.ports() )
    return std::nullopt;
  return port;
}

// The high end of a range, whose name may be cut to its digits.
std::optional< U32 > highPort( const PlatformData & platform, std::string_view low,
                               std::string_view high ) {
  const size_t stem = low.find_last_not_of( digits ) + 1;
  if ( stem != 0 && !high.empty() && high.find_first_not_of( digits ) == high.npos )
    return portNamed( platform, std::string( low.substr( 0, stem ) ).append( high ) );
  return portNamed( platform, high );
}

// Empty: the text is neither a port nor a range of ports. `low` is above `high` in a reversed
// range.
std::optional< PortSpan > spanOf( const PlatformData & platform, std::string_view text ) {
  if ( const auto port = portNamed( platform, text ) )
    return PortSpan{ *port, *port };
  // Names may have dashes too.
  for ( size_t dash = text.find( '-' ); dash != text.npos; dash = text.find( '-', dash + 1 ) ) {
    const std::string_view first = text.substr( 0, dash );
    const auto low = portNamed( platform, first );
    const auto high = highPort( platform, first, text.substr( dash + 1 ) );
    if ( low && high )
      return PortSpan{ *low, *high };
  }
  return std::nullopt;
}

}  // namespace

std::vector< std::string > portList( std::string_view text ) {
  std::vector< std::string > ports;
  for ( size_t at = 0; at <= text.size(); ) {
    const size_t comma = std::min( text.find( ',', at ), text.size() );
    ports.emplace_back( text.substr( at, comma - at ) );
    at = comma + 1;
  }
  return ports;
}

std::optional< PortSpan > portsOf( const PlatformData & platform, std::string_view text ) {
  const auto span = spanOf( platform, text );
  return span && span->low <= span->high ? span : std::nullopt;
}

std::string noPorts( const PlatformData & platform, std::string_view text ) {
  if ( spanOf( platform, text ) )
    return fmt::format( "the range {} is reversed", text );
  return fmt::format( "there is no port {}: {}", text, portsText( platform ) );
}

std::string portsText( const PlatformData & platform ) {
  std::string text =
      fmt::format( "{} has the ports 0 to {}", platform.name, platform.chip.ports() - 1 );
  if ( !platform.portNames.empty() )
    text +=
        fmt::format( ", by name {} to {}", platform.portNames.front(), platform.portNames.back() );
  return text;
}

}  // namespace Platform
