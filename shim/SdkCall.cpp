#include "shim/SdkCall.h"

#include <cstdio>

#include "kiv/Assert.h"
#include "snaptrace/Line.h"

namespace Shim {

constinit Kiv::TraceHandle sdkTrace( "SdkShim" );
const Kiv::TraceRegistration sdkTraceRegistration( sdkTrace );
constinit thread_local bool inSdkCall = false;

void traceSdkResult( const SdkCallSite & site, int rc ) {
  SNAPTRACE( bcmFpCmd, sdkTrace, 0 ) << site.traced << site.resultLabel << rc << ")";
}

void traceSdkUnchecked( const SdkCallSite & site ) {
  SNAPTRACE( bcmFpCmd, sdkTrace, 0 ) << site.traced << " no rc check";
}

void failSdkCall( const SdkCallSite & site, int rc ) {
  std::fprintf( stderr, "%s API ERROR:%s (%d)\n", site.traced.data(), sdk_->sdkErrorText( rc ),
                rc );
  __assert_fail( "0", site.file, static_cast< unsigned >( site.line ), site.function );
}

}  // namespace Shim
