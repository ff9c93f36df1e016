// The software ASIC: switch chips that live in memory and refuse what real ones refuse.
//
// It implements every operation of shim/SdkShim.h for any number of units, each made from a
// ChipProfile, classifies real Ethernet frames with the rules that are installed, and shows its
// whole state to an auditor. It knows nothing of who drives it.
//
// Chip rules, each told in full at the object that enforces it:
//   ids and instances (InstanceId.h), ports (Ports.h), slices and rows (Slice.h, RowAllocator.h),
//   groups (Group.h), entries and rules (Entries.h, Rule.h), preselectors (Presels.h), statistics
//   (Stats.h), range checkers (RangeCheckers.h), policers (Policers.h, Meter.h), data qualifiers
//   (DataQualifiers.h), packets (PacketParser.h), lookup and actions (Pipeline.h)
//
// Result codes used throughout: -3 unknown unit, -4 parameter, -7 no such object, -8 id in use,
// -10 object in use, -14 out of slices, rows, ids or objects, -16 not on this chip.
//
// Order of calls: addUnit, then SDK operations on that unit, inject and inspection in any order.
// addUnit must not run beside any other call.
//
// Locks: one mutex is the SDK lock of all units. SDK operations expect their caller to hold it; a
// call without it is carried out, and counted in lockViolations. inject, reset and the inspection
// functions take the lock themselves unless the calling thread holds it already.
//
// Chip queries answer false for an unknown unit. inject, reset and inspection throw
// std::out_of_range for one.
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

class SoftAsic : public Shim::SdkShim {
 public:
  SoftAsic();
  ~SoftAsic() override;
  SoftAsic( const SoftAsic & ) = delete;
  SoftAsic & operator=( const SoftAsic & ) = delete;

  // Adds a chip in its initial state. Throws std::invalid_argument when the unit exists or the
  // profile does not validate.
  void addUnit( U32 unit, const ChipProfile & profile );

  // What an SDK re-initialisation leaves: the profile, and nothing else.
  void reset( U32 unit );

  // Runs a frame that entered by `port` through the tables. `length` bytes at `frame` are the
  // frame from its destination address on, without preamble and checksum; any length is safe, and
  // the bytes need not be aligned. Counts statistics and spends policers' tokens. Throws
  // std::out_of_range for a port that the chip lacks.
  Verdict inject( U32 unit, U32 port, const U8 * frame, size_t length );

  // The unit's virtual clock, in nanoseconds: 0 at first, it stands still between calls of advance.
  U64 now( U32 unit ) const;
  void advance( U32 unit, U64 nanoseconds );

  // Inspection
  std::vector< U32 > units() const;
  ChipProfile profile( U32 unit ) const;
  std::vector< GroupView > groups( U32 unit ) const;                  // by id
  std::optional< GroupView > group( U32 unit, U32 groupId ) const;    // absent: no such group
  std::vector< EntryView > entries( U32 unit, U32 groupId ) const;    // in matching order
  std::optional< EntryView > entry( U32 unit, U32 entryId ) const;    // absent: no such entry
  std::vector< StatView > statistics( U32 unit ) const;               // by id
  std::optional< StatView > statistic( U32 unit, U32 statId ) const;  // absent: no such object
  std::vector< PreselView > preselectors( U32 unit ) const;           // by id
  std::vector< RangeView > ranges( U32 unit ) const;                  // by id
  std::vector< PolicerView > policers( U32 unit ) const;              // by id
  std::vector< DataQualifierView > dataQualifiers( U32 unit ) const;  // by id
  std::vector< TableView > tables( U32 unit ) const;                  // by stage, pipe, copy
  std::vector< SliceView > slices( U32 unit ) const;                  // likewise, and by number
  ControlsView controls( U32 unit ) const;
  kelmor_tcam_capacity_info_t capacity( U32 unit ) const;  // what the SDK tells

  // Whether any thread holds the SDK lock now.
  bool sdkLockHeld() const { return owner_.load() != std::thread::id(); }
  // SDK operations so far that were called by a thread without the SDK lock.
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
};

}  // namespace SoftAsic
