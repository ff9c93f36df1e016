#include "sdktext/CallText.h"

#include <cstdio>

namespace SdkText {

namespace {

using Names = std::vector< std::string_view >;

// The names in "( a, b )".
Names namesIn( std::string_view list ) {
  constexpr std::string_view separators = "(), ";
  Names names;
  for ( size_t at = 0; ( at = list.find_first_not_of( separators, at ) ) != list.npos; ) {
    const size_t end = list.find_first_of( separators, at );
    names.push_back( list.substr( at, end - at ) );
    at = end;
  }
  return names;
}

}  // namespace

// The SDK's convention: reads end in _get; numbers behind pointers are results.
Way wayOf( Shim::SdkOp op, bool pointer, bool scalar ) {
  if ( !pointer )
    return Way::in;
  if ( std::string_view( Shim::sdkOpName( op ) ).ends_with( "_get" ) )
    return Way::out;
  // The id of a policer may be given.
  return scalar && op != Shim::SdkOp::bcm_policer_create ? Way::out : Way::inOut;
}

const Names & argumentNames( Shim::SdkOp op ) {
  static const Names names[] = {
#define SDK_OP( name, params, args ) namesIn( #args ),
#include "shim/SdkOperations.inc"
  };
  return names[ static_cast< U32 >( op ) ];
}

std::string numberText( U64 value, bool isSigned ) {
  if ( isSigned )
    return std::to_string( static_cast< S64 >( value ) );
  char text[ 24 ];
  std::snprintf( text, sizeof text, value < 1000 ? "%llu" : "0x%llx",
                 static_cast< unsigned long long >( value ) );
  return text;
}

}  // namespace SdkText
