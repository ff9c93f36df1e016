// TCAM capacity report of a run.
#pragma once

#include <string>
#include <vector>

#include "morvane/MorvaneTcamCapacitySm.h"

namespace Agent {

using namespace Kiv::Integers;

// A stage of a unit with its alarm thresholds.
struct StageCapacity {
  U32 unit = 0;
  std::string stage;  // "IFP"
  Morvane::TcamCapacityRow row;
  Morvane::TcamCapacityThreshold threshold;  // upper 0: none
};

struct CapacityReport {
  struct Row : StageCapacity {
    bool exceeded = false;  // alarm is raised
  };
  struct Alarm : StageCapacity {
    bool raised = false;
  };
  std::vector< Row > rows;      // by unit and stage, after all packets
  std::vector< Alarm > alarms;  // of the whole run, in order
};

// Rounded down; 0 for a stage of size 0.
U32 percentUsed( const Morvane::TcamCapacityRow & row );

// A table and one line per alarm.
std::string capacityText( const CapacityReport & report );

}  // namespace Agent
