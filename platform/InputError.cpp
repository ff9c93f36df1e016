#include "platform/InputError.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>

namespace Platform {

namespace {

constexpr size_t messageMax = 200;

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

std::string placedMessage( const std::string & file, Place place, const std::string & what ) {
  std::string text = file;
  if ( place.line != 0 )
    text += ":" + std::to_string( place.line );
  if ( place.column != 0 )
    text += ":" + std::to_string( place.column );
  return text + ": " + oneLine( what );
}

InputError::InputError( const std::string & file, Place place, const std::string & what )
    : std::runtime_error( placedMessage( file, place, what ) ), place_( place ), reason_( what ) {}

std::string readFile( const std::string & file ) {
  const std::unique_ptr< std::FILE, int ( * )( std::FILE * ) > in( std::fopen( file.c_str(), "rb" ),
                                                                   std::fclose );
  if ( !in )
    failToRead( file );
  std::string text;
  std::error_code unknown;  // of what is not a regular file
  if ( const auto size = std::filesystem::file_size( file, unknown ); !unknown )
    text.reserve( size );
  char block[ 65536 ];
  while ( const size_t size = std::fread( block, 1, sizeof block, in.get() ) )
    text.append( block, size );
  if ( std::ferror( in.get() ) != 0 )
    failToRead( file );
  return text;
}

std::string_view textBody( const std::string & file, std::string_view text ) {
  if ( text.starts_with( "\xFF\xFE" ) || text.starts_with( "\xFE\xFF" ) )
    throw InputError( file, Place{ 1, 1 }, "UTF-16 text: UTF-8 is required" );
  if ( text.starts_with( "\xEF\xBB\xBF" ) )
    text.remove_prefix( 3 );
  const size_t nul = text.find( '\0' );
  if ( nul == text.npos )
    return text;
  const std::string_view before = text.substr( 0, nul );
  const auto line = static_cast< U32 >( std::count( before.begin(), before.end(), '\n' ) ) + 1;
  const auto column = static_cast< U32 >( nul - ( before.rfind( '\n' ) + 1 ) ) + 1;
  throw InputError( file, Place{ line, column },
                    nul < 2 ? "a NUL byte: UTF-8 text is required, not UTF-16" : "a NUL byte" );
}

}  // namespace Platform
