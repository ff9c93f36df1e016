// The only access to the ASIC: an interface with one virtual operation per SDK function.
//
// The managers make all SDK calls through Shim::sdk_: hardware, the software ASIC or a recorder.
//
// Invariants: every operation takes the unit first and returns the SDK's result code, 0 or more for
// success (bcm_error_t). Chip queries return constant properties of a unit.
//
// Order of calls: the agent sets Shim::sdk_ before it constructs a manager, and keeps the object
// until the last manager is destroyed.
//
// Locks: operations are called with the SDK lock of the same object held and the activity lock
// released (shim/SdkCall.h does both). Chip queries and sdkErrorText need no lock.
#pragma once

#include <iosfwd>

#include "kiv/Assert.h"
#include "kiv/Export.h"
#include "kiv/ThreadAnnotations.h"
#include "kiv/Types.h"
#include "shim/SdkTypes.h"

namespace Shim {

using Kiv::U32;

// Number of each operation, for tables, logs and decorators.
enum class SdkOp : U32 {
#define SDK_OP( name, params, args ) name,
#include "shim/SdkOperations.inc"
  count
};

// Number of each chip query.
enum class SdkQuery : U32 {
#define SDK_QUERY( name ) name,
#include "shim/SdkOperations.inc"
  count
};

// The operation's SDK name; "unknown" for a number out of range.
KIV_API const char * sdkOpName( SdkOp op );

class KIV_CAPABILITY( "SDK lock" ) KIV_API SdkShim {
 public:
  virtual ~SdkShim();

  // Serialises SDK calls among all threads of the agent.
  virtual void sdkLock() KIV_ACQUIRE() = 0;
  virtual void sdkUnlock() KIV_RELEASE() = 0;

  // The SDK's text for a result code; never null, never freed.
  virtual const char * sdkErrorText( int rc ) const = 0;

#define SDK_UNPACK( ... ) __VA_OPT__(, ) __VA_ARGS__
#define SDK_OP( name, params, args ) virtual int name( U32 unit SDK_UNPACK params ) = 0;
#define SDK_QUERY( name ) virtual bool name( U32 unit ) const = 0;
#include "shim/SdkOperations.inc"
};

// The SDK, owned by the agent. Null until the agent sets it.
extern KIV_API SdkShim * sdk_;

// The SDK; asserts that it is set.
inline SdkShim & sdkShim() {
  KIV_ASSERT( sdk_ && "Shim::sdk_ has not been set" );
  return *sdk_;
}

}  // namespace Shim
