// What a run tells of the TCAM's capacity.
#pragma once

#include <string>
#include <vector>

#include "agent/CapacityTable.h"

namespace Agent {

// A stage of a unit, with its alarm's thresholds.
struct StageCapacity {
  U32 unit = 0;
  std::string stage;  // "IFP"
  Morvane::TcamCapacityRow row;
  Morvane::TcamCapacityThreshold threshold;  // upper 0: none
};

struct CapacityReport {
  struct Row : StageCapacity {
    bool exceeded = false;  // its alarm stands
  };
  struct Alarm : StageCapacity {
    bool raised = false;
  };
  std::vector< Row > rows;      // by unit and stage, as they stand after the packets
  std::vector< Alarm > alarms;  // of the whole run, in the order in which they came
};

// Percent of its size that is in use, rounded down; 0 for a stage without size.
U32 percentUsed( const Morvane::TcamCapacityRow & row );

// A table, and a line for each alarm.
std::string capacityText( const CapacityReport & report );

}  // namespace Agent
