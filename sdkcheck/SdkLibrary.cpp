#include "sdkcheck/SdkLibrary.h"

#include <dlfcn.h>

#include <cstdio>
#include <stdexcept>

#include "shim/SdkPlugin.h"

namespace SdkCheck {

namespace {

std::string hex( Kiv::U32 number ) {
  char text[ 16 ];
  std::snprintf( text, sizeof text, "0x%08x", static_cast< unsigned >( number ) );
  return text;
}

}  // namespace

Shim::SdkShim & loadSdk( const std::string & path ) {
  // Its own messages name the library.
  void * const library = dlopen( path.c_str(), RTLD_NOW | RTLD_LOCAL );
  if ( library == nullptr )
    throw std::runtime_error( dlerror() );
  void * const symbol = dlsym( library, Shim::sdkPluginFunctionName );
  if ( symbol == nullptr )
    throw std::runtime_error( path + ": exports no function " + Shim::sdkPluginFunctionName );
  Kiv::U32 version = 0;
  Shim::SdkShim * const sdk = reinterpret_cast< Shim::SdkPluginFunction * >( symbol )(
      Shim::sdkInterfaceVersion, &version );
  if ( version != Shim::sdkInterfaceVersion )
    throw std::runtime_error( path + ": has SDK interface version " + hex( version ) +
                              ", not this program's " + hex( Shim::sdkInterfaceVersion ) +
                              "; build it again" );
  if ( sdk == nullptr )
    throw std::runtime_error( path + ": has no SDK: it could not start" );
  return *sdk;
}

}  // namespace SdkCheck
