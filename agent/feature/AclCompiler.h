// Compiles rules into TCAM entries.
//
// Each field that a rule restricts becomes the fewest values with masks (FieldCover.h); the rule's
// entries are all combinations of them. A single range of ports is matched by a range checker or
// expanded to prefixes. Ingress ports are one bitmap where the group's key has one.
//
// Rules on L4 fields also match on the protocol, and never match later fragments: the chip has no
// L4 header for these. In lists that let them through (LaterFragments), such a rule has entries
// without the L4 fields for them.
//
// Entries of a rule may overlap; a packet hits only the first that it matches, so that it is
// counted and policed once, and only the order of rules matters.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "agent/acl/MatchFields.h"
#include "shim/SdkTypes.h"

namespace Agent {

// Match of an entry on one qualifier.
struct EntryField {
  bcm_field_qualify_t qualifier = bcmFieldQualifyCount;
  TernaryBits bits;      // valid without a range checker; of IpFrag: the enumerator of Fragments
  U32 rangeChecker = 0;  // hardware id; 0: none
};

// Match on a data qualifier of the group.
struct DataMatch {
  S32 qualifier = 0;  // hardware id
  U32 value = 0;
  U32 mask = 0;
};

// Match of one entry: the kind of its list and every field that the rule restricts.
struct EntryMatch {
  AclKind kind = AclKind::ipv4;
  std::vector< EntryField > fields;   // in the table's order, each qualifier once
  std::optional< bcm_pbmp_t > ports;  // ingress ports; empty: not restricted
  std::vector< DataMatch > data;
};

// Range checkers of a rule; 0: the direction is matched by prefixes.
struct RangeCheckers {
  U32 source = 0;
  U32 destination = 0;
};

// How the key of a list's group matches ingress ports.
enum class PortKey { bitmap, number };

// The entries of a rule.
class EntryPlan {
 public:
  EntryPlan( const Acl & acl, const AclRule & rule, const RangeCheckers & checkers, PortKey ports );

  U64 size() const;
  // Without data qualifiers. Requires index < size().
  EntryMatch entry( U64 index ) const;
  // Why the rule needs several entries: "destinationPorts 1024-65535: 6 prefixes x source: 2
  // values"; empty: it needs one.
  std::string reason( const AclRule & rule ) const;

 private:
  // The matches of a field that together cover what the rule matches in it.
  struct Part {
    const MatchField * field;
    std::vector< EntryField > matches;
  };
  // All combinations of the parts' matches.
  using Product = std::vector< Part >;
  static U64 sizeOf( const Product & product );

  void addProduct( const AclRule & rule, const RangeCheckers & checkers, PortKey ports );

  AclKind kind_;
  std::optional< bcm_pbmp_t > ports_;
  std::vector< Product > products_;
};

// The range that a checker can match, in one direction: the only one, of several prefixes.
std::optional< AnyRange > checkerRange( FieldId ports, const AclRule & rule );

// The fields in which the rule's entries differ from those of a rule that matches everything:
// those that it restricts, and the protocol if it restricts an L4 field.
std::vector< const MatchField * > matchedFields( const Acl & acl, const AclRule & rule );

}  // namespace Agent
