// Value types: one list of fields drives comparison, hash and text.
//
//   class RangeCheckerDesc : public Kiv::Value {
//    public:
//     RangeCheckerDesc() = default;
//     RangeCheckerDesc( U32 low, U32 high ) : low_( low ), high_( high ) {}
//     static constexpr const char * typeName = "Morvane::RangeCheckerDesc";
//     static constexpr auto fields() {
//       return std::tuple( Kiv::field( "low", &RangeCheckerDesc::low_ ),
//                          Kiv::field( "high", &RangeCheckerDesc::high_ ) );
//     }
//    private:
//     U32 low_ = 0, high_ = 0;
//   };
//
// This gives == and the orderings (lexicographic, in field order), Kiv::hash, Kiv::valueToStrep and
// operator<<, and the way back from text (kiv/StrepParse.h), which starts from the default
// constructor. The empty base is what makes the operators visible in the type's own namespace.
//
// A field that may hold less than its type does is given its limits; they hold for text.
//
//   Kiv::field( "offset", &UdfUnitSpec::offset, offsetLimits )
#pragma once

#include <compare>
#include <concepts>
#include <iosfwd>
#include <tuple>

#include "kiv/Export.h"
#include "kiv/Hash.h"
#include "kiv/Strep.h"
#include "kiv/Types.h"

namespace Kiv {

// The numbers that a field may hold, both ends inclusive, and the whole text of the refusal.
struct Limits {
  U32 low;
  U32 high;
  const char * message;

  // Throws RangeException with the message.
  [[noreturn]] KIV_API void refuse() const;
};

template < class T, class M >
struct Field {
  const char * name;
  M T::*member;
  const Limits * limits = nullptr;
};

template < class T, class M >
constexpr Field< T, M > field( const char * name, M T::*member ) {
  return { name, member };
}
// The limits must have static storage.
template < class T, class M >
constexpr Field< T, M > field( const char * name, M T::*member, const Limits & limits ) {
  return { name, member, &limits };
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
