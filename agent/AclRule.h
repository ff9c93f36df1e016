// An access list as its author wrote it: logical rules, in order of precedence.
//
// What a reader makes and everything else uses; how a rule becomes TCAM entries is AclCompiler's
// affair alone.
#pragma once

#include <string>
#include <vector>

#include "kiv/Types.h"

namespace Agent {

using namespace Kiv::Integers;

inline constexpr U8 protocolIcmp = 1;
inline constexpr U8 protocolTcp = 6;
inline constexpr U8 protocolUdp = 17;

// IPv4 prefix. Bits of `address` beyond `length` do not count.
struct Prefix {
  U32 address = 0;
  U8 length = 0;  // 0 to 32; 0 matches every address

  U32 mask() const { return length == 0 ? 0 : 0xFFFFFFFFU << ( 32 - length ); }
};

// TCP or UDP ports, both ends inclusive. The whole range does not look at ports at all, any other
// matches only packets that have them.
struct PortRange {
  U16 low = 0;
  U16 high = 0xFFFF;

  bool any() const { return low == 0 && high == 0xFFFF; }
  friend auto operator<=>( const PortRange &, const PortRange & ) = default;
};

// One rule. It permits and counts: the format has no other action.
struct AclRule {
  U32 line = 0;      // in its file, from 1
  std::string text;  // as it stands there
  Prefix source;
  Prefix destination;
  PortRange sourcePorts;
  PortRange destinationPorts;
  bool anyProtocol = true;
  U8 protocol = 0;           // unless anyProtocol
  U8 tcpFlags = 0;           // of protocol TCP: value and mask of the flags byte
  U8 tcpFlagsMask = 0;       // 0: not looked at
  U16 icmpTypeCode = 0;      // of protocol ICMP: value and mask, the type in the high byte
  U16 icmpTypeCodeMask = 0;  // 0: not looked at
};

struct Acl {
  std::string name;
  std::string file;
  std::vector< AclRule > rules;  // the first one that matches decides
};

}  // namespace Agent
