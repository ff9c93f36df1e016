#include "kiv/Strep.h"

#include <ostream>

#include "kiv/Entity.h"
#include "kiv/StrepParse.h"

namespace Kiv {
namespace {

void appendByte( String8 & text, char byte ) {
  constexpr std::string_view plain = "\\'\n\r\t";
  constexpr std::string_view letters = "\\'nrt";
  std::size_t escape = plain.find( byte );
  if ( escape != std::string_view::npos ) {
    text += '\\';
    text += letters[ escape ];
  } else if ( byte < 0x20 || byte > 0x7e ) {
    constexpr std::string_view digits = "0123456789abcdef";
    auto bits = static_cast< U8 >( byte );
    text += "\\x";
    text += digits[ bits >> 4 ];
    text += digits[ bits & 15 ];
  } else {
    text += byte;
  }
}

}  // namespace

void Limits::refuse() const {
  throw RangeException( message );
}

void throwOutOfRange( const StrepInteger & number, const char * type ) {
  throw RangeException( String8( number.text ) + " is out of range for " + type );
}

String8 stringStrep( std::string_view value ) {
  String8 text( "'" );
  for ( char byte : value )
    appendByte( text, byte );
  return text += '\'';
}

std::ostream & writeEnum( std::ostream & out, const EnumType & type, U32 value ) {
  const char * name = type.valueName( value );
  return name ? out << name : out << value;
}

String8 entityStrep( const Entity * entity ) {
  return entity ? stringStrep( entity->name().value().view() ) : String8( "None" );
}

}  // namespace Kiv
