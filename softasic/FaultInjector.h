// A decorator that makes chosen SDK calls fail, by a result code or by an exception.
//
// One fault is armed at a time. Calls that the fault's filters select are counted from 1; call
// number `nth`, and the `times` - 1 selected ones after it, fail without reaching the chip. The
// usual loop fails call 1, 2, 3 ... of a scenario until `fired` answers false:
//
//   for( U32 nth = 1;; ++nth ) {
//     faults.arm( { .op = SdkOp::bcm_field_entry_create_id, .nth = nth, .rc = BCM_E_RESOURCE } );
//     scenario();
//     if( !faults.fired() ) break;
//   }
//
// Locks: as CallLog; arm and read while no other thread makes SDK calls.
#pragma once

#include <exception>
#include <optional>

#include "shim/SdkDecorator.h"

namespace SoftAsic {

using namespace Kiv::Integers;

struct Fault {
  std::optional< Shim::SdkOp > op = {};  // absent: any operation
  std::optional< U32 > unit = {};        // absent: any unit
  std::optional< U32 > pipe = {};  // bits 24 and 25 of the call's id; absent: any. A call without
                                   // a group or entry id counts as pipe 0.
  U32 nth = 1;                     // first selected call that fails; 0 counts as 1
  U32 times = 1;                   // selected calls that fail; 0: all from `nth` on
  int rc = BCM_E_INTERNAL;
  std::exception_ptr exception = nullptr;  // thrown instead of returning `rc`
};

class FaultInjector : public Shim::SdkDecorator {
 public:
  explicit FaultInjector( Shim::SdkShim & next ) : SdkDecorator( next ) {}

  // Replaces the armed fault and starts counting at 0.
  void arm( const Fault & fault );
  // Lets every call through; `fired` and `selected` keep their answers.
  void disarm() { armed_ = false; }

  // Whether a call failed since the last arm.
  bool fired() const { return fired_ != 0; }
  // Selected calls since the last arm, failed ones included.
  U64 selected() const { return selected_; }

 protected:
  int around( const Shim::SdkCallInfo & info, const Shim::SdkInvocation & call ) override;

 private:
  bool selects( const Shim::SdkCallInfo & info ) const;

  bool armed_ = false;
  Fault fault_;
  U64 selected_ = 0;
  U64 fired_ = 0;
};

}  // namespace SoftAsic
