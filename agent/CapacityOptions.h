// Thresholds of the TCAM's capacity, as `--threshold` asks for them.
#pragma once

#include <string>
#include <vector>

#include "morvane/MorvaneTcamCapacitySm.h"
#include "platform/PlatformModel.h"

namespace Agent {

using namespace Kiv::Integers;

struct StageThreshold {
  Morvane::TcamCapacityKey key;
  Morvane::TcamCapacityThreshold threshold;
};

// From a list of [UNIT/]STAGE:UPPER[:CLEAR]: STAGE a stage of the chip by name, percents from 1 to
// 100, CLEAR not above UPPER and UPPER when it is missing. Throws UsageError for anything else, and
// for a stage that is there twice.
std::vector< StageThreshold > readThresholds( const std::vector< std::string > & arguments,
                                              const Platform::PlatformData & platform );

}  // namespace Agent
