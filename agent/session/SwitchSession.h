// A switch running the TCAM library: a software chip, or the SDK of another one.
//
// At most one session per process. Hold the activity lock from before construction until after
// destruction.
#pragma once

#include <map>
#include <memory>
#include <string>

#include "agent/session/CapacityTable.h"
#include "morvane/MorvaneTcamCapacitySm.h"
#include "morvane/MorvaneTcamGroupManager.h"
#include "platform/PlatformModel.h"
#include "softasic/CallLog.h"
#include "softasic/SoftAsic.h"

namespace SdkRecord {
class Recorder;
}

namespace Agent {

using namespace Kiv::Integers;

class SwitchSession {
 public:
  // Creates the chip, installs SDK shim and platform, and starts the library. The platform must
  // have been validated by its loader. The library asserts if a pre-created entry range does not
  // fit the chip. `record`: a file for all SDK calls and packets; empty: none. Throws
  // std::system_error if it cannot be written. `sdk`: the library runs on its unit in place of the
  // software chip, which then has no unit; it must outlive the session.
  explicit SwitchSession( const Platform::PlatformData & platform, const std::string & record = "",
                          Shim::SdkShim * sdk = nullptr );
  ~SwitchSession();
  SwitchSession( const SwitchSession & ) = delete;
  SwitchSession & operator=( const SwitchSession & ) = delete;

  static constexpr U32 unit = 0;

  const Platform::PlatformData & platform() const { return platform_.data(); }
  SoftAsic::SoftAsic & chip() { return chip_; }
  const SoftAsic::SoftAsic & chip() const { return chip_; }
  Morvane::MorvaneTcamGroupManager & groupManager() { return *groupManager_; }

  // Polled by the caller; each poll updates the table.
  Morvane::MorvaneTcamCapacitySm & capacity() { return *capacity_; }
  const CapacityTable & capacityTable() const { return capacityTable_; }

  // Call counts by SDK name, without operations that were never called.
  std::map< std::string, U64 > sdkCalls() const;
  U64 sdkCallTotal() const { return calls_.total(); }
  // Throws std::system_error if a part of the record could not be written.
  void requireRecorded() const;

 private:
  Platform::PlatformModel platform_;
  SoftAsic::SoftAsic chip_;
  std::unique_ptr< SdkRecord::Recorder > recorder_;  // null: nothing is recorded
  SoftAsic::CallLog calls_;
  Kiv::Ptr< Morvane::MorvaneTcamGroupManager > groupManager_;
  CapacityTable capacityTable_;
  Kiv::Ptr< Morvane::MorvaneTcamCapacitySm > capacity_;
};

}  // namespace Agent
