// The text form of values, for names, logs and generic tools. kiv/StrepParse.h is the way back.
//
//   integers            decimal; 8-bit ones too
//   bool                True, False
//   String8, Name       'quoted', with \\ \' \n \r \t and \xNN for other bytes outside 0x20-0x7e
//   enumerations        the enumerator's name, quoted by nothing; a number without name as decimal
//   value types         Value('Morvane::X', ** {'low': 1, 'high': 2})
//   arrays in them      [1, 2]
//   entities            the entity's name, quoted; None for a null pointer
#pragma once

#include <charconv>
#include <concepts>
#include <cstddef>
#include <string_view>
#include <tuple>
#include <type_traits>

#include "kiv/Export.h"
#include "kiv/Name.h"
#include "kiv/Ptr.h"
#include "kiv/String8.h"

namespace Kiv {

class Entity;

// The fields of a type, and its full name (kiv/ValueType.h). To be specialised for a type that
// cannot list them itself, such as a structure of a C header.
template < class T >
struct FieldsOf {};
template < class T >
requires requires {
  T::fields();
  { T::typeName } -> std::convertible_to< const char * >;
}
struct FieldsOf< T > {
  static constexpr const char * typeName = T::typeName;
  static constexpr auto fields() { return T::fields(); }
};

template < class T >
concept HasFields = requires {
  FieldsOf< T >::fields();
};

KIV_API String8 stringStrep( std::string_view text );
KIV_API String8 entityStrep( const Entity * entity );

template < class T >
String8 valueToStrep( const T & value );

inline String8 valueToStrep( const String8 & value ) {
  return stringStrep( value.view() );
}
inline String8 valueToStrep( const Name & value ) {
  return stringStrep( value.value().view() );
}
inline String8 valueToStrep( const char * value ) {
  return stringStrep( value ? value : "" );
}
inline String8 valueToStrep( bool value ) {
  return value ? "True" : "False";
}

template < class T >
requires std::is_class_v< T > String8 valueToStrep( T * entity ) {
  return entityStrep( entity );
}

template < class T >
String8 valueToStrep( const Ptr< T > & entity ) {
  return entityStrep( entity.get() );
}

template < std::integral T >
String8 integerStrep( T value ) {
  char digits[ 24 ];
  auto end = std::to_chars( digits, digits + sizeof digits, value ).ptr;
  return String8( std::string_view( digits, static_cast< std::size_t >( end - digits ) ) );
}

template < class T >
String8 enumStrep( T value ) {
  if constexpr ( requires { enumName( value ); } ) {
    if ( const char * name = enumName( value ) )
      return name;
  }
  return valueToStrep( static_cast< std::underlying_type_t< T > >( value ) );
}

template < HasFields T >
String8 fieldsStrep( const T & value ) {
  String8 text( "Value('" );
  text += FieldsOf< T >::typeName;
  text += "', ** {";
  const char * separator = "'";
  auto append = [ & ]( const auto & field ) {
    text += separator;
    text += field.name;
    text += "': ";
    text += valueToStrep( value.*field.member );
    separator = ", '";
  };
  std::apply( [ & ]( const auto &... field ) { ( append( field ), ... ); },
              FieldsOf< T >::fields() );
  return text += "})";
}

template < class T, std::size_t N >
String8 arrayStrep( const T ( &values )[ N ] ) {
  String8 text;
  const char * separator = "[";
  for ( const T & value : values ) {
    text += separator;
    text += valueToStrep( value );
    separator = ", ";
  }
  return text += "]";
}

template < class T >
String8 valueToStrep( const T & value ) {
  if constexpr ( std::is_bounded_array_v< T > )
    return arrayStrep( value );
  else if constexpr ( std::is_enum_v< T > )
    return enumStrep( value );
  else if constexpr ( std::integral< T > )
    return integerStrep( value );
  else
    return fieldsStrep( value );
}

}  // namespace Kiv
