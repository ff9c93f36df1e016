#include "softasic/CallLog.h"

#include <numeric>

namespace SoftAsic {

U64 CallLog::total() const {
  return std::accumulate( counts_.begin(), counts_.end(), U64{ 0 } );
}

void CallLog::clear() {
  records_.clear();
  counts_ = {};
}

void CallLog::add( const CallRecord & record ) {
  ++counts_[ static_cast< U32 >( record.op ) ];
  if ( keep_ )
    records_.push_back( record );
}

int CallLog::around( const Shim::SdkCallInfo & info, const Shim::SdkInvocation & call ) {
  try {
    const int rc = call();
    add( { info.op, info.unit, info.id, rc, false } );
    return rc;
  } catch ( ... ) {
    add( { info.op, info.unit, info.id, 0, true } );
    throw;
  }
}

}  // namespace SoftAsic
