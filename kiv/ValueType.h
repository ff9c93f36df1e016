// Value types: one list of fields drives comparison, hash and text.
//
//   class RangeCheckerDesc : public Kiv::Value {
//    public:
//     RangeCheckerDesc( U32 low, U32 high ) : low_( low ), high_( high ) {}
//     static constexpr const char * typeName = "Morvane::RangeCheckerDesc";
//     static constexpr auto fields() {
//       return std::tuple( Kiv::field( "low", &RangeCheckerDesc::low_ ),
//                          Kiv::field( "high", &RangeCheckerDesc::high_ ) );
//     }
//    private:
//     U32 low_, high_;
//   };
//
// gives == and the orderings (lexicographic, in field order), Kiv::hash, Kiv::valueToStrep and
// operator<<. The empty base is what makes the operators visible in the type's own namespace.
#pragma once

#include <compare>
#include <concepts>
#include <iosfwd>
#include <tuple>

#include "kiv/Hash.h"
#include "kiv/Strep.h"

namespace Kiv {

template < class T, class M >
struct Field {
  const char * name;
  M T::*member;
};

template < class T, class M >
constexpr Field< T, M > field( const char * name, M T::*member ) {
  return { name, member };
}

struct Value {};

template < class T >
concept ValueType = std::derived_from< T, Value > && HasFields< T >;

// The fields of a value as a tuple of references.
template < ValueType T >
constexpr auto tieFields( const T & value ) {
  return std::apply( [ & ]( const auto &... f ) { return std::tie( value.*f.member... ); },
                     T::fields() );
}

template < ValueType T >
constexpr bool operator==( const T & a, const T & b ) {
  return tieFields( a ) == tieFields( b );
}

template < ValueType T >
constexpr auto operator<=>( const T & a, const T & b ) {
  return tieFields( a ) <=> tieFields( b );
}

template < class Stream, ValueType T >
requires std::derived_from< Stream, std::ios_base > Stream & operator<<( Stream & out,
                                                                         const T & value ) {
  out << valueToStrep( value ).view();
  return out;
}

}  // namespace Kiv
