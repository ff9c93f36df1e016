// Rules that a person types.
#pragma once

#include <string>

#include "agent/acl/AclRule.h"
#include "platform/PlatformModel.h"

namespace Agent {

// A rule for the list, in the form of a rules file, `{ "source": "10.0.0.0/8", .. }`, or, for IPv4
// and IPv6 lists that filter, in the router command-line form, `permit tcp any host 10.0.0.1 eq
// 80`. It is restricted to the ports that the list is bound to. Throws ShellError.
AclRule ruleInWords( const Platform::PlatformData & platform, const Acl & list,
                     const std::string & text );

}  // namespace Agent
