// A switch with a no-op SDK, to measure only the library and the lock protocol.
//
// It has one group with one bounded user; others are on request. libraryCycle runs the library's
// cycle on one entry, directCycle makes the same SDK calls through the same lock protocol without
// any records.
#pragma once

#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "kiv/Ptr.h"
#include "morvane/MorvaneTcamGroupManager.h"
#include "shim/SdkShim.h"

namespace Bench {

using namespace Kiv::Integers;

// Every operation succeeds and is only counted. Id outputs get the next id.
class NullSdk : public Shim::SdkShim {
 public:
  explicit NullSdk( bool secondCopy ) : secondCopy_( secondCopy ) {}

  void sdkLock() override KIV_NO_THREAD_SAFETY_ANALYSIS { mutex_.lock(); }
  void sdkUnlock() override KIV_NO_THREAD_SAFETY_ANALYSIS { mutex_.unlock(); }
  const char * sdkErrorText( int ) const override { return "none"; }

#define SDK_OP( name, params, args )                                 \
  int name( [[maybe_unused]] U32 unit SDK_UNPACK params ) override { \
    return respond args;                                             \
  }
#define SDK_QUERY( name )                                          \
  bool name( U32 ) const override {                                \
    return Shim::SdkQuery::name == secondCopyQuery && secondCopy_; \
  }
#include "shim/SdkOperations.inc"

  U64 calls() const {
    return calls_;
  }

 private:
  static constexpr Shim::SdkQuery secondCopyQuery = Shim::SdkQuery::kelmor_field_second_copy;

  template < class... Args >
  int respond( const Args &... args ) {
    ++calls_;
    ( fill( args ), ... );
    return 0;
  }
  template < class T >
  void fill( const T & ) {}
  void fill( bcm_field_group_status_s * status ) {
    *status = { 0, 0x7FFFFFFE, 1 << 24, 1 << 24, 0 };
  }
  void fill( U32 * id ) {
    *id = ++lastId_;
  }

  std::mutex mutex_;
  bool secondCopy_;
  U32 lastId_ = 0;
  U64 calls_ = 0;
};

struct BenchShape {
  U32 live = 1000;  // installed entries of each unit
  U32 pipes = 1;
  U32 copies = 1;
  U32 units = 1;
  U32 otherUsers = 0;  // each with a group of its own; the first is exhausted on every unit
};

// A started group manager with installed entries.
class BenchSwitch {
 public:
  explicit BenchSwitch( const BenchShape & shape );
  BenchSwitch( U32 pipes, U32 copies, U32 live )
      : BenchSwitch( { .live = live, .pipes = pipes, .copies = copies } ) {}
  ~BenchSwitch();

  // Release, get, install, set priority and remove on the next entry, of the units in turn.
  void libraryCycle();
  // The SDK calls of libraryCycle, in the same order.
  void directCycle();

  U64 sdkCalls() const { return sdk_.calls(); }
  const Morvane::MorvaneTcamGroupManager & groups() const { return *groups_; }
  Morvane::MorvaneTcamEntryManager & manager() { return *manager_; }
  // Building blocks of benchmarks of single operations.
  U32 nextEntry();
  void get( U32 entry );

  // Heap bytes per live entry, measured during allocation of the entries.
  double bytesPerEntry() const { return bytesPerEntry_; }
  // Heap allocations per live entry, measured likewise.
  double allocationsPerEntry() const { return allocationsPerEntry_; }

 private:
  struct Tables;

  NullSdk sdk_;
  std::unique_ptr< Tables > tables_;
  Kiv::Ptr< Morvane::MorvaneTcamGroupManager > groups_;
  Kiv::Ptr< Morvane::MorvaneBoundedTcamEntryManager > manager_;
  std::vector< Morvane::PipeCopy > copies_;  // for directCycle
  Kiv::String8 desc_;
  U32 live_;
  U32 units_;
  U32 unit_ = 0;  // of the next entry
  U32 turn_ = 0;
  double bytesPerEntry_ = 0;
  double allocationsPerEntry_ = 0;
};

// Keeps the C library from using its single-threaded fast paths during measurements.
class SecondThread {
 public:
  SecondThread();
  ~SecondThread();

 private:
  std::mutex stop_;
  std::thread thread_;
};

}  // namespace Bench
