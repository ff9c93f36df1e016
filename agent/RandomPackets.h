// Packets that try an access list: inside its rules, on their borders, and outside.
#pragma once

#include <vector>

#include "agent/AclRule.h"
#include "agent/Packet.h"

namespace Agent {

// `count` packets, the same ones for the same seed and rules on every machine. In turn: inside a
// rule; with every field on, or one beyond, an end of the rule's interval; inside a rule but for
// one field; anywhere. Without rules all of them are anywhere.
std::vector< PacketFields > randomPackets( const std::vector< Acl > & acls, U64 seed, U32 count );

}  // namespace Agent
