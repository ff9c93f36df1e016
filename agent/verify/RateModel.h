// Reference model of the policers.
//
// Each rule has one token bucket per pipe (for packets that leave: one), initially full, with the
// rule's rate and burst. A packet conforms if the bucket has tokens for the whole frame, and
// consumes them.
#pragma once

#include <map>
#include <tuple>

#include "agent/acl/Policy.h"

namespace Agent {

class RateModel {
 public:
  // True if the packet conforms. `time` is in nanoseconds and never decreases.
  bool passes( const RuleIndex & rule, const PoliceRate & rate, U32 pipe, U64 bytes, U64 time );

 private:
  struct Bucket {
    U64 tokens;  // millionths of a bit
    U64 time;
  };
  std::map< std::tuple< U32, U32, U32 >, Bucket > buckets_;  // by list, rule and pipe
};

}  // namespace Agent
