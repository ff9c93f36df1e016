// Starts a group manager on an SDK that always succeeds, or on the binding that the argument names,
// and creates, installs and releases an entry: every header and symbol that an agent needs must be
// installed.

#include <dlfcn.h>

#include <cstdio>

#include "OutsideSwitch.h"
#include "kiv/Trace.h"
#include "shim/SdkPlugin.h"

namespace {

using namespace Morvane;

// Null if it cannot be loaded.
Shim::SdkShim * loadBinding( const char * path ) {
  void * const library = dlopen( path, RTLD_NOW );
  void * const symbol =
      library == nullptr ? nullptr : dlsym( library, Shim::sdkPluginFunctionName );
  U32 version = 0;
  return symbol == nullptr ? nullptr
                           : reinterpret_cast< Shim::SdkPluginFunction * >( symbol )(
                                 Shim::sdkInterfaceVersion, &version );
}

}  // namespace

int main( int argc, char ** argv ) KIV_NO_THREAD_SAFETY_ANALYSIS {
  GrantingSdk granting;
  OnePlatform platform;
  Shim::sdk_ = argc > 1 ? loadBinding( argv[ 1 ] ) : &granting;
  platformIs( &platform );
  Kiv::ActivityUnlockAnchor::lock().lock();
  const Kiv::Ptr< MorvaneTcamGroupManager > groups =
      Kiv::make< MorvaneTcamGroupManager >( Kiv::Name( "groups" ), nullptr, false );
  groups->numPipeIs( 1 );
  groups->modChipInfoIs( 0, {} );
  groups->initializedIs( true );

  MorvaneBoundedTcamEntryManager & acl = *groups->entryManager( ipAclTcamGroup );
  const U32 checker = acl.getRangeChecker( 0, { 1024, 2047, BCM_FIELD_RANGE_DSTPORT } );
  const U32 entry = acl.getEntry( 0, acl.baseEntry() + 3, "rule" );
  const int rc = acl.installEntry( 0, entry );
  std::printf( "entry 0x%x installed %d checker %d\n", entry, rc, checker != 0 );
  acl.releaseEntry( 0, entry );
  if ( checker != 0 )
    acl.releaseRangeChecker( 0, { 1024, 2047, BCM_FIELD_RANGE_DSTPORT } );
  std::printf( "%u entries left\n", acl.entriesAllocated( 0 ) );
  std::printf( "traces %d %d\n", Kiv::traceHandle( "ApiMorvane" ) != nullptr,
               Kiv::traceHandle( "SdkShim" ) != nullptr );
  return 0;
}
