// The matches of one access control entry of RFC 8519.
#pragma once

#include "agent/read/DraftRule.h"

namespace Agent {

// The modules of the model.
Platform::JsonFields::Modules rfc8519Modules();

// Throws Platform::InputError for every leaf that is not matched.
void readRfc8519Matches( const std::string & file, const Platform::JsonNode & node,
                         DraftRule & draft );

}  // namespace Agent
