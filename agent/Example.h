// The example that is built into the program: a campus edge's access list and packets for it.
#pragma once

#include <vector>

#include "agent/AclRule.h"
#include "agent/Packet.h"

namespace Agent {

Acl exampleAcl();
std::vector< PacketFields > exampleTrace();

}  // namespace Agent
