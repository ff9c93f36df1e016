// The keys of one ACL rule of SONiC's databases.
#pragma once

#include <optional>

#include "agent/read/DraftRule.h"

namespace Agent {

inline constexpr U32 priorityMax = 999999;
inline constexpr U32 vlanMax = 4094;

struct SonicRule {
  U32 priority = 0;
  DraftRule draft;
};

// Throws Platform::InputError for every key that is not matched.
SonicRule readSonicRule( const std::string & file, const std::string & name,
                         const Platform::JsonNode & node );

}  // namespace Agent
