// The books of the qualifiers of mirroring ACLs, and how a group comes to match on one. Internal.
#pragma once

#include <vector>

#include "morvane/MorvaneTcamGroupManager.h"

namespace Morvane {

// The qualifiers of one ACL type: the collection that holds them, and their words in the traces.
//
// Invariants: a qualifier's refCount is the sum of its uses in the groups that carry it. It lives
// while any group carries it, also without uses.
class MirroringUdfs {
 public:
  struct Words {
    const char * found;
    const char * released;
    const char * destroying;
    const char * update;
    const char * added;
    const char * destroyed;
  };

  // `aclType` is Acl::ip() or Acl::mac(); any other is refused by an assertion.
  MirroringUdfs( MorvaneTcamGroupManager & manager, S32 aclType );
  // The collection that holds `key` (assertion).
  static MirroringUdfs holding( MorvaneTcamGroupManager & manager, U32 key );

  bool mac() const { return mac_; }
  const Words & words() const;
  bool has( U32 key ) const;
  UdfUnitSpec spec( U32 key ) const;
  void specIs( U32 key, const UdfUnitSpec & spec );
  MorvaneTcamGroupManager::IpMirroringAclUdfIter iter() const;

  // Changes the refCount; asserts that it stays within 0 to 65,535.
  void refCountInc( U32 key, S32 delta );
  // Whether a group other than `but` carries the qualifier.
  bool isCarriedBeside( U32 key, const GroupUdfQual & but ) const;
  // The group carries the qualifier no more, and its uses are gone; without another group that
  // carries it the qualifier is destroyed. When that is broken off by an exception, it stays in the
  // books unused, for the next rule that wants it, or for destroyUnused.
  void leave( GroupUdfQual & group, U32 key );
  // Destroys the qualifier if no group carries it.
  void destroyUnused( U32 key );

 private:
  void destroy( U32 key );

  MorvaneTcamGroupManager & manager_;
  bool mac_;
};

// A qualifier's way into the qualifier sets of a group's copies, which can be taken back.
class QsetWidening {
 public:
  QsetWidening( MorvaneTcamGroupManager & manager, U32 unit, S32 qualId )
      : manager_( manager ), unit_( unit ), qualId_( qualId ) {}

  // The result of bcm_field_group_set, which changed nothing unless it is 0.
  int widen( U32 pipeGroupId );
  void undo();

 private:
  struct Before {
    U32 pipeGroupId;
    bcm_field_qset_t qset;
  };

  MorvaneTcamGroupManager & manager_;
  const U32 unit_;
  const S32 qualId_;
  std::vector< Before > widened_;
};

// Makes a group match on a qualifier that exists: in every copy in place, otherwise by rebuilding
// the group.
class MirroringUdfPlacement {
 public:
  // `udf` tells the unit, the qualifier and, for the traces, its place.
  MirroringUdfPlacement( MorvaneTcamGroupManager & manager, U32 group, S32 aclType,
                         const UdfUnitSpec & udf )
      : manager_( manager ), group_( group ), aclType_( aclType ), udf_( udf ) {}

  // One of udfCreateSuccessNoGroupRecreate, udfCreateSuccessWithGroupRecreate,
  // udfCreateFailureWithGroupRecreateFailure, and udfCreateFailure, which leaves the group as it
  // was, as does a call that throws before the rebuild.
  GroupUdfCreateStatus run();

 private:
  int widenCopies( QsetWidening & widening );
  GroupUdfCreateStatus rebuild();

  MorvaneTcamGroupManager & manager_;
  const U32 group_;
  const S32 aclType_;
  const UdfUnitSpec udf_;
};

}  // namespace Morvane
