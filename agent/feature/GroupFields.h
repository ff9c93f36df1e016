// The data qualifiers with which a group matches user-defined fields.
//
// Rules of mirroring lists acquire their fields: the library creates a qualifier or shares an
// existing one, and counts its users. A flow-programming group has all its fields from creation.
//
// Locking: call with the activity lock held.
#pragma once

#include <string>
#include <vector>

#include "agent/feature/AclCompiler.h"
#include "morvane/MorvaneTcamGroupManager.h"

namespace Agent {

class GroupFields {
 public:
  GroupFields( Morvane::MorvaneTcamGroupManager & groupManager,
               Morvane::MorvaneTcamEntryManager & manager, U32 unit, AclKind kind, AclUse use );

  bool acquiredPerRule() const { return use_ == AclUse::mirror; }

  // Sets packet kind and field locations. Call before the group is created.
  void prepareGroup( const Acl & acl );

  // True if the group, which must exist, has the field.
  bool has( const AclRule & rule, const UdfMatch & udf ) const {
    return qualifierOf( rule, udf ) > 0;
  }
  // Counts one user of the field. Mirroring lists only.
  Morvane::GroupUdfCreateStatus acquire( const AclRule & rule, const UdfMatch & udf );
  void release( const AclRule & rule, const UdfMatch & udf );

  // Field matches of the rule's entries. The group must exist. Throws Platform::InputError if a
  // flow-programming group lacks a field.
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
