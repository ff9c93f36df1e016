// Reads a text form (kiv/Strep.h) from left to right.
//
//   Kiv::StrepReader reader( "[7, 8]" );
//   reader.expect( "[" );
//   reader.integer( "U32" ).value< U32 >();          // 7
//
// Other text throws TypeException with one line that names what was expected and what was found.
#pragma once

#include <limits>
#include <string_view>

#include "kiv/Exception.h"
#include "kiv/Export.h"
#include "kiv/String8.h"
#include "kiv/Types.h"

namespace Kiv {

// An integer of any size, as it was read.
struct StrepInteger {
  std::string_view text;
  bool negative = false;
  bool huge = false;  // does not fit in 64 bits
  U64 magnitude = 0;

  constexpr bool within( S64 low, U64 high ) const {
    if ( huge )
      return false;
    if ( negative )
      return low < 0 && magnitude <= static_cast< U64 >( -( low + 1 ) ) + 1;
    return ( low <= 0 || magnitude >= static_cast< U64 >( low ) ) && magnitude <= high;
  }

  template < class T >
  constexpr bool fits() const {
    return within( static_cast< S64 >( std::numeric_limits< T >::min() ),
                   static_cast< U64 >( std::numeric_limits< T >::max() ) );
  }
  template < class T >
  constexpr T value() const {
    return static_cast< T >( negative ? 0 - magnitude : magnitude );
  }
};

class KIV_API StrepReader {
 public:
  // The text must outlive the reader.
  explicit StrepReader( std::string_view text ) : rest_( text ) {}

  std::string_view rest() const { return rest_; }

  // Takes the literal if it comes next.
  bool accept( std::string_view literal );
  void expect( std::string_view literal );
  void expectEnd() const;

  // Decimal, as it is printed: no sign but a minus, no needless zeros.
  StrepInteger integer( std::string_view expected );
  // Quoted text, its escapes undone. \xNN is taken for any byte.
  String8 string();
  // Letters, digits and underscores, as many as follow.
  std::string_view word();

  [[noreturn]] void fail( std::string_view expected ) const;

 private:
  std::string_view take( std::size_t count );
  char escapedByte();

  std::string_view rest_;
};

}  // namespace Kiv
