// The match fields of access lists, one row each.
//
// Readers, compiler and the qualification of entries walk this table. A new field is a member of
// AclRule, a row here and, in feature/EntryQualifiers.cpp, its SDK call. The reference model names
// the fields itself, so that it can disagree. User-defined fields (UdfMatch) are not in the table:
// the chip has no qualifier for them until a group asks for one.
#pragma once

#include <array>
#include <span>
#include <variant>

#include "agent/acl/AclRule.h"
#include "shim/SdkQualifiers.h"

namespace Agent {

// Form of a field in a rules file (docs/rules-file.md).
enum class FieldText { ip4Prefix, ip6Prefix, mac, protocol, ports, flags, icmp, etherType, number };

// The protocol that a rule must name to restrict a field.
enum class FieldNeeds {
  nothing,
  ports,  // one with ports, or none
  tcp,
  icmp,  // ICMP or ICMPv6
};

using FieldMember = std::variant< Prefix AclRule::*, Prefix6 AclRule::*, PortRange AclRule::*,
                                  FieldMatch< U8 > AclRule::*, FieldMatch< U16 > AclRule::*,
                                  FieldMatch< U64 > AclRule::* >;

struct MatchField {
  const char * name;  // in rules files and messages
  U32 width;          // bits
  bcm_field_qualify_t qualifier;
  FieldText text;
  FieldNeeds needs;
  std::array< bool, 3 > kinds;  // of the lists that have it, by AclKind
  FieldMember member;

  bool isIn( AclKind kind ) const { return kinds[ static_cast< size_t >( kind ) ]; }
};

// In the order in which they are read and programmed; the protocol before the fields that need one.
std::span< const MatchField > matchFields();

// The rule's value of a field, whose member must be a T.
template < class T >
T & valueOf( const MatchField & field, AclRule & rule ) {
  return rule.*std::get< T AclRule::* >( field.member );
}

// Up to 128 bits, right-aligned.
struct FieldBits {
  U64 high = 0;
  U64 low = 0;
};

// Value and mask of any field. Bits of `value` outside the mask are 0.
struct TernaryBits {
  FieldBits value;
  FieldBits mask;
  bool any() const { return mask.high == 0 && mask.low == 0; }
};

// The field's range of ports; null: it is not a range.
const PortRange * rangeOf( const MatchField & field, const AclRule & rule );
// What the rule matches in a field that is not a range.
TernaryBits ternaryOf( const MatchField & field, const AclRule & rule );
// False if the rule matches every value of the field.
bool restricts( const MatchField & field, const AclRule & rule );
// Names of the protocols of which the rule must be for one to restrict the field; null: it is.
const char * missingProtocol( const MatchField & field, const AclRule & rule );

}  // namespace Agent
