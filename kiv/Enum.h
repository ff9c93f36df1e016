// Flat enumerations from one list: enumerators, names and count cannot disagree.
//
//   #define PORT_MODES( X ) X( portModeDown ) X( portModeUp ) X( portModeTest )
//   KIV_ENUM( PortMode, PORT_MODES );
//
//   enumName( portModeUp )              "portModeUp"; null for a number without a name
//   Kiv::enumCount< PortMode >()        3
//   Kiv::enumValue< PortMode >( text )  by name; empty when no enumerator has it
//
// The enumerators number from 0 in the order of the list; the underlying type is U32. At namespace
// scope only, since enumName is found through the enumeration's namespace.
#pragma once

#include <optional>
#include <span>
#include <string_view>
#include <type_traits>

#include "kiv/Types.h"

#define KIV_ENUM_VALUE( name ) name,
#define KIV_ENUM_NAME( name ) #name,

#define KIV_ENUM( Type, LIST )                                             \
  enum Type : Kiv::U32 { LIST( KIV_ENUM_VALUE ) };                         \
  inline constexpr const char * Type##Names[] = { LIST( KIV_ENUM_NAME ) }; \
  constexpr std::span< const char * const > enumNames( Type ) {            \
    return Type##Names;                                                    \
  }                                                                        \
  constexpr const char * enumName( Type value ) {                          \
    return Kiv::nameInList( Type##Names, value );                          \
  }                                                                        \
  static_assert( Kiv::enumCount< Type >() > 0 )

namespace Kiv {

constexpr const char * nameInList( std::span< const char * const > names, U32 value ) {
  return value < names.size() ? names[ value ] : nullptr;
}

template < class E >
constexpr U32 enumCount() {
  return static_cast< U32 >( enumNames( E() ).size() );
}

template < class E >
constexpr std::optional< E > enumValue( std::string_view name ) {
  for ( U32 value = 0; value < enumCount< E >(); ++value ) {
    if ( name == enumName( static_cast< E >( value ) ) ) {
      return static_cast< E >( value );
    }
  }
  return std::nullopt;
}

}  // namespace Kiv
