// Every SDK operation as a function that makes the call and returns its result with the call as
// text, arguments included:
//
//   calls.bcm_field_entry_create_id( 0, 0x1, 0x10003 )
//     -> { "bcm_field_entry_create_id( 0, 0x1, 0x10003 )", -14 }
//
// Locks: takes the SDK lock for each call.
#pragma once

#include <ostream>
#include <string>
#include <type_traits>

#include "shim/SdkCall.h"

namespace SdkCheck {

using namespace Kiv::Integers;

struct Outcome {
  std::string call;
  int rc;
};

namespace Internal {

// Numbers below 1000 are counts and small ids; above, ids with pipe and copy bits.
std::string textOfNumber( U64 value );

// Unlisted records.
template < class T >
std::string textOf( const T & ) {
  return "{..}";
}
template < class T >
requires( std::is_integral_v< T > || std::is_enum_v< T > ) std::string textOf( const T & value ) {
  const auto number = static_cast< S64 >( value );
  return number < 0 ? std::to_string( number ) : textOfNumber( static_cast< U64 >( number ) );
}
template < class T >
std::string textOf( T * const & pointer ) {
  if constexpr ( std::is_same_v< T, bcm_field_group_config_t > )
    return "{group " + textOf( pointer->group ) + "}";
  else if constexpr ( std::is_same_v< T, bcm_field_data_qualifier_s > )
    return "{offset " + textOf( pointer->offset ) + ", length " + textOf( pointer->length ) + "}";
  else if constexpr ( std::is_integral_v< T > )
    return "&" + textOf( *pointer );
  else
    return "{..}";
}

}  // namespace Internal

// "-14 (BCM_E_RESOURCE)"
std::string textOfCode( int rc );

class Calls {
 public:
  explicit Calls( Shim::SdkShim & sdk ) : sdk_( sdk ) {}

#define SDK_OP( name, params, args )                                      \
  Outcome name( U32 unit SDK_UNPACK params ) const {                      \
    const Shim::SdkLockGuard lock( sdk_ );                                \
    const int rc = sdk_.name( unit SDK_UNPACK args );                     \
    return { #name "( " + textOfAll( unit SDK_UNPACK args ) + " )", rc }; \
  }
#define SDK_QUERY( name )       \
  bool name( U32 unit ) const { \
    return sdk_.name( unit );   \
  }
#include "shim/SdkOperations.inc"
  const char * errorText( int rc ) const {
    return sdk_.sdkErrorText( rc );
  }

 private:
  template < class First, class... Rest >
  static std::string textOfAll( const First & first, const Rest &... rest ) {
    std::string text = Internal::textOf( first );
    ( ( text += ", " + Internal::textOf( rest ) ), ... );
    return text;
  }

  Shim::SdkShim & sdk_;
};

}  // namespace SdkCheck
