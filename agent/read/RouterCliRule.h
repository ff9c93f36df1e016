// Reads an entry of an access list in the router command-line form (docs/formats.md).
#pragma once

#include "agent/acl/AclRule.h"
#include "agent/read/WordReader.h"

namespace Agent {

enum class CliList { standard, extended, ipv6 };

struct CliRule {
  AclRule rule;
  bool logs = false;     // it asks for log messages
  bool anyFlag = false;  // it names several TCP flags without match-any or match-all
};

// From its action to the end of the line. Throws Platform::InputError.
CliRule readCliRule( WordReader & words, CliList form );

}  // namespace Agent
