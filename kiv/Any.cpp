#include "kiv/Any.h"

#include "kiv/Entity.h"

namespace Kiv {

Any::Content::~Content() = default;

const Any::Content & Any::content() const {
  if ( !content_ )
    throw TypeException( "there is no value" );
  return *content_;
}

const std::type_info & Any::typeOfContent() const {
  return type().id();
}

const char * Any::typeName() const {
  return empty() ? "nothing" : type().name();
}

std::vector< AnyPart > Any::parts() const {
  return content().parts();
}

bool operator<( const Any & a, const Any & b ) {
  return !a.empty() && !b.empty() && a.type() == b.type() && a.content_->less( *b.content_ );
}

Any Type::fromStrRep( std::string_view text ) const {
  StrepReader reader( text );
  Any value = read( reader );
  reader.expectEnd();
  return value;
}

void throwUnhashable( const char * type ) {
  throw UnhashableException( String8( "a value of type " ) + type + " has no hash" );
}

void throwWrongType( const String8 & what, const char * wanted, const Any & given ) {
  throw TypeException( what + " takes " + wanted + ", not " + given.typeName() );
}

void throwWrongEntity( const String8 & what ) {
  throw TypeException( what + " takes entities of another class" );
}

}  // namespace Kiv
