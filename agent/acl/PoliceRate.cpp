#include "agent/acl/PoliceRate.h"

#include <algorithm>
#include <charconv>

namespace Agent {

namespace {

constexpr U64 kbitsMax = 0xFFFFFFFF;
constexpr U64 bytesPerKbit = bitsPerKbit / 8;
constexpr U64 burstMin = 2000;
constexpr U64 burstsPerSecond = 100;

U64 factorOf( char suffix ) {
  switch ( suffix ) {
    case 'k':
      return 1'000;
    case 'M':
      return 1'000'000;
    case 'G':
      return 1'000'000'000;
    default:
      return 0;
  }
}

}  // namespace

std::optional< U64 > numberFromText( std::string_view text ) {
  U64 value = 0;
  const auto [ end, error ] = std::from_chars( text.data(), text.data() + text.size(), value );
  if ( text.empty() || error != std::errc() || end != text.data() + text.size() )
    return std::nullopt;
  return value;
}

std::optional< U64 > rateFromText( std::string_view text ) {
  const U64 suffix = text.empty() ? 0 : factorOf( text.back() );
  if ( suffix != 0 )
    text.remove_suffix( 1 );
  const U64 factor = suffix == 0 ? 1 : suffix;
  const auto value = numberFromText( text );
  if ( !value || *value == 0 || *value > kbitsMax * bitsPerKbit / factor )
    return std::nullopt;
  const U64 rate = *value * factor;
  return rate % bitsPerKbit == 0 ? std::optional( rate ) : std::nullopt;
}

std::optional< PoliceRate > policeRate( U64 bitsPerSecond, U64 burstBytes ) {
  if ( burstBytes == 0 )
    burstBytes = std::max( bitsPerSecond / 8 / burstsPerSecond, burstMin );
  if ( burstBytes > kbitsMax * bytesPerKbit )
    return std::nullopt;
  return PoliceRate{ bitsPerSecond,
                     ( burstBytes + bytesPerKbit - 1 ) / bytesPerKbit * bytesPerKbit };
}

}  // namespace Agent
