// The name of an entity: a String8 that is not mistaken for other text.
#pragma once

#include <compare>
#include <iosfwd>

#include "kiv/String8.h"

namespace Kiv {

class Name {
 public:
  Name() = default;
  Name( const char * value ) : value_( value ) {}
  Name( const String8 & value ) : value_( value ) {}

  const String8 & value() const { return value_; }
  U32 hash() const { return value_.hash(); }

  friend bool operator==( const Name &, const Name & ) = default;
  friend std::strong_ordering operator<=>( const Name &, const Name & ) = default;
  friend std::ostream & operator<<( std::ostream & out, const Name & name ) {
    return operator<<( out, name.value_ );
  }

 private:
  String8 value_;
};

}  // namespace Kiv
