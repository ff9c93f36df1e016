#include "sdkcheck/Calls.h"

#include <cstdio>

namespace SdkCheck {

std::string Internal::textOfNumber( U64 value ) {
  char text[ 24 ];
  std::snprintf( text, sizeof text, value < 1000 ? "%llu" : "0x%llx",
                 static_cast< unsigned long long >( value ) );
  return text;
}

std::string textOfCode( int rc ) {
  static constexpr const char * names[] = {
      "BCM_E_NONE",   "BCM_E_INTERNAL", "BCM_E_MEMORY",    "BCM_E_UNIT",   "BCM_E_PARAM",
      "BCM_E_EMPTY",  "BCM_E_FULL",     "BCM_E_NOT_FOUND", "BCM_E_EXISTS", "BCM_E_TIMEOUT",
      "BCM_E_BUSY",   "BCM_E_FAIL",     "BCM_E_DISABLED",  "BCM_E_BADID",  "BCM_E_RESOURCE",
      "BCM_E_CONFIG", "BCM_E_UNAVAIL",  "BCM_E_INIT",      "BCM_E_PORT" };
  const std::string number = std::to_string( rc );
  if ( rc >= 0 || -rc >= static_cast< int >( std::size( names ) ) )
    return number;
  return number + " (" + names[ -rc ] + ")";
}

}  // namespace SdkCheck
