// Processing result of one packet.
#pragma once

#include <vector>

#include "shim/SdkTypes.h"
#include "softasic/ChipProfile.h"
#include "softasic/Meter.h"

namespace SoftAsic {

// The winning entry of one group.
struct Match {
  StageKind stage;
  U32 group;
  U32 entry;
  Colour colour = Colour::green;  // of its policer; red: its actions do not apply
  friend bool operator==( const Match &, const Match & ) = default;
};

struct Verdict {
  bool drop = false;
  bool permit = false;  // a permit decided, in the last stage with a drop or permit
  bool copyToCpu = false;
  Colour colour = Colour::green;  // after all policers; red: dropped
  bool redirect = false;          // `redirectPorts` replaces the forwarding decision
  bcm_pbmp_t redirectPorts = {};  // of the highest-priority group with a redirect
  bcm_pbmp_t egressMask = {};     // ports not to send to, over all groups
  bcm_pbmp_t mirrorPorts = {};    // ports that get a copy, over all groups
  // Winners by stage, then by descending group priority.
  std::vector< Match > matches;
};

}  // namespace SoftAsic
