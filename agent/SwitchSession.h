// A software switch with the TCAM library started on it.
//
// Order of calls: one session at a time in a process, with the activity lock held from before its
// construction until after its destruction.
#pragma once

#include <map>
#include <string>

#include "agent/CapacityTable.h"
#include "morvane/MorvaneTcamCapacitySm.h"
#include "morvane/MorvaneTcamGroupManager.h"
#include "platform/PlatformModel.h"
#include "softasic/CallLog.h"
#include "softasic/SoftAsic.h"

namespace Agent {

using namespace Kiv::Integers;

class SwitchSession {
 public:
  // Makes the chip, sets the SDK and the platform, and starts the library. The platform must be one
  // that its loader accepted; a range that is made at start-up and does not fit the chip ends the
  // process in the library's assertion.
  explicit SwitchSession( const Platform::PlatformData & platform );
  ~SwitchSession();
  SwitchSession( const SwitchSession & ) = delete;
  SwitchSession & operator=( const SwitchSession & ) = delete;

  static constexpr U32 unit = 0;

  const Platform::PlatformData & platform() const { return platform_.data(); }
  SoftAsic::SoftAsic & chip() { return chip_; }
  Morvane::MorvaneTcamGroupManager & groupManager() { return *groupManager_; }

  // The capacity machine is polled by whoever wants to know; the table has what it told.
  Morvane::MorvaneTcamCapacitySm & capacity() { return *capacity_; }
  const CapacityTable & capacityTable() const { return capacityTable_; }

  // Calls so far by SDK name; operations that were never called are left out.
  std::map< std::string, U64 > sdkCalls() const;

 private:
  Platform::PlatformModel platform_;
  SoftAsic::SoftAsic chip_;
  SoftAsic::CallLog calls_;
  Kiv::Ptr< Morvane::MorvaneTcamGroupManager > groupManager_;
  CapacityTable capacityTable_;
  Kiv::Ptr< Morvane::MorvaneTcamCapacitySm > capacity_;
};

}  // namespace Agent
