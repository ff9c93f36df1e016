// An access list: logical rules in order of precedence, independent of file formats and of their
// translation to TCAM entries.
#pragma once

#include <array>
#include <compare>
#include <limits>
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

inline constexpr U8 tcpReset = 0x04;
inline constexpr U8 tcpAck = 0x10;

using Ip6Address = std::array< U8, 16 >;  // most significant byte first

// Value and mask of a packet field; the mask may have holes. Bits of `value` outside the mask
// are 0.
template < class T >
struct FieldMatch {
  T value = {};
  T mask = {};  // 0: wildcard
  friend bool operator==( const FieldMatch &, const FieldMatch & ) = default;
};

// Addresses that start with the upper `length` bits of `address`; further bits of it are ignored.
FieldMatch< U32 > prefix4( U32 address, U32 length );
FieldMatch< Ip6Address > prefix6( const Ip6Address & address, U32 length );

// Values of a field from `low` to `high`. The full range is a wildcard.
template < class T >
struct FieldRange {
  T low = 0;
  T high = std::numeric_limits< T >::max();

  bool any() const { return low == 0 && high == std::numeric_limits< T >::max(); }
  friend auto operator<=>( const FieldRange &, const FieldRange & ) = default;
};

// TCP or UDP ports. Any range but the full one matches only packets with ports.
using PortRange = FieldRange< U16 >;
using ByteRange = FieldRange< U8 >;

// Which fragments of IP packets a rule matches.
enum class Fragments : U8 {
  any,       // fragments and whole packets
  none,      // whole packets
  first,     // first fragments
  later,     // fragments without the L4 header
  fragment,  // first and later fragments
  notLater,  // whole packets and first fragments: those with the L4 header
};

// The match fields of a rule, by their place in the table of fields (MatchFields.h).
enum class FieldId : U8 {
  source,
  destination,
  source6,
  destination6,
  sourceMac,
  destinationMac,
  etherType,
  vlan,
  vlanPriority,
  innerVlan,
  protocol,
  dscp,
  ecn,
  ttl,
  fragments,
  sourcePorts,
  destinationPorts,
  tcpFlags,
  icmp,
  inPorts,
  outPorts,
};

// Up to 128 bits, right-aligned.
struct FieldBits {
  U64 high = 0;
  U64 low = 0;
  friend auto operator<=>( const FieldBits &, const FieldBits & ) = default;
};

// One more value and mask, or one more range, that a rule allows in a field.
struct Alternative {
  FieldId field = FieldId::source;
  FieldBits value;  // of a range: its low end
  FieldBits mask;   // of a range: its high end
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
  bool stated = false;  // the file asks for them
};

enum class Forwarding : U8 { none, permit, drop };

// One rule: a packet matches if it matches every field. Fields that are not set match everything;
// the kind of the list determines which fields can be set.
//
// A field's member has the first set of values that the rule allows, `alternatives` any others. A
// field in which one of them is a wildcard matches everything; otherwise only packets that have the
// field match.
struct AclRule {
  U32 line = 0;      // in its file, from 1
  U32 column = 0;    // in its line, from 1; 0: not known
  std::string name;  // the file's name or number of the rule; empty: it has none
  // IP lists
  FieldMatch< U32 > source;
  FieldMatch< U32 > destination;
  FieldMatch< Ip6Address > source6;
  FieldMatch< Ip6Address > destination6;
  // Addresses in the low 48 bits
  FieldMatch< U64 > sourceMac;
  FieldMatch< U64 > destinationMac;
  PortRange sourcePorts;
  PortRange destinationPorts;
  FieldMatch< U16 > icmpTypeCode;  // ICMP, ICMPv6: type in the high byte
  FieldMatch< U16 > etherType;     // after the VLAN tags
  FieldMatch< U16 > vlan;          // id of the outer VLAN tag
  FieldMatch< U16 > innerVlan;     // id of the second VLAN tag
  FieldMatch< U8 > vlanPriority;   // three bits of the outer VLAN tag
  FieldMatch< U8 > protocol;       // after IPv6 extension headers
  FieldMatch< U8 > tcpFlags;       // TCP only: the flags byte
  FieldMatch< U8 > dscp;           // upper six bits of the TOS or traffic class
  FieldMatch< U8 > ecn;            // lower two bits of it
  ByteRange ttl;                   // or IPv6 hop limit
  ByteRange inPorts;               // ingress ports
  ByteRange outPorts;              // egress ports, in lists for packets that leave
  Fragments fragments = Fragments::any;

  Forwarding forwarding = Forwarding::permit;
  bool copyToCpu = false;
  bool mirror = false;  // to the list's mirror port
  WantedCounters counters;
  std::optional< PoliceRate > police;
  std::vector< UdfMatch > udf;  // mirroring and flow lists
  std::vector< Alternative > alternatives;

  // True if the rule matches only packets of the protocol.
  bool isFor( U8 ipProtocol ) const;
};
// Lists of a million rules are held in memory.
static_assert( sizeof( AclRule ) <= 272 );

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

// The packets that a list is for: those that enter by ports, or those that leave by ports.
enum class Direction : U8 { in, out };

// Ports that a list is bound to, in one direction.
struct Binding {
  std::vector< std::string > ports;  // names or numbers; empty: all
  bool egress = false;
  U32 line = 0;    // in the list's file, from 1; 0: not from the file
  U32 column = 0;  // in its line, from 1
};

// Ports of a rule as its file has them. Which ports there are, and their names, is the platform's.
struct NamedPorts {
  U32 rule = 0;      // index in the list
  std::string text;  // names, numbers and ranges, with commas
  U32 line = 0;
  U32 column = 0;
  FieldId field = FieldId::inPorts;  // or outPorts
};

// Who states what happens to packets that no rule of a list matches.
enum class DefaultOrigin : U8 {
  unstated,  // nobody
  format,    // the list, or the rules of its format
  option,    // the command line
};

// How a rule on L4 fields treats the later fragments of a packet, which have none.
enum class LaterFragments : U8 {
  unmatched,      // the rule does not match them
  permittedByL3,  // a rule that permits matches them by its other fields and the protocol
};

struct Acl {
  std::string name;
  std::string whole;  // in the file, if it became several lists; otherwise empty
  std::string file;
  std::vector< AclRule > rules;  // first match decides
  AclKind kind = AclKind::ipv4;
  AclUse use = AclUse::filter;
  Direction direction = Direction::in;
  LaterFragments laterFragments = LaterFragments::unmatched;
  // What happens to packets of the kind that no rule matches; none: the list does not decide.
  Forwarding defaultAction = Forwarding::none;
  DefaultOrigin defaultOrigin = DefaultOrigin::unstated;
  std::vector< Binding > bindings;  // empty: all ports, ingress
  // Ports of rules, which match all of them until the names are resolved.
  std::vector< NamedPorts > namedPorts;
  // Of a list that is bound to ports of its direction: they, and the rule of its default action for
  // them.
  std::vector< FieldRange< U32 > > boundPorts;
  std::optional< AclRule > boundDefault;
  std::optional< U32 > mirrorPort;  // set if a rule mirrors
  U32 mirrorPortLine = 0;           // in its file
  U8 flowProtocol = protocolUdp;    // flow lists: determines the field offsets of the group

  // Rules with the one of the default action, which is the last if there is one.
  U32 size() const;
  const AclRule & rule( U32 index ) const;

  bool isBoundTo( U32 port ) const;
};

}  // namespace Agent
