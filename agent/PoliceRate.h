// Policer settings as people write them.
#pragma once

#include <optional>
#include <string_view>

#include "agent/AclRule.h"

namespace Agent {

constexpr U64 bitsPerKbit = 1000;

// Decimal digits; absent for anything else.
std::optional< U64 > numberFromText( std::string_view text );

// "10M" as 10,000,000 bit/s: decimal digits and one of k, M, G or nothing. Absent for anything
// else, and for a rate that is not of one to 4,294,967,295 whole kbit/s.
std::optional< U64 > rateFromText( std::string_view text );

// A policer's setting. The burst is rounded up to whole kbits (125 bytes); 0 asks for what the rate
// passes in 10 milliseconds, at least 2,000 bytes. Absent for a burst above 4,294,967,295 kbits.
std::optional< PoliceRate > policeRate( U64 bitsPerSecond, U64 burstBytes );

}  // namespace Agent
