#include "softasic/Meter.h"

#include <algorithm>

namespace SoftAsic {

namespace {

constexpr U64 tokensPerBit = 1'000'000;
constexpr U64 tokensPerKilobit = 1000 * tokensPerBit;
constexpr U32 knownPolicerFlags = BCM_POLICER_WITH_ID | BCM_POLICER_COLOR_BLIND;

// Tokens that a rate in kbit/s adds in `nanoseconds`, at most `room`.
U64 gain( U32 rate, U64 nanoseconds, U64 room ) {
  if ( rate == 0 )
    return 0;
  return nanoseconds > room / rate ? room : nanoseconds * rate;
}

}  // namespace

bool Meter::accepts( const bcm_policer_config_t & config ) {
  if ( ( config.flags & ~knownPolicerFlags ) != 0 )
    return false;
  switch ( config.mode ) {
    case bcmPolicerModeCommitted:
      return config.ckbits_burst != 0;
    case bcmPolicerModeSrTcm:
      return config.ckbits_burst != 0 || config.pkbits_burst != 0;
    case bcmPolicerModeTrTcm:
      return config.ckbits_burst != 0 && config.pkbits_burst != 0 &&
             config.pkbits_sec >= config.ckbits_sec;
    default:
      return false;
  }
}

Meter::Meter( const bcm_policer_config_t & config, U64 now )
    : config_( config ),
      committed_{ config.ckbits_burst * tokensPerKilobit, config.ckbits_burst * tokensPerKilobit },
      second_{ 0, 0 },
      filledAt_( now ) {
  if ( config.mode != bcmPolicerModeCommitted )
    second_.size = second_.tokens = config.pkbits_burst * tokensPerKilobit;
}

void Meter::fill( U64 now ) {
  const U64 passed = now - filledAt_;
  filledAt_ = now;
  if ( config_.mode == bcmPolicerModeTrTcm ) {
    committed_.tokens += gain( config_.ckbits_sec, passed, committed_.room() );
    second_.tokens += gain( config_.pkbits_sec, passed, second_.room() );
    return;
  }
  const U64 gained = gain( config_.ckbits_sec, passed, committed_.room() + second_.room() );
  const U64 kept = std::min( gained, committed_.room() );
  committed_.tokens += kept;
  second_.tokens += gained - kept;
}

Colour Meter::mark( Colour before, U64 bytes, U64 now ) {
  fill( now );
  if ( ( config_.flags & BCM_POLICER_COLOR_BLIND ) != 0 )
    before = Colour::green;
  const U64 cost = bytes * 8 * tokensPerBit;
  return config_.mode == bcmPolicerModeTrTcm ? markTwoRates( before, cost )
                                             : markSingleRate( before, cost );
}

Colour Meter::markSingleRate( Colour before, U64 cost ) {
  if ( before == Colour::green && committed_.tokens >= cost ) {
    committed_.tokens -= cost;
    return Colour::green;
  }
  if ( config_.mode == bcmPolicerModeSrTcm && before != Colour::red && second_.tokens >= cost ) {
    second_.tokens -= cost;
    return Colour::yellow;
  }
  return Colour::red;
}

Colour Meter::markTwoRates( Colour before, U64 cost ) {
  if ( before == Colour::red || second_.tokens < cost )
    return Colour::red;
  second_.tokens -= cost;
  if ( before == Colour::yellow || committed_.tokens < cost )
    return Colour::yellow;
  committed_.tokens -= cost;
  return Colour::green;
}

}  // namespace SoftAsic
