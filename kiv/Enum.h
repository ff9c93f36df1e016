// Flat enumerations from one list: enumerators, names and count cannot disagree.
//
//   #define PORT_MODES( X ) X( portModeDown ) X( portModeUp ) X( portModeTest )
//   KIV_ENUM( PortMode, PORT_MODES );
//
//   enumName( portModeUp )              "portModeUp"; null for a number without a name
//   Kiv::enumCount< PortMode >()        3
//   Kiv::enumValue< PortMode >( text )  by name; empty when no enumerator has it
//   out << portModeUp                   portModeUp; a number without a name as decimal
//   enumType( PortMode() )              the same for tools that know no C++ type
//
// The enumerators number from 0 in the order of the list; the underlying type is U32. At namespace
// scope only, since the functions are found through the enumeration's namespace.
#pragma once

#include <concepts>
#include <iosfwd>
#include <optional>
#include <span>
#include <string_view>
#include <type_traits>

#include "kiv/Export.h"
#include "kiv/Types.h"

#define KIV_ENUM_VALUE( name ) name,
#define KIV_ENUM_NAME( name ) #name,

#define KIV_ENUM( Type, LIST )                                                          \
  enum Type : Kiv::U32 { LIST( KIV_ENUM_VALUE ) };                                      \
  inline constexpr const char * Type##Names[] = { LIST( KIV_ENUM_NAME ) };              \
  constexpr Kiv::EnumType enumType( Type ) {                                            \
    return { #Type, Type##Names };                                                      \
  }                                                                                     \
  constexpr const char * enumName( Type value ) {                                       \
    return enumType( value ).valueName( value );                                        \
  }                                                                                     \
  [[maybe_unused]] inline std::ostream & operator<<( std::ostream & out, Type value ) { \
    return Kiv::writeEnum( out, enumType( value ), value );                             \
  }                                                                                     \
  static_assert( Kiv::enumCount< Type >() > 0 )

namespace Kiv {

// An enumeration as generic tools see it: names over unsigned 32-bit values.
class EnumType {
 public:
  constexpr EnumType( const char * name, std::span< const char * const > names )
      : name_( name ), names_( names ) {}

  constexpr const char * name() const { return name_; }
  // Enumerators.
  constexpr U32 size() const { return static_cast< U32 >( names_.size() ); }
  // Null for a number without a name.
  constexpr const char * valueName( U32 value ) const {
    return value < size() ? names_[ value ] : nullptr;
  }
  constexpr std::optional< U32 > value( std::string_view name ) const {
    for ( U32 value = 0; value < size(); ++value )
      if ( name == names_[ value ] )
        return value;
    return std::nullopt;
  }
  // The value of the enumerator at that place of the list, from 0; empty beyond the last.
  constexpr std::optional< U32 > valueAt( U32 sequence ) const {
    return sequence < size() ? std::optional( sequence ) : std::nullopt;
  }

 private:
  const char * name_;
  std::span< const char * const > names_;
};

// An enumeration that KIV_ENUM declared.
template < class E >
concept NamedEnum = std::is_enum_v< E > && requires {
  { enumType( E() ) } -> std::same_as< EnumType >;
};

KIV_API std::ostream & writeEnum( std::ostream & out, const EnumType & type, U32 value );

template < class E >
constexpr U32 enumCount() {
  return enumType( E() ).size();
}

template < class E >
constexpr std::optional< E > enumValue( std::string_view name ) {
  const std::optional< U32 > value = enumType( E() ).value( name );
  return value ? std::optional( static_cast< E >( *value ) ) : std::nullopt;
}

}  // namespace Kiv
