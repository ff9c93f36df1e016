// The one funnel through which every SDK call of the library passes.
//
// A call site reads
//
//   SDK_CHECKED( bcm_field_group_destroy( unit, groupId ) );         a negative result is fatal
//   SDK_TOLERATED( toleratedRc, bcm_field_entry_enable_set( ... ) ); except that one code
//   SDK_ASSERTED( ... );                                             result asserted to be 0
//   SDK_UNCHECKED( bcm_field_group_compress( unit, groupId ) );      traced only
//   int rc = SDK_CALL( bcm_field_range_create( unit, &id, ... ) );   the caller decides, and may
//   SDK_RESULT( rc );                                                check the result afterwards
//
// and the text that is traced and printed is the argument as written.
//
// Protocol, the same for every call: the arguments are evaluated; the activity lock is released;
// the SDK lock is taken; the call is made; the SDK lock is released, also when the call throws; the
// activity lock is retaken; the call is traced; the result is checked. No state of a manager is
// read or written while the activity lock is released.
//
// A fatal result writes one line to standard error, "FILE:LINE CALL API ERROR:TEXT (CODE)", and
// ends the process in an assertion.
//
// Locks: the caller holds the activity lock and not the SDK lock.
#pragma once

#include <string_view>
#include <utility>

#include "kiv/Assert.h"
#include "kiv/Export.h"
#include "kiv/Lock.h"
#include "kiv/Trace.h"
#include "shim/SdkShim.h"
#include "snaptrace/BcmFpCmd.h"

namespace Shim {

// The place of a call in the source.
struct SdkCallSite {
  // "FILE:LINE CALL", the file relative to the project; a zero byte follows it.
  std::string_view traced;
  std::string_view resultLabel;  // printed before the result in the trace, " (rc:" or " (rv:"
  const char * file;
  int line;
  const char * function;  // full signature of the enclosing function
};

// A call with its arguments evaluated, not made yet.
template < class Call >
struct SdkBoundCall {
  Call call;
};

// Makes bound calls: one function per operation, with the operation's own name and parameters.
struct SdkCalls {
#define SDK_OP( name, params, args )                                                         \
  auto name( U32 unit SDK_UNPACK params ) const {                                            \
    auto call = [ = ]( ::Shim::SdkShim & sdk ) { return sdk.name( unit SDK_UNPACK args ); }; \
    return SdkBoundCall< decltype( call ) >{ call };                                         \
  }
#include "shim/SdkOperations.inc"

  // Lets call sites name the operation as if called on the shim.
  const SdkCalls * SdkShim = this;
};

class KIV_SCOPED_CAPABILITY SdkLockGuard {
 public:
  explicit SdkLockGuard( SdkShim & sdk ) KIV_ACQUIRE( sdk ) : sdk_( sdk ) { sdk_.sdkLock(); }
  ~SdkLockGuard() noexcept( false ) KIV_RELEASE() { sdk_.sdkUnlock(); }
  SdkLockGuard( const SdkLockGuard & ) = delete;
  SdkLockGuard & operator=( const SdkLockGuard & ) = delete;

