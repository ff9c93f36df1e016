// The text form of SDK calls, wherever they are written: records of calls, reports of checks.
//
//   bcm_field_entry_create_id unit=0 group=1 entry=0x10003
//
// Knows no field of a record, so that it compiles with any SDK's header.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "shim/SdkShim.h"

namespace SdkText {

using namespace Kiv::Integers;

// Whether the SDK reads an argument, writes it, or both.
enum class Way : U8 { in, out, inOut };
Way wayOf( Shim::SdkOp op, bool pointer, bool scalar );

// Of the arguments after the unit.
const std::vector< std::string_view > & argumentNames( Shim::SdkOp op );

// Decimal below 1000 and if the type is signed; hexadecimal otherwise: ids with pipe and copy bits.
std::string numberText( U64 value, bool isSigned );

// The numbers below `end` that a set has: "[0-3,8]".
template < class Has >
std::string numbersText( U32 end, const Has & has ) {
  std::string text;
  for ( U32 first = 0; first < end; ++first ) {
    if ( !has( first ) )
      continue;
    U32 last = first;
    while ( last + 1 < end && has( last + 1 ) )
      ++last;
    text += ( text.empty() ? "" : "," ) + std::to_string( first );
    if ( last != first )
      text += "-" + std::to_string( last );
    first = last;
  }
  return "[" + text + "]";
}

}  // namespace SdkText
