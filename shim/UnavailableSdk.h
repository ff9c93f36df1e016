// An SDK whose every operation is unavailable.
//
// A binding to a vendor's SDK derives from it and overrides operation by operation. Those that it
// does not override yet, and those that later versions of the interface add, return BCM_E_UNAVAIL;
// chip properties are false. The library ends the process, with the call's name, where it needs an
// operation that is not available.
//
// Locks: a binding must override sdkLock and sdkUnlock if several threads use it; here they do
// nothing.
#pragma once

#include "shim/SdkShim.h"

namespace Shim {

class UnavailableSdk : public SdkShim {
 public:
  void sdkLock() override KIV_NO_THREAD_SAFETY_ANALYSIS {}
  void sdkUnlock() override KIV_NO_THREAD_SAFETY_ANALYSIS {}
  const char * sdkErrorText( int rc ) const override {
    return rc == BCM_E_UNAVAIL ? "Feature unavailable" : "Unknown error";
  }

// Parameter names are for overriders.
#define SDK_OP( name, params, args )                                 \
  int name( [[maybe_unused]] U32 unit SDK_UNPACK params ) override { \
    return unavailable args;                                         \
  }
#define SDK_QUERY( name )           \
  bool name( U32 ) const override { \
    return false;                   \
  }
#include "shim/SdkOperations.inc"

 private:
  template < class... Args >
  static int unavailable( const Args &... ) {
    return BCM_E_UNAVAIL;
  }
};

}  // namespace Shim
