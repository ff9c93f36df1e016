#include "kiv/String8.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <ostream>
#include <stdexcept>

#include "kiv/Hash.h"
#include "kiv/RefWord.h"

namespace Kiv {

// The text follows the header in the same block.
struct String8::Payload {
  RefWord refWord;
  U32 size = 0;
  U32 capacity = 0;

  char * text() { return reinterpret_cast< char * >( this + 1 ); }
};

String8::Payload * String8::allocate( std::size_t size, std::size_t capacity ) {
  if ( size > 0x7fffffff )
    throw std::length_error( "Kiv::String8" );
  auto * payload = new ( ::operator new( sizeof( Payload ) + capacity + 1 ) ) Payload;
  payload->size = static_cast< U32 >( size );
  payload->capacity = static_cast< U32 >( capacity );
  payload->refWord.increment();
  payload->text()[ size ] = '\0';
  return payload;
}

String8::Payload * String8::create( std::string_view head, std::string_view tail ) {
  std::size_t size = head.size() + tail.size();
  if ( size == 0 )
    return nullptr;
  Payload * payload = allocate( size, size );
  std::copy( head.begin(), head.end(), payload->text() );
  std::copy( tail.begin(), tail.end(), payload->text() + head.size() );
  return payload;
}

String8::String8( const String8 & other ) noexcept : payload_( other.payload_ ) {
  if ( payload_ )
    payload_->refWord.increment();
}

String8::~String8() {
  if ( payload_ && RefWord::count( payload_->refWord.decrement() ) == 0 ) {
    payload_->~Payload();
    ::operator delete( payload_ );
  }
}

String8 & String8::operator+=( std::string_view tail ) {
  if ( !payload_ || tail.empty() )
    return tail.empty() ? *this : *this = String8( tail );
  std::size_t oldSize = payload_->size;
  std::size_t newSize = oldSize + tail.size();
  bool shared = RefWord::count( payload_->refWord.word() ) != 1;
  if ( shared || newSize > payload_->capacity ) {
    // Twice the size, so that a text built piece by piece is copied a constant number of times.
    String8 grown( allocate( newSize, std::max( newSize, 2 * oldSize ) ) );
    std::memcpy( grown.payload_->text(), payload_->text(), oldSize );
    std::memcpy( grown.payload_->text() + oldSize, tail.data(), tail.size() );
    return *this = std::move( grown );
  }
  // The tail may be a part of this very text; it ends before the bytes that are written.
  std::memmove( payload_->text() + oldSize, tail.data(), tail.size() );
  payload_->text()[ newSize ] = '\0';
  payload_->size = static_cast< U32 >( newSize );
  return *this;
}

const char * String8::charPtr() const {
  return payload_ ? payload_->text() : "";
}

U32 String8::size() const {
  return payload_ ? payload_->size : 0;
}

U32 String8::hash() const {
  return hashBytes( view() );
}

std::ostream & operator<<( std::ostream & out, const String8 & text ) {
  return out << text.view();
}

}  // namespace Kiv