 private:
  SdkShim & sdk_;
};

// Whether this thread is in an SDK call, including its lock changes.
[[gnu::tls_model( "initial-exec" )]] extern KIV_API constinit thread_local bool inSdkCall;

// Marks the thread as being in an SDK call.
class SdkCallMark {
 public:
  SdkCallMark() { inSdkCall = true; }
  ~SdkCallMark() { inSdkCall = false; }
  SdkCallMark( const SdkCallMark & ) = delete;
  SdkCallMark & operator=( const SdkCallMark & ) = delete;
};

// Makes the call with the protocol above and returns its result.
template < class Call >
int makeSdkCall( const SdkBoundCall< Call > & bound ) {
  SdkShim & sdk = sdkShim();
  Kiv::Lock & activity = Kiv::ActivityUnlockAnchor::lock();
  activity.assumeHeld();
  const Kiv::UnlockAnchor anchor( activity );
  const SdkCallMark mark;
  const SdkLockGuard guard( sdk );
  return bound.call( sdk );
}

// Trace lines of a call: with its result, or with " no rc check".
extern KIV_API Kiv::TraceHandle sdkTrace;  // the text trace of the calls
inline bool sdkTraceEnabled() {
  return Kiv::anyTraceOn() && ( bcmFpCmd.enabled() || sdkTrace.enabled( 0 ) );
}
[[gnu::cold]] KIV_API void traceSdkResult( const SdkCallSite & site, int rc );
[[gnu::cold]] KIV_API void traceSdkUnchecked( const SdkCallSite & site );

// Prints the failed call and ends the process.
[[noreturn, gnu::cold]] KIV_API void failSdkCall( const SdkCallSite & site, int rc );

// A `tolerated` code that no call returns: no failure is tolerated.
inline constexpr int tolerateNothing = 0;

// Checks a result that was traced: negative is fatal, unless it is the tolerated code.
inline void checkSdkResult( const SdkCallSite & site, int rc, int tolerated ) {
  if ( rc < 0 && rc != tolerated ) [[unlikely]]
    failSdkCall( site, rc );
}

template < class Call >
int callSdk( const SdkCallSite & site, const SdkBoundCall< Call > & bound ) {
  const int rc = makeSdkCall( bound );
  if ( sdkTraceEnabled() ) [[unlikely]]
    traceSdkResult( site, rc );
  return rc;
}

template < class Call >
int callSdkChecked( const SdkCallSite & site, const SdkBoundCall< Call > & bound, int tolerated ) {
  const int rc = callSdk( site, bound );
  checkSdkResult( site, rc, tolerated );
  return rc;
}

template < class Call >
void callSdkUnchecked( const SdkCallSite & site, const SdkBoundCall< Call > & bound ) {
  makeSdkCall( bound );
  if ( sdkTraceEnabled() ) [[unlikely]]
    traceSdkUnchecked( site );
}

}  // namespace Shim

// An expression: the site as a constant, so that a call does not build it.
#define SDK_SITE( text, resultLabel )                                                             \
  *__extension__( {                                                                               \
    static constexpr ::Shim::SdkCallSite sdkCallSite{ __FILE__ ":" SDK_TEXT( __LINE__ ) " " text, \
                                                      resultLabel, __FILE__, __LINE__,            \
                                                      __PRETTY_FUNCTION__ };                      \
    &sdkCallSite;                                                                                 \
  } )
#define SDK_TEXT( line ) SDK_TEXT_OF( line )
#define SDK_TEXT_OF( line ) #line

#define SDK_CALL( ... ) \
  ::Shim::callSdk( SDK_SITE( #__VA_ARGS__, " (rc:" ), ::Shim::SdkCalls{}.__VA_ARGS__ )
// The same where the result is known as rv.
#define SDK_CALL_RV( ... ) \
  ::Shim::callSdk( SDK_SITE( #__VA_ARGS__, " (rv:" ), ::Shim::SdkCalls{}.__VA_ARGS__ )
#define SDK_CHECKED( ... )                                                                   \
  ::Shim::callSdkChecked( SDK_SITE( #__VA_ARGS__, " (rc:" ), ::Shim::SdkCalls{}.__VA_ARGS__, \
                          ::Shim::tolerateNothing )
// The same where the result is known as rv.
#define SDK_CHECKED_RV( ... )                                                                \
  ::Shim::callSdkChecked( SDK_SITE( #__VA_ARGS__, " (rv:" ), ::Shim::SdkCalls{}.__VA_ARGS__, \
                          ::Shim::tolerateNothing )
#define SDK_TOLERATED( toleratedRc, ... )                                                    \
  ::Shim::callSdkChecked( SDK_SITE( #__VA_ARGS__, " (rc:" ), ::Shim::SdkCalls{}.__VA_ARGS__, \
                          toleratedRc )
#define SDK_UNCHECKED( ... ) \
  ::Shim::callSdkUnchecked( SDK_SITE( #__VA_ARGS__, " (rc:" ), ::Shim::SdkCalls{}.__VA_ARGS__ )
#define SDK_ASSERTED( ... )                  \
  do {                                       \
    const int err = SDK_CALL( __VA_ARGS__ ); \
    KIV_ASSERT( err == BCM_E_NONE );         \
  } while ( false )
// Checks the result of an earlier call; prints the call's text.
#define SDK_RESULT_OF( rc, ... ) \
  ::Shim::checkSdkResult( SDK_SITE( #__VA_ARGS__, " (" #rc ":" ), rc, ::Shim::tolerateNothing )
// Checks a result that the caller keeps in a variable; prints the variable's name.
#define SDK_RESULT( rc ) \
  ::Shim::checkSdkResult( SDK_SITE( #rc, " (" #rc ":" ), rc, ::Shim::tolerateNothing )
