// Random packets inside, at the borders of and outside the rules of access lists.
#pragma once

#include <vector>

#include "agent/packets/Packet.h"

namespace Agent {

// Random packets are of so many kinds, in turn.
inline constexpr U32 randomKinds = 4;

// `count` frames, reproducible for the same seed and rules on every machine. In turn: inside a
// rule; each field at, or just outside, an end of the rule's interval; inside a rule except for one
// field; arbitrary. All are arbitrary if there are no rules.
std::vector< Frame > randomFrames( const std::vector< Acl > & acls, U64 seed, U32 count );

}  // namespace Agent
