// The packets that lists of one kind are looked up with, and the sets of them that rules match.
//
// A packet has whole Ethernet and IP headers, at most two VLAN tags that matter, and a known
// protocol. Its L4 header may be cut short: rules on ports, TCP flags or ICMP types do not match it
// then. On chips whose pipes share their tables, an untagged packet counts as one of VLAN 0 here.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "agent/acl/MatchFields.h"
#include "agent/space/Diagrams.h"
#include "agent/space/PacketSet.h"

namespace Agent {

// Bits of a packet that say which of its headers there are. Without the header, its fields do not
// exist.
enum class Presence : U8 { tag, innerTag, etherType, l4Header };
inline constexpr U32 presences = 4;

inline constexpr U32 fieldIds = static_cast< U32 >( FieldId::outPorts ) + 1;

// One packet: the values of the fields of its kind; 0 for those that it does not have.
struct PacketPoint {
  AclKind kind = AclKind::ipv4;
  std::array< FieldBits, fieldIds > values;  // of fragments: by FragmentKind
  std::array< bool, presences > present = {};

  const FieldBits & of( FieldId field ) const { return values[ static_cast< size_t >( field ) ]; }
  bool has( Presence part ) const { return present[ static_cast< size_t >( part ) ]; }
  bool has( FieldId field ) const;
};

// Values of the field Fragments of a packet.
enum class FragmentPart : U8 { whole, first, later };

struct SpaceLimits {
  static constexpr U32 nodesByDefault = 16'000'000;  // below 1 GiB with all that is beside them
  U32 nodes = nodesByDefault;
  U32 ports = 256;  // that packets can enter and leave by
};

// One at a time in a process. Sets must be destroyed before it.
class Space {
 public:
  explicit Space( AclKind kind, const SpaceLimits & limits = {} );

  AclKind kind() const { return kind_; }
  const PacketSet & all() const { return all_; }
  // The packets that a rule matches. The rule must be of a list of this kind, and must not have
  // user-defined fields.
  PacketSet matchedBy( const Acl & acl, const AclRule & rule ) const;
  PacketSet with( Presence part, bool present ) const;
  // True for a packet of the set. The packet must have the space's kind.
  bool holds( const PacketSet & set, const PacketPoint & point ) const;
  // Any packet of a set that is not empty, one that is easy to read where the set leaves the
  // choice.
  PacketPoint example( PacketSet set ) const;

  // Names the rule that is worked on, in the text of SpaceExhausted. Rules count from 1.
  void at( const std::string & list, size_t rule ) const;

 private:
  using Variables = std::vector< U32 >;  // most significant bit first
  struct Layout {
    std::array< Variables, fieldIds > fields;
    std::array< U32, presences > parts = {};
    U32 count = 0;
  };
  static Layout layOut( AclKind kind );
  const Variables & variables( FieldId field ) const {
    return layout_.fields[ static_cast< size_t >( field ) ];
  }

  PacketSet wellFormed( const SpaceLimits & limits ) const;
  PacketSet wellFormedL2() const;
  PacketSet wellFormedL3() const;
  PacketSet ternary( FieldId field, const TernaryBits & match ) const;
  PacketSet atLeast( FieldId field, U32 low ) const;
  PacketSet atMost( FieldId field, U32 high ) const;
  PacketSet equals( FieldId field, U64 value ) const;
  // What the rule allows in a field, if packets have it.
  PacketSet allowed( FieldId field, const AclRule & rule ) const;
  PacketSet l2( const AclRule & rule ) const;
  PacketSet l4( const AclRule & rule ) const;
  PacketSet laterFragments( const AclRule & rule ) const;
  PacketSet fragments( Fragments wanted ) const;
  PacketSet ports() const;
  bool prefer( PacketSet & set, FieldId field, U64 value ) const;

  const AclKind kind_;
  const Layout layout_;
  mutable Diagrams diagrams_;  // only its text changes
  PacketSet all_;
};

}  // namespace Agent
