// The software ASIC: a model of the switch chip behind the SDK shim.
//
// It implements all of shim/SdkShim.h for any number of units, each defined by a ChipProfile, with
// the chip's resource limits and error codes; classifies Ethernet frames by the installed rules;
// and exposes its whole state for audits.
//
// Chip rules, documented with the classes that enforce them:
//   ids and instances (InstanceId.h), ports (Ports.h), slices and rows (Slice.h, RowAllocator.h),
//   groups (Group.h), entries and rules (Entries.h, Rule.h), preselectors (Presels.h), statistics
//   (Stats.h), range checkers (RangeCheckers.h), policers (Policers.h, Meter.h), data qualifiers
//   (DataQualifiers.h), packets (PacketParser.h), lookup and actions (Pipeline.h)
//
// Common result codes: BCM_E_UNIT unknown unit, BCM_E_PARAM invalid argument, BCM_E_NOT_FOUND no
// such object, BCM_E_EXISTS id in use, BCM_E_BUSY object in use, BCM_E_RESOURCE out of slices,
// rows, ids or objects, BCM_E_UNAVAIL not supported by the chip.
//
// Call addUnit before anything else on the unit, and not concurrently with any other call.
//
// Locking: one mutex is the SDK lock of all units. Callers of SDK operations must hold it; calls
// without it are executed but counted in lockViolations. inject, reset and inspection take the lock
// unless the calling thread holds it.
//
// For an unknown unit chip queries return false; inject, reset and inspection throw
// std::out_of_range.
#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include "shim/SdkShim.h"
#include "softasic/ChipProfile.h"
#include "softasic/Inspection.h"
#include "softasic/Verdict.h"

namespace SoftAsic {

class Unit;

// Notified of what happens to a chip apart from SDK calls, before it happens and under the SDK
// lock.
class ChipWatcher {
 public:
  // `time`: the unit's virtual clock.
  virtual void packet( U32 unit, U64 time, U32 port, U32 egressPort, const U8 * frame,
                       size_t length ) = 0;
  virtual void reset( U32 unit ) = 0;

 protected:
  ~ChipWatcher() = default;
};

class SoftAsic : public Shim::SdkShim {
 public:
  SoftAsic();
  ~SoftAsic() override;
  SoftAsic( const SoftAsic & ) = delete;
  SoftAsic & operator=( const SoftAsic & ) = delete;

  // Throws std::invalid_argument if the unit exists or the profile is invalid.
  void addUnit( U32 unit, const ChipProfile & profile );

  // As an SDK re-initialisation: clears everything but the profile.
  void reset( U32 unit );

  // Processes a frame received on `port`, which is to leave by `egressPort`, updating statistics
  // and policers. `frame` starts with the destination address and has no FCS; any length and
  // alignment is safe. Throws std::out_of_range for an invalid port.
  Verdict inject( U32 unit, U32 port, const U8 * frame, size_t length, U32 egressPort = 0 );

  // Virtual clock in nanoseconds, from 0; only advance() moves it.
  U64 now( U32 unit ) const;
  void advance( U32 unit, U64 nanoseconds );

  // At most one; null: none. It must outlive the chip or be taken away.
  void watcherIs( ChipWatcher * watcher ) { watcher_ = watcher; }

  // Inspection
  std::vector< U32 > units() const;
  ChipProfile profile( U32 unit ) const;
  std::vector< GroupView > groups( U32 unit ) const;                  // by id
  std::optional< GroupView > group( U32 unit, U32 groupId ) const;    // empty: no such group
  std::vector< EntryView > entries( U32 unit, U32 groupId ) const;    // in match order
  std::optional< EntryView > entry( U32 unit, U32 entryId ) const;    // empty: no such entry
  std::vector< StatView > statistics( U32 unit ) const;               // by id
  std::optional< StatView > statistic( U32 unit, U32 statId ) const;  // empty: no such object
  std::vector< PreselView > preselectors( U32 unit ) const;           // by id
  std::vector< RangeView > ranges( U32 unit ) const;                  // by id
  std::vector< PolicerView > policers( U32 unit ) const;              // by id
  std::vector< DataQualifierView > dataQualifiers( U32 unit ) const;  // by id
  std::vector< TableView > tables( U32 unit ) const;                  // by stage, pipe, copy
  std::vector< SliceView > slices( U32 unit ) const;                  // same, then by number
  ControlsView controls( U32 unit ) const;
  kelmor_tcam_capacity_info_t capacity( U32 unit ) const;  // as reported by the SDK

  // True while any thread holds the SDK lock.
  bool sdkLockHeld() const { return owner_.load() != std::thread::id(); }
  // SDK operations called without the SDK lock.
  U64 lockViolations() const { return lockViolations_.load(); }

  // Shim::SdkShim
  void sdkLock() override KIV_NO_THREAD_SAFETY_ANALYSIS;
  void sdkUnlock() override KIV_NO_THREAD_SAFETY_ANALYSIS;
  const char * sdkErrorText( int rc ) const override;

#define SDK_OP( name, params, args ) int name( U32 unit SDK_UNPACK params ) override;
#define SDK_QUERY( name ) bool name( U32 unit ) const override;
#include "shim/SdkOperations.inc"

 private:
  class Guard;

  template < class F >
  int call( U32 unit, F && operation );
  const Unit * find( U32 unit ) const;
  const Unit & at( U32 unit ) const;
  bool query( U32 unit, bool ChipProfile::*property ) const;

  mutable std::mutex mutex_;
  mutable std::atomic< std::thread::id > owner_;  // thread that holds mutex_
  std::atomic< U64 > lockViolations_ = 0;
  std::map< U32, std::unique_ptr< Unit > > units_;
  ChipWatcher * watcher_ = nullptr;
};

}  // namespace SoftAsic
