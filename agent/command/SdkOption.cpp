#include "agent/command/SdkOption.h"

#include <fmt/format.h>

#include "agent/command/UsageError.h"
#include "agent/session/SwitchSession.h"
#include "sdkcheck/SdkLibrary.h"

namespace Agent {

namespace {

// The library would create the platform's groups in another form than the chip has.
void requireSame( const char * property, bool binding, bool platform, const std::string & name ) {
  if ( binding != platform )
    throw UsageError(
        fmt::format( "--sdk: {} is {}, but not of the platform {}", property, binding, name ) );
}

void requireSameChip( const Shim::SdkShim & sdk, const Platform::PlatformData & platform ) {
  SoftAsic::SoftAsic software;
  software.addUnit( SwitchSession::unit, platform.chip );
  const std::string & model = platform.name;
#define SDK_QUERY( name )                                                                    \
  requireSame( #name, sdk.name( SwitchSession::unit ), software.name( SwitchSession::unit ), \
               model );
#include "shim/SdkOperations.inc"
}

Shim::SdkShim & load( const std::string & library ) {
  try {
    return SdkCheck::loadSdk( library );
  } catch ( const std::runtime_error & error ) {
    throw UsageError( fmt::format( "--sdk: {}", error.what() ) );
  }
}

}  // namespace

Shim::SdkShim & loadSdkOption( const RunOptions & options,
                               const Platform::PlatformData & platform ) {
  if ( options.verify || !options.packets.empty() || options.random != 0 || !options.html.empty() )
    throw UsageError( "--sdk: --packets, --random, --verify and --html need the software ASIC" );
  Shim::SdkShim & sdk = load( options.sdk );
  requireSameChip( sdk, platform );
  return sdk;
}

}  // namespace Agent
