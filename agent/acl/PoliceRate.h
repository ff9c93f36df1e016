// Parses policer rates.
#pragma once

#include <optional>
#include <string_view>

#include "agent/acl/AclRule.h"

namespace Agent {

constexpr U64 bitsPerKbit = 1000;

// Decimal digits; empty for anything else.
std::optional< U64 > numberFromText( std::string_view text );

// "10M" is 10,000,000 bit/s: decimal digits and an optional k, M or G. Empty for anything else and
// unless the rate is 1 to 4,294,967,295 whole kbit/s.
std::optional< U64 > rateFromText( std::string_view text );

// Rounds the burst up to whole kbit (125 bytes); 0 selects the default of 10 ms at the given rate,
// at least 2,000 bytes. Empty for a burst above 4,294,967,295 kbit.
std::optional< PoliceRate > policeRate( U64 bitsPerSecond, U64 burstBytes );

}  // namespace Agent
