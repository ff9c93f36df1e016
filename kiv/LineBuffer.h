// One trace line, built piece by piece in 256 bytes without the heap.
//
// Invariants: the last byte is always zero, so that a line holds at most 255 characters; what does
// not fit is cut off. Numbers are decimal, 8-bit ones too, and equal on both word sizes.
//
// The buffer is on the stack of the thread that builds the line: a function called while the
// line is built may trace too.
//
// Cost: traces are rarely on, so that what opens a line is to be marked cold; compilers then keep
// the line away from the code around it.
#pragma once

#include <concepts>
#include <string_view>
#include <type_traits>

#include "kiv/Export.h"
#include "kiv/Name.h"
#include "kiv/String8.h"
#include "kiv/Types.h"

namespace Kiv {

// Prints an unsigned number as its hexadecimal digits alone, without leading zeros.
struct Hex {
  U64 value;
};

// A negative value shows the bits of its own width.
template < std::integral T >
constexpr Hex hex( T value ) {
  return { static_cast< U64 >( static_cast< std::make_unsigned_t< T > >( value ) ) };
}

class KIV_API LineBuffer {
 public:
  static constexpr U32 capacity = 256;

  LineBuffer() { text_[ 0 ] = text_[ capacity - 1 ] = '\0'; }

  std::string_view view() const { return { text_, size_ }; }
  // Ends with a zero byte.
  const char * charPtr() const { return text_; }

  void append( std::string_view text );
  void append( const char * text ) { append( std::string_view( text ? text : "(null)" ) ); }
  void append( const String8 & text ) { append( text.view() ); }
  void append( const Name & name ) { append( name.value().view() ); }
  void append( char character ) { append( std::string_view( &character, 1 ) ); }
  void append( bool value ) { append( value ? "true" : "false" ); }
  void append( Hex number );

  template < std::integral T >
  void append( T number ) {
    if constexpr ( std::is_signed_v< T > )
      appendSigned( number );
    else
      appendUnsigned( number );
  }

  // The enumerator's name where enumName knows it, otherwise the number.
  template < class T >
  requires std::is_enum_v< T >
  void append( T value ) {
    if constexpr ( requires { enumName( value ); } ) {
      if ( const char * name = enumName( value ) ) {
        append( name );
        return;
      }
    }
    append( static_cast< std::underlying_type_t< T > >( value ) );
  }

 private:
  void appendSigned( S64 number );
  void appendUnsigned( U64 number );

  U32 size_ = 0;
  char text_[ capacity ];
};

}  // namespace Kiv
