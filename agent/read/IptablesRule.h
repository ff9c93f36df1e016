// Reads a rule of a chain: the options of iptables and ip6tables (docs/formats.md).
#pragma once

#include <functional>
#include <optional>

#include "agent/read/IptablesChains.h"
#include "agent/read/ListNotes.h"
#include "agent/read/WordReader.h"

namespace Agent {

// What the options of a rule refer to, and what they make the report state.
struct IptablesContext {
  ListNotes & notes;
  AclKind kind = AclKind::ipv4;
  bool assumeEstablished = false;  // take packets with ACK or RST for those of a connection
  std::function< std::optional< U32 >( std::string_view ) > chainNamed = {};
};

// After the name of the chain. One rule, two if either port may match, or none if it matches only
// packets that never enter a switch. Throws Platform::InputError.
std::vector< ChainRule > readIptablesRule( WordReader & words, const IptablesContext & context );

}  // namespace Agent
