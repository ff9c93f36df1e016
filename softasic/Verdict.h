// What the software ASIC decides about one packet.
#pragma once

#include <vector>

#include "shim/SdkTypes.h"
#include "softasic/ChipProfile.h"
#include "softasic/Meter.h"

namespace SoftAsic {

// The entry that won in one group.
struct Match {
  StageKind stage;
  U32 group;
  U32 entry;
  friend bool operator==( const Match &, const Match & ) = default;
};

struct Verdict {
  bool drop = false;
  bool permit = false;  // a permit action decided, in the last stage that had one or a drop
  bool copyToCpu = false;
  Colour colour = Colour::green;  // as the policers of all winners left it; red: dropped
  bool redirect = false;          // `redirectPorts` replaces the forwarding decision
  bcm_pbmp_t redirectPorts = {};  // of the group with the highest priority that redirects
  bcm_pbmp_t egressMask = {};     // ports to keep off, of all groups together
  bcm_pbmp_t mirrorPorts = {};    // ports that get a copy, of all groups together
  // Winners, stage by stage, in a stage by falling group priority.
  std::vector< Match > matches;
};

}  // namespace SoftAsic
