#include "agent/verify/RateModel.h"

#include <algorithm>

namespace Agent {

bool RateModel::passes( const RuleIndex & rule, const PoliceRate & rate, U32 pipe, U64 bytes,
                        U64 time ) {
  // 1 kbit/s adds one token per nanosecond.
  constexpr U64 tokensPerByte = 8'000'000;
  const U64 perNanosecond = rate.bitsPerSecond / 1000;
  const U64 full = rate.burstBytes * tokensPerByte;
  Bucket & bucket =
      buckets_.try_emplace( { rule.acl, rule.rule, pipe }, Bucket{ full, 0 } ).first->second;
  const U64 missing = full - bucket.tokens;
  const U64 passed = std::min( time - bucket.time, missing / perNanosecond + 1 );
  bucket.tokens += std::min( missing, passed * perNanosecond );
  bucket.time = time;
  if ( bucket.tokens < bytes * tokensPerByte )
    return false;
  bucket.tokens -= bytes * tokensPerByte;
  return true;
}

}  // namespace Agent
