// The data qualifiers through which the entries of a group match user-defined fields.
//
// Mirroring lists take a field per rule: the library makes its qualifier, or shares one that is
// there, and counts its users. A flow-programming group has all its fields from its creation on; a
// rule looks its own up.
//
// Locks: called with the activity lock held.
#pragma once

#include <string>
#include <vector>

#include "agent/AclCompiler.h"
#include "morvane/MorvaneTcamGroupManager.h"

namespace Agent {

class GroupFields {
 public:
  GroupFields( Morvane::MorvaneTcamGroupManager & groupManager,
               Morvane::MorvaneTcamEntryManager & manager, U32 unit, AclKind kind, AclUse use );

  bool takenPerRule() const { return use_ == AclUse::mirror; }

  // Before a group is created: what kind of packets it is about, and where its fields are.
  void announce( const Acl & acl );

  // Takes one user of a field, which a rule of a mirroring list matches.
  Morvane::GroupUdfCreateStatus take( const AclRule & rule, const UdfMatch & udf );
  void giveBack( const AclRule & rule, const UdfMatch & udf );

  // What an entry of the rule matches. The group exists. Throws Platform::InputError when a
  // flow-programming group lacks the field.
  std::vector< DataMatch > matches( const Acl & acl, const AclRule & rule ) const;

 private:
  S32 qualifierOf( const AclRule & rule, const UdfMatch & udf ) const;
  std::string offsets() const;

  Morvane::MorvaneTcamGroupManager & groupManager_;
  Morvane::MorvaneTcamEntryManager & manager_;
  const U32 unit_;
  const AclKind kind_;
  const AclUse use_;
};

}  // namespace Agent
