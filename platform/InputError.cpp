#include "platform/InputError.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

namespace Platform {

namespace {

constexpr size_t messageMax = 200;

// Messages quote the input, which may hold any bytes.
std::string oneLine( std::string what ) {
  what.resize( std::min( what.size(), messageMax ) );
  std::replace_if(
      what.begin(), what.end(), []( char c ) { return static_cast< U8 >( c ) < ' ' || c == 127; },
      '?' );
  return what;
}

[[noreturn]] void failToRead( const std::string & file ) {
  throw InputError( file, 0, std::string( "cannot be read: " ) + std::strerror( errno ) );
}

}  // namespace

InputError::InputError( const std::string & file, U32 line, const std::string & what )
    : std::runtime_error( file + ":" + std::to_string( line ) + ": " + oneLine( what ) ) {}

std::string readFile( const std::string & file ) {
  const std::unique_ptr< std::FILE, int ( * )( std::FILE * ) > in( std::fopen( file.c_str(), "rb" ),
                                                                   std::fclose );
  if ( !in )
    failToRead( file );
  std::string text;
  char block[ 65536 ];
  while ( const size_t size = std::fread( block, 1, sizeof block, in.get() ) )
    text.append( block, size );
  if ( std::ferror( in.get() ) != 0 )
    failToRead( file );
  return text;
}

}  // namespace Platform
