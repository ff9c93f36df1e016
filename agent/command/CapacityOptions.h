// Parses the TCAM capacity thresholds of `--threshold`.
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

// Each argument is [UNIT/]STAGE:UPPER[:CLEAR]: a stage name of the chip and percentages from 1 to
// 100; CLEAR is at most UPPER, the default. Throws UsageError for malformed arguments and duplicate
// stages.
std::vector< StageThreshold > readThresholds( const std::vector< std::string > & arguments,
                                              const Platform::PlatformData & platform );

}  // namespace Agent
