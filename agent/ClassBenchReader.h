// Reads filter sets in ClassBench form, one rule a line, the first line first:
//
//   @sip/len dip/len lo : hi lo : hi 0xPP/0xMM [0xVVVV/0xMMMM ...]
//
// Columns are separated by tabs or spaces: source and destination prefix, source and destination
// ports, protocol with mask 0xFF (this one) or 0x00 (any), and header bits. The first header column
// is, for TCP, the flags byte in its high byte, and for ICMP type and code; elsewhere, and in any
// further column, only a zero mask is understood.
#pragma once

#include <string>

#include "agent/AclRule.h"

namespace Agent {

// Throws Platform::InputError for anything that is not understood, and for a text without rules.
Acl parseClassBench( const std::string & name, const std::string & file, const std::string & text );

}  // namespace Agent
