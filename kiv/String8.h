// A reference-counted, immutable byte string the size of one pointer.
//
//   Kiv::String8 text( "fp entry " );
//   text += "create";                       // other holders of the old text keep it
//
// Invariants: a payload that anyone else can see never changes; text is followed by a NUL byte,
// and may hold NUL bytes itself. The empty string owns nothing.
//
// Cost: copying is one reference; appending to a string that nobody shares is amortised linear,
// to a shared one it copies. Text is at most 2^31 bytes (std::length_error beyond).
//
// Locks: as for Kiv::Ptr (kiv/RefWord.h).
#pragma once

#include <compare>
#include <iosfwd>
#include <string_view>
#include <utility>

#include "kiv/Export.h"
#include "kiv/Types.h"

namespace Kiv {

class KIV_API String8 {
 public:
  String8() = default;
  // A null pointer makes the empty string.
  String8( const char * text ) : String8( text ? std::string_view( text ) : std::string_view() ) {}
  String8( std::string_view text ) : payload_( create( text, {} ) ) {}
  String8( const String8 & other ) noexcept;
  String8( String8 && other ) noexcept : payload_( std::exchange( other.payload_, nullptr ) ) {}
  ~String8();

  String8 & operator=( String8 other ) noexcept {
    std::swap( payload_, other.payload_ );
    return *this;
  }
  String8 & operator+=( std::string_view tail );
  String8 & operator+=( const String8 & tail ) { return *this += tail.view(); }
  String8 & operator+=( const char * tail ) { return *this += std::string_view( tail ); }
  String8 & operator+=( char tail ) { return *this += std::string_view( &tail, 1 ); }

  // Never null, ends with a NUL byte; valid while this string is neither changed nor destroyed.
  const char * charPtr() const;
  // Bytes, without the final NUL.
  U32 size() const;
  bool empty() const { return payload_ == nullptr; }
  const char * begin() const { return charPtr(); }
  const char * end() const { return charPtr() + size(); }
  std::string_view view() const { return { charPtr(), size() }; }
  // Equal on both word sizes.
  U32 hash() const;

  friend bool operator==( const String8 & a, const String8 & b ) {
    return a.payload_ == b.payload_ || a.view() == b.view();
  }
  friend std::strong_ordering operator<=>( const String8 & a, const String8 & b ) {
    return a.view() <=> b.view();
  }
  friend String8 operator+( const String8 & a, const String8 & b ) {
    return String8( create( a.view(), b.view() ) );
  }

 private:
  struct Payload;

  explicit String8( Payload * payload ) : payload_( payload ) {}
  static Payload * create( std::string_view head, std::string_view tail );
  static Payload * allocate( std::size_t size, std::size_t capacity );

  Payload * payload_ = nullptr;
};

KIV_API std::ostream & operator<<( std::ostream & out, const String8 & text );

}  // namespace Kiv
