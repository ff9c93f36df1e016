// Rules as people count them: from 1.
#pragma once

#include <string>
#include <vector>

#include "kiv/Types.h"

namespace Agent {

using namespace Kiv::Integers;

// Of indices.
std::vector< U32 > numbers( const std::vector< U32 > & rules );

// "rule 3", "rules 1-4, 7" of ascending indices.
std::string numberedRules( const std::vector< U32 > & rules );

}  // namespace Agent
