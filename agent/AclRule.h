// An access list as its author wrote it: logical rules, in order of precedence.
//
// What a reader makes and everything else uses; how a rule becomes TCAM entries is AclCompiler's
// affair alone.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "kiv/Types.h"

namespace Agent {

using namespace Kiv::Integers;

inline constexpr U8 protocolIcmp = 1;
inline constexpr U8 protocolTcp = 6;
inline constexpr U8 protocolUdp = 17;
inline constexpr U8 protocolIcmp6 = 58;

// Value and mask of a packet field. Bits of `value` outside the mask are 0.
template < class T >
struct FieldMatch {
  T value = 0;
  T mask = 0;  // 0: not looked at
  friend bool operator==( const FieldMatch &, const FieldMatch & ) = default;
};

// IPv4 prefix. Bits of `address` beyond `length` do not count.
struct Prefix {
  U32 address = 0;
  U8 length = 0;  // 0 to 32; 0 matches every address

  U32 mask() const { return length == 0 ? 0 : 0xFFFFFFFFU << ( 32 - length ); }
};

using Ip6Address = std::array< U8, 16 >;  // most significant byte first

// IPv6 prefix. Bits of `address` beyond `length` do not count.
struct Prefix6 {
  Ip6Address address = {};
  U8 length = 0;  // 0 to 128; 0 matches every address
};

// TCP or UDP ports, both ends inclusive. The whole range does not look at ports at all, any other
// matches only packets that have them.
struct PortRange {
  U16 low = 0;
  U16 high = 0xFFFF;

  bool any() const { return low == 0 && high == 0xFFFF; }
  friend auto operator<=>( const PortRange &, const PortRange & ) = default;
};

// Where the offset of a user-defined field counts from. The end of the L3 header is taken to be 20
// bytes behind its start: the chip knows no other place, and an IPv4 header without options ends
// there.
enum class UdfBase { l2End, l3Start, l3End };
inline constexpr U32 l3HeaderSize = 20;

// Four bytes of the packet, most significant first. Packets that end before them do not match.
struct UdfMatch {
  UdfBase base = UdfBase::l3Start;
  U8 offset = 0;  // bytes
  U32 value = 0;
  U32 mask = 0xFFFFFFFF;
  // Offset from the start of the L3 header, which is also the end of the L2 header.
  U32 fromL3() const { return base == UdfBase::l3End ? offset + l3HeaderSize : offset; }
  friend bool operator==( const UdfMatch &, const UdfMatch & ) = default;
};

// What the packets of a rule may come to, over all its entries of one pipe.
struct PoliceRate {
  U64 bitsPerSecond = 0;  // whole kbit/s, at least one
  U64 burstBytes = 0;     // whole kbit (125 bytes), at least one
};

// What a rule counts; with a policer also what that let pass and dropped.
struct WantedCounters {
  bool packets = true;
  bool bytes = true;
};

enum class Forwarding { none, permit, drop };

// One rule. What it does not name it does not look at; which fields it may name depends on the
// kind of its list.
struct AclRule {
  U32 line = 0;      // in its file, from 1
  std::string text;  // one line for reports
  // IPv4 lists
  Prefix source;
  Prefix destination;
  // TCP, UDP, ICMP: IPv4 and IPv6 lists
  PortRange sourcePorts;
  PortRange destinationPorts;
  bool anyProtocol = true;
  U8 protocol = 0;           // unless anyProtocol
  U8 tcpFlags = 0;           // of protocol TCP: value and mask of the flags byte
  U8 tcpFlagsMask = 0;       // 0: not looked at
  U16 icmpTypeCode = 0;      // of ICMP or ICMPv6: value and mask, the type in the high byte
  U16 icmpTypeCodeMask = 0;  // 0: not looked at
  // IPv6 lists
  Prefix6 source6;
  Prefix6 destination6;
  // MAC lists; addresses in the low 48 bits
  FieldMatch< U64 > sourceMac;
  FieldMatch< U64 > destinationMac;
  FieldMatch< U16 > etherType;  // behind the VLAN tags
  FieldMatch< U16 > vlan;       // id of the outer VLAN tag
  // Mirroring and flow lists
  std::vector< UdfMatch > udf;

  Forwarding forwarding = Forwarding::permit;
  bool copyToCpu = false;
  bool mirror = false;  // to the list's mirror port
  std::optional< PoliceRate > police;
  WantedCounters counters;
};

// Which packets a list is about. MAC lists look at all of them.
enum class AclKind { ipv4, ipv6, mac };
const char * kindName( AclKind kind );

// Which feature a list belongs to, and with it the TCAM share that it goes into.
enum class AclUse {
  filter,     // forwarding: permit and drop
  mirror,     // copies; matches user-defined fields
  flow,       // flow programming: matches fields behind the L3 header
  flowVxlan,  // flow programming: matches fields inside VXLAN
};
const char * useName( AclUse use );

struct Acl {
  std::string name;
  std::string file;
  std::vector< AclRule > rules;  // the first one that matches decides
  AclKind kind = AclKind::ipv4;
  AclUse use = AclUse::filter;
  std::optional< U32 > mirrorPort;  // present when a rule mirrors
  U32 mirrorPortLine = 0;           // in its file
  U8 flowProtocol = protocolUdp;    // of flow lists: decides at which offsets the group has fields
};

}  // namespace Agent
