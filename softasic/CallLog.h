// Shim decorator that logs SDK calls in order and counts them per operation.
//
// Install it on top of any shim, e.g. Shim::sdk_ = &log. It logs only the calls that reach it; on
// top of a fault injector that includes the injected failures.
//
// Locking: written inside SDK calls, under the SDK lock. Use records, clear and keepRecords only
// while no other thread makes SDK calls.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "shim/SdkDecorator.h"

namespace SoftAsic {

using namespace Kiv::Integers;

struct CallRecord {
  Shim::SdkOp op;
  U32 unit;
  U32 id;  // first id argument; 0: none
  int rc;  // 0 if the call threw
  bool threw;
  friend bool operator==( const CallRecord &, const CallRecord & ) = default;
};

class CallLog : public Shim::SdkDecorator {
 public:
  explicit CallLog( Shim::SdkShim & next ) : SdkDecorator( next ) {}

  // In completion order.
  const std::vector< CallRecord > & records() const { return records_; }
  // Including failed calls.
  U64 count( Shim::SdkOp op ) const { return counts_[ static_cast< U32 >( op ) ]; }
  U64 total() const;

  void clear();
  // Counting always continues.
  void keepRecords( bool keep ) { keep_ = keep; }

 protected:
  int around( const Shim::SdkCallInfo & info, const Shim::SdkInvocation & call ) override;

 private:
  void add( const CallRecord & record );

  bool keep_ = true;
  std::vector< CallRecord > records_;
  std::array< U64, static_cast< U32 >( Shim::SdkOp::count ) > counts_ = {};
};

}  // namespace SoftAsic
