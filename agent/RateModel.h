// What the policers of rules let pass, worked out the plain way.
//
// Every rule has one token bucket in every pipe, full at first, that its rate fills up to its
// burst. A packet passes when the bucket holds the whole frame, and takes it out.
#pragma once

#include <map>
#include <tuple>

#include "agent/BruteForce.h"

namespace Agent {

class RateModel {
 public:
  // Whether a packet of the rule passes; `time` in nanoseconds, from 0 on, never falls.
  bool passes( const RuleIndex & rule, const PoliceRate & rate, U32 pipe, U64 bytes, U64 time );

 private:
  struct Bucket {
    U64 tokens;  // millionths of a bit
    U64 time;
  };
  std::map< std::tuple< U32, U32, U32 >, Bucket > buckets_;  // by list, rule and pipe
};

}  // namespace Agent
