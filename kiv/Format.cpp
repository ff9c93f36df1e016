#include "kiv/Format.h"

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <string>
#include <string_view>

#include "kiv/Exception.h"
#include "kiv/Types.h"

namespace Kiv {

namespace {

// The arguments that are left, as an object that functions can share.
struct Arguments {
  explicit Arguments( std::va_list args ) { va_copy( left, args ); }
  ~Arguments() { va_end( left ); }
  Arguments( const Arguments & ) = delete;
  Arguments & operator=( const Arguments & ) = delete;

  std::va_list left;
};

// A conversion with the flags that reports use: a width, to the left of it, and ll.
struct Conversion {
  bool left = false;
  std::size_t width = 0;
  bool wide = false;
  char kind = '\0';
};

// Reads what follows a %; `at` is after it then.
Conversion readConversion( const char *& at ) {
  Conversion read;
  if ( ( read.left = *at == '-' ) )
    ++at;
  // A width begins with another digit than 0, which is a flag.
  for ( ; ( *at >= '1' && *at <= '9' ) || ( *at == '0' && read.width != 0 ); ++at )
    read.width = read.width * 10 + static_cast< std::size_t >( *at - '0' );
  if ( ( read.wide = at[ 0 ] == 'l' && at[ 1 ] == 'l' ) )
    at += 2;
  if ( *at != '\0' )
    read.kind = *at++;
  return read;
}

void appendPadded( std::string & text, std::string_view piece, const Conversion & conversion ) {
  const bool fills = conversion.width > piece.size();
  if ( fills && !conversion.left )
    text.append( conversion.width - piece.size(), ' ' );
  text.append( piece );
  if ( fills && conversion.left )
    text.append( conversion.width - piece.size(), ' ' );
}

template < class T >
void appendNumber( std::string & text, T number, int base, const Conversion & conversion ) {
  char digits[ 24 ];
  const char * const end = std::to_chars( digits, digits + sizeof digits, number, base ).ptr;
  appendPadded( text, { digits, static_cast< std::size_t >( end - digits ) }, conversion );
}

// Whether it is one of those that are made here, which the C library takes several times as long
// for.
bool appendConverted( std::string & text, const Conversion & conversion, Arguments & arguments ) {
  const bool wide = conversion.wide;
  switch ( conversion.kind ) {
    case 'd':
      appendNumber( text,
                    wide ? va_arg( arguments.left, long long ) : va_arg( arguments.left, int ), 10,
                    conversion );
      return true;
    case 'u':
    case 'x':
      appendNumber(
          text,
          wide ? va_arg( arguments.left, unsigned long long ) : va_arg( arguments.left, unsigned ),
          conversion.kind == 'u' ? 10 : 16, conversion );
      return true;
    case 's':
      if ( wide )
        return false;
      if ( const char * const piece = va_arg( arguments.left, const char * ) )
        appendPadded( text, piece, conversion );
      else
        appendPadded( text, "(null)", conversion );
      return true;
    default:
      return false;
  }
}

// The C library's text of a format; false if it cannot convert an argument.
bool appendByLibrary( std::string & text, const char * fmt, Arguments & arguments ) {
  std::va_list again;
  va_copy( again, arguments.left );
  const int size = std::vsnprintf( nullptr, 0, fmt, arguments.left );
  if ( size > 0 ) {
    const std::size_t before = text.size();
    text.resize( before + static_cast< std::size_t >( size ) );
    std::vsnprintf( text.data() + before, static_cast< std::size_t >( size ) + 1, fmt, again );
  }
  va_end( again );
  return size >= 0;
}

}  // namespace

void appendArgs( std::string & text, const char * fmt, std::va_list args ) {
  Arguments arguments( args );
  const std::size_t before = text.size();
  const std::string_view whole( fmt );
  for ( std::size_t at = 0;; ) {
    const std::size_t next = whole.find( '%', at );
    text.append( whole, at, next - at );
    if ( next == whole.npos )
      return;
    const char * after = fmt + next + 1;
    if ( !appendConverted( text, readConversion( after ), arguments ) ) {
      if ( appendByLibrary( text, fmt + next, arguments ) )
        return;
      text.resize( before );
      throw ErrnoException( errno, "Failed to format text" );
    }
    at = static_cast< std::size_t >( after - fmt );
  }
}

String8 format( const char * fmt, ... ) {
  std::va_list args;
  va_start( args, fmt );
  struct Cleanup {
    std::va_list & args;
    ~Cleanup() { va_end( args ); }
  } cleanup{ args };
  std::string text;
  appendArgs( text, fmt, args );
  return String8( text );
}

}  // namespace Kiv
