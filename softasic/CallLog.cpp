#include "softasic/CallLog.h"

#include <cstdio>
#include <numeric>

namespace SoftAsic {

std::string callText( const CallRecord & record ) {
  char id[ 16 ];
  std::snprintf( id, sizeof id, "0x%x", static_cast< unsigned >( record.id ) );
  std::string text = std::string( Shim::sdkOpName( record.op ) ) + " unit " +
                     std::to_string( record.unit ) + " id " + id;
  return text + ( record.threw ? " threw" : " rc " + std::to_string( record.rc ) );
}

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
