// The match fields of access lists, one row each.
//
// Readers, compiler and the qualification of entries walk this table. A new field is a member of
// AclRule, a FieldId, a row here and, in feature/EntryQualifiers.cpp, its SDK call. The reference
// model names the fields itself, so that it can disagree. User-defined fields (UdfMatch) are not in
// the table: the chip has no qualifier for them until a group asks for one.
#pragma once

#include <array>
#include <span>
#include <type_traits>
#include <variant>
#include <vector>

#include "agent/acl/AclRule.h"
#include "shim/SdkQualifiers.h"

namespace Agent {

// Form of a field in a rules file (docs/rules-file.md).
enum class FieldText {
  ip4Prefix,
  ip6Prefix,
  mac,
  protocol,
  ports,
  flags,
  icmp,
  etherType,
  number,
  dscp,
  range,
  fragments,
};

// The protocol that a rule must name to restrict a field.
enum class FieldNeeds {
  nothing,
  ports,  // one with ports, or none
  tcp,
  icmp,  // ICMP or ICMPv6
};

using FieldMember = std::variant< PortRange AclRule::*, ByteRange AclRule::*, Fragments AclRule::*,
                                  FieldMatch< U8 > AclRule::*, FieldMatch< U16 > AclRule::*,
                                  FieldMatch< U32 > AclRule::*, FieldMatch< U64 > AclRule::*,
                                  FieldMatch< Ip6Address > AclRule::* >;

struct MatchField {
  FieldId id;
  const char * name;  // in rules files and messages
  U32 width;          // bits
  U32 shift;          // of its lowest bit in the qualifier
  bcm_field_qualify_t qualifier;
  FieldText text;
  FieldNeeds needs;
  std::array< bool, 3 > kinds;  // of the lists that have it, by AclKind
  FieldMember member;

  bool isIn( AclKind kind ) const { return kinds[ static_cast< size_t >( kind ) ]; }
  bool isRange() const { return member.index() < 2; }
};

// In the order of FieldId, in which they are read and programmed; the protocol before the fields
// that need one.
std::span< const MatchField > matchFields();
const MatchField & matchField( FieldId id );

// The rule's first value of a field, whose member must be a T.
template < class T >
T & valueOf( const MatchField & field, AclRule & rule ) {
  return rule.*std::get< T AclRule::* >( field.member );
}

// Value and mask of any field. Bits of `value` outside the mask are 0.
struct TernaryBits {
  FieldBits value;
  FieldBits mask;
  bool any() const { return mask.high == 0 && mask.low == 0; }
  friend bool operator==( const TernaryBits &, const TernaryBits & ) = default;
};

inline FieldBits operator&( const FieldBits & a, const FieldBits & b ) {
  return { a.high & b.high, a.low & b.low };
}
inline FieldBits operator|( const FieldBits & a, const FieldBits & b ) {
  return { a.high | b.high, a.low | b.low };
}
// Bit 0 is the lowest.
inline FieldBits bitAt( U32 index ) {
  return index < 64 ? FieldBits{ 0, U64{ 1 } << index }
                    : FieldBits{ U64{ 1 } << ( index - 64 ), 0 };
}

FieldBits fieldBits( const Ip6Address & address );
Ip6Address addressOf( const FieldBits & bits );

template < class T >
TernaryBits ternary( const FieldMatch< T > & match ) {
  if constexpr ( std::is_same_v< T, Ip6Address > )
    return { fieldBits( match.value ), fieldBits( match.mask ) };
  else
    return { { 0, match.value }, { 0, match.mask } };
}

// A range of any field.
using AnyRange = FieldRange< U32 >;

// Every set of values that the rule allows in a field, the member's first. Fragments have their
// enumerator as value.
std::vector< TernaryBits > matchesIn( const MatchField & field, const AclRule & rule );
std::vector< AnyRange > rangesIn( const MatchField & field, const AclRule & rule );

// Replaces what the rule allows in a field; at least one set of values. setRanges is for the fields
// with isRange(), setMatches for the others except Fragments.
void setMatches( AclRule & rule, FieldId field, std::span< const TernaryBits > matches );
void setRanges( AclRule & rule, FieldId field, std::span< const AnyRange > ranges );

// The smallest set of prefixes that covers a range of a field of `width` bits, at most 32,
// ascending. Requires low <= high.
std::vector< TernaryBits > prefixesOf( const AnyRange & range, U32 width );

// False if the rule matches every value of the field.
bool restricts( const MatchField & field, const AclRule & rule );
// Names of the protocols of which the rule must be for one to restrict the field; null: it is.
const char * missingProtocol( const MatchField & field, const AclRule & rule );

}  // namespace Agent
