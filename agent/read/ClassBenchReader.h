// Reads filter sets in ClassBench format, one rule per line in order of precedence:
//
//   @sip/len dip/len lo : hi lo : hi 0xPP/0xMM [0xVVVV/0xMMMM ...]
//
// Columns are separated by tabs or spaces: source and destination prefix, source and destination
// ports, protocol with mask 0xFF or 0x00 (any), and header fields. The first header column has the
// TCP flags in its high byte, or ICMP type and code. For other protocols and in further columns the
// mask must be zero.
#pragma once

#include <string>

#include "agent/acl/AclRule.h"

namespace Agent {

// Throws Platform::InputError for malformed text and for text without rules.
Acl parseClassBench( const std::string & name, const std::string & file, const std::string & text );

}  // namespace Agent
