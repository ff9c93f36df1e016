// The inverse of valueToStrep: values from their text form.
//
//   auto desc = Kiv::genericIfFromStrRep< Morvane::RangeCheckerDesc >( text );
//
// What valueToStrep prints is read back to the same value; little else is read: no blanks but the
// printed ones, no leading zeros, an enumerator by its name. Only \xNN may stand for a byte that is
// printed otherwise. docs/reflection.md lists the forms.
//
// Text of another form throws TypeException; a number outside the range of its type, or of the
// limits of its field (Kiv::Limits), throws RangeException, the latter with the limits' own
// message. Entities have a text form, their name, but cannot be read from it
// (NoImplementationException).
#pragma once

#include <concepts>
#include <cstddef>
#include <tuple>
#include <type_traits>

#include "kiv/Enum.h"
#include "kiv/Exception.h"
#include "kiv/Export.h"
#include "kiv/Ptr.h"
#include "kiv/StrepReader.h"
#include "kiv/ValueType.h"

namespace Kiv {

// "U32", "bool", "String8", an enumeration's own name, a value type's full name.
template < class T >
constexpr const char * typeName() {
  if constexpr ( std::is_same_v< T, bool > ) {
    return "bool";
  } else if constexpr ( std::integral< T > ) {
    constexpr const char * names[] = { "U8", "S8", "U16", "S16", "U32", "S32", "U64", "S64" };
    constexpr int log2 = sizeof( T ) == 1 ? 0 : sizeof( T ) == 2 ? 1 : sizeof( T ) == 4 ? 2 : 3;
    return names[ 2 * log2 + ( std::is_signed_v< T > ? 1 : 0 ) ];
  } else if constexpr ( NamedEnum< T > ) {
    return enumType( T() ).name();
  } else if constexpr ( std::is_enum_v< T > ) {
    return "enumeration";
  } else if constexpr ( std::is_same_v< T, String8 > ) {
    return "String8";
  } else if constexpr ( std::is_same_v< T, Name > ) {
    return "Name";
  } else if constexpr ( HasFields< T > ) {
    return FieldsOf< T >::typeName;
  } else {
    static_assert( std::is_same_v< T, Ptr< Entity > >,
                   "the type needs a text form: fields() and typeName (kiv/ValueType.h)" );
    return "entity";
  }
}

// Throws RangeException about a number outside the range of a type.
[[noreturn]] KIV_API void throwOutOfRange( const StrepInteger & number, const char * type );

template < class T >
T strepRead( StrepReader & reader );

template < std::integral T >
T strepReadInteger( StrepReader & reader, const Limits * limits ) {
  const StrepInteger number = reader.integer( typeName< T >() );
  if ( limits && !number.within( limits->low, limits->high ) )
    limits->refuse();
  if ( !number.fits< T >() )
    throwOutOfRange( number, typeName< T >() );
  return number.value< T >();
}

template < class T >
T strepReadEnum( StrepReader & reader ) {
  if constexpr ( NamedEnum< T > ) {
    StrepReader ahead = reader;
    if ( const auto value = enumValue< T >( ahead.word() ) ) {
      reader = ahead;
      return *value;
    }
  }
  // A number without a name; one that has a name is written by it.
  const StrepReader start = reader;
  const StrepInteger number = reader.integer( typeName< T >() );
  using Number = std::underlying_type_t< T >;
  if ( !number.fits< Number >() )
    throwOutOfRange( number, typeName< T >() );
  const T value = static_cast< T >( number.value< Number >() );
  if constexpr ( NamedEnum< T > ) {
    if ( const char * name = enumName( value ) )
      start.fail( name );
  }
  return value;
}

template < HasFields T >
T strepReadFields( StrepReader & reader ) {
  reader.expect( "Value('" );
  reader.expect( FieldsOf< T >::typeName );
  reader.expect( "', ** {" );
  T value{};
  const char * separator = "'";
  auto read = [ & ]< class M >( const Field< T, M > & field ) {
    reader.expect( separator );
    reader.expect( field.name );
    reader.expect( "': " );
    M & member = value.*field.member;
    if constexpr ( std::is_bounded_array_v< M > ) {
      const char * opening = "[";
      for ( auto & element : member ) {
        reader.expect( opening );
        element = strepRead< std::remove_extent_t< M > >( reader );
        opening = ", ";
      }
      reader.expect( "]" );
    } else if constexpr ( std::integral< M > && !std::is_same_v< M, bool > ) {
      member = strepReadInteger< M >( reader, field.limits );
    } else {
      member = strepRead< M >( reader );
    }
    separator = ", '";
  };
  std::apply( [ & ]( const auto &... field ) { ( read( field ), ... ); }, FieldsOf< T >::fields() );
  reader.expect( "})" );
  return value;
}

// Reads a value at the reader's position and moves the reader past it.
template < class T >
T strepRead( StrepReader & reader ) {
  if constexpr ( std::is_same_v< T, bool > ) {
    if ( reader.accept( "True" ) )
      return true;
    if ( !reader.accept( "False" ) )
      reader.fail( "True or False" );
    return false;
  } else if constexpr ( std::integral< T > ) {
    return strepReadInteger< T >( reader, nullptr );
  } else if constexpr ( std::is_enum_v< T > ) {
    return strepReadEnum< T >( reader );
  } else if constexpr ( std::is_same_v< T, String8 > || std::is_same_v< T, Name > ) {
    return T( reader.string() );
  } else if constexpr ( HasFields< T > ) {
    return strepReadFields< T >( reader );
  } else {
    throw NoImplementationException( "an entity cannot be made from text" );
  }
}

// The value whose text form this is.
template < class T >
T genericIfFromStrRep( std::string_view text ) {
  StrepReader reader( text );
  T value = strepRead< T >( reader );
  reader.expectEnd();
  return value;
}

}  // namespace Kiv
