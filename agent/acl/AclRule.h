// An access list: logical rules in order of precedence, independent of file formats and of their
// translation to TCAM entries.
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
  T mask = 0;  // 0: wildcard
  friend bool operator==( const FieldMatch &, const FieldMatch & ) = default;
};

// IPv4 prefix. Bits of `address` beyond `length` are ignored.
struct Prefix {
  U32 address = 0;
  U8 length = 0;  // 0 to 32; 0 matches every address

  U32 mask() const { return length == 0 ? 0 : 0xFFFFFFFFU << ( 32 - length ); }
};

using Ip6Address = std::array< U8, 16 >;  // most significant byte first

// IPv6 prefix. Bits of `address` beyond `length` are ignored.
struct Prefix6 {
  Ip6Address address = {};
  U8 length = 0;  // 0 to 128; 0 matches every address
};

// TCP or UDP ports, inclusive. The full range is a wildcard; any other matches only packets with
// ports.
struct PortRange {
  U16 low = 0;
  U16 high = 0xFFFF;

  bool any() const { return low == 0 && high == 0xFFFF; }
  friend auto operator<=>( const PortRange &, const PortRange & ) = default;
};

// Base of the offset of a user-defined field. The end of the L3 header is assumed 20 bytes after
// its start, the end of an IPv4 header without options: the chip supports no other base.
enum class UdfBase { l2End, l3Start, l3End };
inline constexpr U32 l3HeaderSize = 20;

// Four packet bytes in network order. Packets that end before the last one do not match.
struct UdfMatch {
  UdfBase base = UdfBase::l3Start;
  U8 offset = 0;  // bytes
  U32 value = 0;
  U32 mask = 0xFFFFFFFF;
  // Offset from the start of the L3 header, i.e. the end of the L2 header.
  U32 fromL3() const { return base == UdfBase::l3End ? offset + l3HeaderSize : offset; }
  friend bool operator==( const UdfMatch &, const UdfMatch & ) = default;
};

// Rate limit of a rule, shared by its entries in one pipe.
struct PoliceRate {
  U64 bitsPerSecond = 0;  // whole kbit/s, at least one
  U64 burstBytes = 0;     // whole kbit (125 bytes), at least one
};

// Counters of a rule; with a policer also conforming and dropped packets.
struct WantedCounters {
  bool packets = true;
  bool bytes = true;
};

enum class Forwarding { none, permit, drop };

// One rule. Match fields that are not set match everything; the kind of the list determines which
// fields can be set.
struct AclRule {
  U32 line = 0;      // in its file, from 1
  std::string text;  // one line for reports
  // IPv4 lists
  Prefix source;
  Prefix destination;
  // TCP, UDP, ICMP: IPv4 and IPv6 lists
  PortRange sourcePorts;
  PortRange destinationPorts;
  FieldMatch< U8 > protocol;       // one, or any
  FieldMatch< U8 > tcpFlags;       // TCP only: the flags byte
  FieldMatch< U16 > icmpTypeCode;  // ICMP, ICMPv6: type in the high byte
  // IPv6 lists
  Prefix6 source6;
  Prefix6 destination6;
  // MAC lists; addresses in the low 48 bits
  FieldMatch< U64 > sourceMac;
  FieldMatch< U64 > destinationMac;
  FieldMatch< U16 > etherType;  // after the VLAN tags
  FieldMatch< U16 > vlan;       // id of the outer VLAN tag
  // Mirroring and flow lists
  std::vector< UdfMatch > udf;

  Forwarding forwarding = Forwarding::permit;
  bool copyToCpu = false;
  bool mirror = false;  // to the list's mirror port
  std::optional< PoliceRate > police;
  WantedCounters counters;

  bool isFor( U8 ipProtocol ) const { return protocol == FieldMatch< U8 >{ ipProtocol, 0xFF }; }
};

// Packets that a list matches. MAC lists match all packets.
enum class AclKind { ipv4, ipv6, mac };
const char * kindName( AclKind kind );

// Feature of a list, which selects its TCAM share.
enum class AclUse {
  filter,     // forwarding: permit and drop
  mirror,     // copies; matches user-defined fields
  flow,       // flow programming: matches fields after the L3 header
  flowVxlan,  // flow programming: matches fields inside VXLAN
};
const char * useName( AclUse use );

struct Acl {
  std::string name;
  std::string file;
  std::vector< AclRule > rules;  // first match decides
  AclKind kind = AclKind::ipv4;
  AclUse use = AclUse::filter;
  std::optional< U32 > mirrorPort;  // set if a rule mirrors
  U32 mirrorPortLine = 0;           // in its file
  U8 flowProtocol = protocolUdp;    // flow lists: determines the field offsets of the group
};

}  // namespace Agent
