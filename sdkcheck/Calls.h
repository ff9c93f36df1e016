// Every SDK operation as a function that makes the call and returns its result with the call as
// text, arguments included:
//
//   calls.bcm_field_entry_create_id( 0, 1, 0x10003 )
//     -> { "bcm_field_entry_create_id unit=0 group=1 entry=0x10003", -14 }
//
// The text is that of a record of calls. Of records it has what tells calls apart.
//
// Locks: takes the SDK lock for each call.
#pragma once

#include <string>
#include <string_view>
#include <type_traits>

#include "sdktext/CallText.h"
#include "shim/SdkCall.h"

namespace SdkCheck {

using namespace Kiv::Integers;
using Shim::Fields;

template < class Record >
Record initialised() {
  Record record;
  Fields::initialise( record );
  return record;
}

bool has( const bcm_pbmp_t & ports, U32 port );

struct Outcome {
  std::string call;
  int rc;
};

// Identifiers of some SDKs are signed.
inline std::string textOfNumber( S64 value ) {
  return SdkText::numberText( static_cast< U64 >( value ), value < 0 );
}

class Calls {
 public:
  explicit Calls( Shim::SdkShim & sdk ) : sdk_( sdk ) {}

#define SDK_OP( name, params, args )                                           \
  Outcome name( U32 unit SDK_UNPACK params ) const {                           \
    Outcome outcome{ callText( Shim::SdkOp::name, unit SDK_UNPACK args ), 0 }; \
    const Shim::SdkLockGuard lock( sdk_ );                                     \
    outcome.rc = sdk_.name( unit SDK_UNPACK args );                            \
    return outcome;                                                            \
  }
#define SDK_QUERY( name )       \
  bool name( U32 unit ) const { \
    return sdk_.name( unit );   \
  }
#include "shim/SdkOperations.inc"
  const char * errorText( int rc ) const {
    return sdk_.sdkErrorText( rc );
  }

 private:
  template < class... Args >
  static std::string callText( Shim::SdkOp op, U32 unit, const Args &... args ) {
    std::string text = Shim::sdkOpName( op );
    addField( text, "unit", textOfNumber( unit ) );
    [[maybe_unused]] auto name = SdkText::argumentNames( op ).begin();
    ( addArgument( text, op, *name++, args ), ... );
    return text;
  }
  static void addField( std::string & text, std::string_view name, const std::string & value ) {
    ( ( ( text += ' ' ) += name ) += '=' ) += value;
  }

  template < class T >
  static void addArgument( std::string & text, Shim::SdkOp, std::string_view name,
                           const T & value ) {
    if constexpr ( std::is_integral_v< T > || std::is_enum_v< T > )
      addField( text, name, textOfNumber( static_cast< S64 >( value ) ) );
    else if constexpr ( std::is_same_v< T, bcm_pbmp_t > )
      addField( text, name,
                SdkText::numbersText(
                    BCM_PBMP_PORT_MAX, [ & ]( U32 port ) { return has( value, port ); } ) );
  }
  template < class T >
  static void addArgument( std::string & text, Shim::SdkOp op, std::string_view name, T * value ) {
    if ( SdkText::wayOf( op, true, std::is_integral_v< T > ) == SdkText::Way::out )
      return;
    const std::string field( name );
    if constexpr ( std::is_same_v< T, bcm_field_group_config_t > ) {
      addField( text, field + ".group", textOfNumber( Fields::groupId( *value ) ) );
    } else if constexpr ( std::is_same_v< T, bcm_field_data_qualifier_s > ) {
      addField( text, field + ".offset", textOfNumber( Fields::dataOffset( *value ) ) );
      addField( text, field + ".length", textOfNumber( Fields::dataLength( *value ) ) );
    } else if constexpr ( std::is_integral_v< T > && !std::is_const_v< T > ) {
      addField( text, field, textOfNumber( *value ) );
    }
  }

  Shim::SdkShim & sdk_;
};

}  // namespace SdkCheck
