// A decorator that keeps a serial log of SDK calls and counts them by operation.
//
// Put it in front of any shim: Shim::sdk_ = &log, with log made on the software ASIC. Only calls
// that reach this object are seen; in front of a fault injector it sees the injected results too.
//
// Locks: writes happen inside SDK calls, under the SDK lock. Read, clear and keepRecords while no
// other thread makes SDK calls.
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
  U32 id;      // first id among the arguments, 0 when there is none
  int rc;      // 0 for a call that threw
  bool threw;  // left by an exception
  friend bool operator==( const CallRecord &, const CallRecord & ) = default;
};

// "bcm_field_entry_install unit 0 id 0x1000005 rc 0"; "threw" in place of the code.
std::string callText( const CallRecord & record );

class CallLog : public Shim::SdkDecorator {
 public:
  explicit CallLog( Shim::SdkShim & next ) : SdkDecorator( next ) {}

  // Calls in the order in which they ended; empty while records are not kept.
  const std::vector< CallRecord > & records() const { return records_; }
  // Calls of one operation, and of all; failed calls included.
  U64 count( Shim::SdkOp op ) const { return counts_[ static_cast< U32 >( op ) ]; }
  U64 total() const;

  // Forgets records and counts.
  void clear();
  // Whether records are kept; counts always are. Kept at first.
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
