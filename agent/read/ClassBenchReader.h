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

#include "agent/read/AclDocument.h"

namespace Agent {

bool isClassBench( const AclSource & source );
void readClassBench( const AclSource & source, AclDocument & document );

// The list of a text. Throws Platform::InputError for the first rule that is malformed and for text
// without rules.
Acl parseClassBench( const std::string & name, const std::string & file, const std::string & text );

}  // namespace Agent
