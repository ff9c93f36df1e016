#include "softasic/FaultInjector.h"

#include <algorithm>

#include "softasic/InstanceId.h"

namespace SoftAsic {

void FaultInjector::arm( const Fault & fault ) {
  fault_ = fault;
  fault_.nth = std::max( fault.nth, 1U );
  armed_ = true;
  selected_ = 0;
  fired_ = 0;
}

bool FaultInjector::selects( const Shim::SdkCallInfo & info ) const {
  return armed_ && ( !fault_.thread || *fault_.thread == std::this_thread::get_id() ) &&
         ( !fault_.op || *fault_.op == info.op ) && ( !fault_.unit || *fault_.unit == info.unit ) &&
         ( !fault_.pipe || *fault_.pipe == idPipe( info.id ) );
}

int FaultInjector::around( const Shim::SdkCallInfo & info, const Shim::SdkInvocation & call ) {
  if ( !selects( info ) || ++selected_ < fault_.nth ||
       ( fault_.times != 0 && fired_ == fault_.times ) )
    return call();
  ++fired_;
  everFired_ = true;
  if ( fault_.exception )
    std::rethrow_exception( fault_.exception );
  return fault_.rc;
}

}  // namespace SoftAsic
