// Starts a group manager on an SDK that always succeeds, or on the binding that the argument names,
// and creates, installs and releases an entry: every header and symbol that an agent needs must be
// installed.

#include <dlfcn.h>

#include <cstdio>

#include "kiv/Lock.h"
#include "kiv/Trace.h"
#include "morvane/MorvaneTcamGroupManager.h"
#include "shim/SdkPlugin.h"

namespace {

using namespace Morvane;

// Every operation succeeds; create operations return increasing ids.
class GrantingSdk : public Shim::SdkShim {
 public:
  void sdkLock() override KIV_NO_THREAD_SAFETY_ANALYSIS { lock_.lock(); }
  void sdkUnlock() override KIV_NO_THREAD_SAFETY_ANALYSIS { lock_.unlock(); }
  const char * sdkErrorText( int ) const override { return "none"; }

#define SDK_OP( name, params, args )                                 \
  int name( [[maybe_unused]] U32 unit SDK_UNPACK params ) override { \
    return grant args;                                               \
  }
#define SDK_QUERY( name )           \
  bool name( U32 ) const override { \
    return false;                   \
  }
#include "shim/SdkOperations.inc"

 private:
  template < class... Args >
  int grant( const Args &... args ) {
    ( fill( args ), ... );
    return 0;
  }
  template < class T >
  void fill( const T & ) {}
  void fill( U32 * id ) {
    *id = ++lastId_;
  }

  Kiv::Lock lock_;
  U32 lastId_ = 0;
};

// One group that matches destinations, with one user.
class OnePlatform : public PlatformTables {
 public:
  U32 numTcamGroups() const override { return 1; }
  const TcamGroup & tcamGroup( U32 ) const override { return group_; }
  U32 numTcamReservations() const override { return 1; }
  TcamReservation & tcamReservation( U32 ) override { return user_; }
  U32 numGroupMapEntries() const override { return 0; }
  const TcamGroupMap & groupMap( U32 ) const override { return map_; }
  U32 numGroupExcludes() const override { return 0; }
  const TcamGroupQualifiers & groupExcludes( U32 ) const override { return none_; }
  U32 numGroupIncludes() const override { return 0; }
  const TcamGroupQualifiers & groupIncludes( U32 ) const override { return none_; }
  S32 chipType( U32 ) const override { return 0; }
  U32 loopbackPort( U32, U32 ) const override { return 0; }
  bool noStatsPerEntry( U32 ) const override { return false; }
  bool requiresMulticastWar( U32 ) const override { return false; }
  bool matchesIPv4( U32 ) const override { return true; }
  bool matchesIPv6( U32 ) const override { return false; }
  const MorvaneCentral::Attributes & attributes() const override { return attributes_; }

 private:
  static constexpr U32 list_[] = { bcmFieldQualifyStageIngress, bcmFieldQualifyDstIp,
                                   bcmFieldQualifyCount };
  TcamGroup group_{ 1, list_ };
  TcamReservation user_{ "acl", ipAclTcamGroup, 1, 16, false, false, false, tcamAllocateOnDemand };
  TcamGroupMap map_{};
  TcamGroupQualifiers none_{};
  MorvaneCentral::Attributes attributes_{};
};

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
