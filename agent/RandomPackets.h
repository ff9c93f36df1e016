// Packets that try access lists: inside their rules, on their borders, and outside.
#pragma once

#include <vector>

#include "agent/Packet.h"

namespace Agent {

// `count` frames, the same ones for the same seed and rules on every machine. In turn: inside a
// rule; with every field on, or one beyond, an end of the rule's interval; inside a rule but for
// one field; anywhere. Without rules all of them are anywhere.
std::vector< Frame > randomFrames( const std::vector< Acl > & acls, U64 seed, U32 count );

}  // namespace Agent
