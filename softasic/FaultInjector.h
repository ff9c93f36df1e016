// Shim decorator that makes selected SDK calls fail with a result code or an exception.
//
// One fault is armed at a time. Calls that match its filters are counted from 1; calls `nth` to
// `nth` + `times` - 1 fail without reaching the chip. To fail every call of a scenario in turn:
//
//   for( U32 nth = 1;; ++nth ) {
//     faults.arm( { .op = SdkOp::bcm_field_entry_create_id, .nth = nth, .rc = BCM_E_RESOURCE } );
//     scenario();
//     if( !faults.fired() ) break;
//   }
//
// Locking: arm and read only while no other thread makes SDK calls that the fault selects.
#pragma once

#include <atomic>
#include <exception>
#include <optional>
#include <thread>

#include "shim/SdkDecorator.h"

namespace SoftAsic {

using namespace Kiv::Integers;

struct Fault {
  std::optional< Shim::SdkOp > op = {};  // empty: any operation
  std::optional< U32 > unit = {};        // empty: any unit
  // Bits 24 and 25 of the call's id; empty: any. Calls without a group or entry id are in pipe 0.
  std::optional< U32 > pipe = {};
  std::optional< std::thread::id > thread = {};  // empty: any thread
  U32 nth = 1;                                   // first selected call that fails; 0 is taken as 1
  U32 times = 1;                                 // selected calls that fail; 0: all from `nth` on
  int rc = BCM_E_INTERNAL;
  std::exception_ptr exception = nullptr;  // thrown instead of returning `rc`
};

class FaultInjector : public Shim::SdkDecorator {
 public:
  explicit FaultInjector( Shim::SdkShim & next ) : SdkDecorator( next ) {}

  // Replaces the armed fault and resets the counts.
  void arm( const Fault & fault );
  // Keeps `fired`.
  void disarm() { armed_ = false; }

  // True if a call failed since the last arm.
  bool fired() const { return fired_ != 0; }
  // True if a call ever failed.
  bool everFired() const { return everFired_; }

 protected:
  int around( const Shim::SdkCallInfo & info, const Shim::SdkInvocation & call ) override;

 private:
  bool selects( const Shim::SdkCallInfo & info ) const;

  std::atomic< bool > armed_ = false;
  Fault fault_;
  U64 selected_ = 0;
  U64 fired_ = 0;
  bool everFired_ = false;
};

}  // namespace SoftAsic
