// Built-in example: access list and packets of a campus edge switch.
#pragma once

#include <vector>

#include "agent/acl/AclRule.h"
#include "agent/packets/Packet.h"

namespace Agent {

Acl exampleAcl();
std::vector< PacketFields > exampleTrace();

}  // namespace Agent
