// The values of an SDK call one by one, each with its path and its text form.
//
// A leaf refers to a number, set, list or text inside the arguments of a call; "config.group" is
// the group of the argument config. What is written to a file, read from it, translated and
// compared is leaves, so that no operation needs code of its own for any of these.
#pragma once

#include <functional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>
#include <vector>

#include "kiv/Types.h"

namespace SdkRecord {

using namespace Kiv::Integers;

// Text that cannot be read; what() is for the user, without the place.
class FormError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// What a number or the members of a set identify.
enum class IdKind : U8 { none, group, entry, presel, stat, range, policer, data };

// An integer of any type, an enumeration or a bool.
struct Number {
  void * at;
  U8 size;
  bool isSigned;
  bool isBool = false;

  U64 get() const;
  void set( U64 value ) const;
};
template < class T >
Number numberAt( T & value ) {
  static_assert( std::is_integral_v< T > || std::is_enum_v< T > );
  if constexpr ( std::is_enum_v< T > )
    return { &value, sizeof( T ), std::is_signed_v< std::underlying_type_t< T > > };
  else
    return { &value, sizeof( T ), std::is_signed_v< T >, std::is_same_v< T, bool > };
}

// A set of small numbers, one bit each.
struct Bits {
  std::span< U32 > words;
  bool qualifiers = false;  // written by name

  bool has( U32 number ) const { return ( words[ number / 32 ] >> ( number % 32 ) & 1U ) != 0; }
};

using Bytes = std::span< U8 >;

struct Leaf {
  std::string path;
  std::variant< Number, Bits, Bytes, std::vector< U8 > *, std::vector< int > *, std::string * >
      value;
  IdKind id = IdKind::none;
  bool optional = false;  // not written if it is zero

  bool isZero() const;
  // Numbers: decimal below 1000, signed ones always; hexadecimal otherwise. Sets: [0-3,8],
  // [DstIp,Ttl]. Bytes: pairs of hexadecimal digits. Lists: [0,1]. Text: quoted, with \" \\ \n
  // \xNN.
  std::string text() const;
  // Throws FormError.
  void read( std::string_view text ) const;
  // Text is for people; its form is the SDK's own.
  bool isText() const { return std::holds_alternative< std::string * >( value ); }
};

// A decimal or 0x number; throws FormError.
U64 numberOf( std::string_view text );
std::string quoted( std::string_view text );
// Calls `use` with each part of "[a,b]"; throws FormError for another form.
void forEachPart( std::string_view text, const std::function< void( std::string_view ) > & use );

}  // namespace SdkRecord
