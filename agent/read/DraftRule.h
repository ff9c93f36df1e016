// A rule of a document while it is read, and the lists that its rules become.
//
// Documents have lists whose rules match IPv4, IPv6 and other packets in one order. A list of ours
// matches one of them, so that such a list becomes up to three, NAME-ipv4, NAME-ipv6 and NAME-mac.
// The packets of the three are disjoint: their relative order does not matter.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "agent/read/AclDocument.h"
#include "agent/read/Leaf.h"

namespace Agent {

// Packets by ethertype; a set of bits.
using Families = U8;
inline constexpr Families familyIp4 = 1;
inline constexpr Families familyIp6 = 2;
inline constexpr Families familyOther = 4;
inline constexpr Families familyIp = familyIp4 | familyIp6;
inline constexpr Families familyAll = familyIp | familyOther;

class DraftRule {
 public:
  // Refers to `file`.
  DraftRule( const std::string & file, const std::string & name, Platform::Place place );

  AclRule rule;  // without the protocol of ICMP and the ethertype

  Platform::Place place() const { return place_; }
  Families families() const { return families_; }
  const std::vector< NamedPorts > & namedPorts() const { return namedPorts_; }

  // Each throws Platform::InputError for a field that contradicts what was read before.
  void restrictTo( const Leaf & leaf, Families families );
  void match( const Leaf & leaf, FieldId field, const TernaryBits & bits );
  void match( const Leaf & leaf, FieldId field, const std::vector< TernaryBits > & matches );
  void range( const Leaf & leaf, FieldId field, const AnyRange & range );
  void ranges( const Leaf & leaf, FieldId field, const std::vector< AnyRange > & ranges );
  // One of the two addresses; the family follows from it.
  void address( const Leaf & leaf, bool source );
  // The member `key`, if it is there, with the mask of KEY-mask.
  void mac( Platform::JsonFields & fields, const std::string & key, FieldId field );
  void etherType( const Leaf & leaf );
  void arp( const Leaf & leaf );
  // Numbers, names or ranges of ports, separated by commas. The platform knows them. `field`:
  // inPorts, or outPorts, which only lists for packets that leave can match.
  void ports( const Leaf & leaf, FieldId field );
  void protocol( const Leaf & leaf, U8 number );
  // By number or name, which a prefix such as "IP_" may precede. ICMP by name is the family's.
  void namedProtocol( const Leaf & leaf, std::string_view prefix );
  void icmpProtocol( const Leaf & leaf );  // of the family, unless the protocol is one of the two
  void fragments( const Leaf & leaf, Fragments fragments );
  // Type and code; without a protocol that of the family, or of ICMPv6 where that is meant.
  void icmpType( const Leaf & leaf, U8 type );
  void icmpCode( const Leaf & leaf, U8 code );

  // After all fields: the protocol that ports, TCP flags and ICMP types need. Throws if the rule
  // has another one.
  void complete();
  // The rule in a list of the kind.
  AclRule in( AclKind kind ) const;
  // True if it matches fields of the frame and no ethertype.
  bool matchesAnyFrame() const;

  [[noreturn]] void fail( const std::string & what ) const;

 private:
  void etherType( const Leaf & leaf, U16 type );
  void restrictBits( const Leaf & leaf, FieldId field );

  const std::string * file_;
  Platform::Place place_;
  Families families_ = familyAll;
  std::optional< U16 > etherType_;
  std::optional< U8 > protocol_;
  std::vector< NamedPorts > namedPorts_;  // without the rule's index
  bool icmp_ = false;                     // the protocol is ICMP or ICMPv6, after the family
};

// What a list of a document may hold.
struct ListScope {
  Families usual = familyIp4;     // of rules that name no family
  Families possible = familyIp4;  // of any rule
  bool frames = false;            // a MAC list: all its rules match frames of any family
};

// A type of lists, as a format names it.
struct ListType {
  std::string_view name;
  ListScope scope;
};

// Of a list without type: the families that its rules name, both of IP if they name none.
// Without rules the list is left out.
class InferredScope {
 public:
  void add( const DraftRule & draft );
  ListScope scope() const;

 private:
  Families named_ = 0;
  bool frames_ = false;
  bool empty_ = true;
};

class ListBuilder {
 public:
  // `head` has the name, file, bindings and default action of the lists.
  ListBuilder( const AclDocument & document, Acl head, ListScope scope )
      : document_( document ), head_( std::move( head ) ), scope_( scope ) {}

  // Rules are in ascending order, those of one order as they are added. Throws
  // Platform::InputError if the list cannot hold the rule.
  void add( const DraftRule & draft, U32 order = 0 );
  // Lists that have rules, or a default action for packets of their kind.
  void take( std::vector< Acl > & lists );

 private:
  const AclDocument & document_;
  Acl head_;
  ListScope scope_;
  struct Rules {
    std::vector< AclRule > rules;
    std::vector< U32 > orders;
    std::vector< NamedPorts > namedPorts;
  };
  static void sort( Rules & list );
  void checkPorts( const NamedPorts & ports ) const;
  Rules rules_[ 3 ];  // by AclKind
};

// The rules of a list of which the scope may be known only after the last one.
class DraftList {
 public:
  // It becomes so many lists at most: the longest has as many of its drafts, or more.
  static constexpr U64 kinds = 3;

  // Empty as `scope`: inferred. Refers to the document.
  DraftList( AclDocument & document, Acl head, std::optional< ListScope > scope );

  // As ListBuilder::add.
  void add( DraftRule draft, U32 order = 0 );
  void take();

 private:
  struct Numbered {
    U32 order;
    DraftRule draft;
  };

  AclDocument & document_;
  Acl head_;
  std::optional< ListBuilder > builder_;
  InferredScope inferred_;
  std::vector< Numbered > drafts_;  // of an inferred scope
};

}  // namespace Agent
