// What of a switch's resources is used, and by whom.
#pragma once

#include <vector>

#include "agent/session/SwitchSession.h"
#include "agent/verdict/Fit.h"

namespace Agent {

// `acls`: the lists that hold something on the chip.
std::vector< ResourceUse > resourcesOf( SwitchSession & session,
                                        const std::vector< const Acl * > & acls );

// Of the first pipe, which is like the others.
U64 policersInUse( const SwitchSession & session );
U64 udfChunksInUse( const SwitchSession & session );
U64 udfFormatsInUse( const SwitchSession & session );

}  // namespace Agent
