// The records of the qualifiers of mirroring ACLs: who carries and who uses them. Internal.
#pragma once

#include "morvane/MorvaneTcamGroupManager.h"
#include "morvane/MorvaneTcamManager/Rollback.h"

namespace Morvane {

// The qualifiers of one ACL type: the collection that holds them, and their words in the traces.
//
// Invariants: a qualifier's refCount is the sum of its uses in the groups that carry it. It lives
// while a group carries it, also without uses.
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

  // Changes the refCount; asserts that the qualifier is recorded, and that the count stays within 0
  // to 65,535.
  void refCountInc( U32 key, S32 delta );
  // Whether a group other than `but` carries the qualifier.
  bool isCarriedBeside( U32 key, const GroupUdfQual & but ) const;
  // The group carries the qualifier no more, and its uses end. Without another group that carries
  // it, the qualifier is removed from the records, and its destruction added to `release`.
  void leave( GroupUdfQual & group, U32 key, Release & release );

 private:
  void drop( U32 key, Release & release );

  MorvaneTcamGroupManager & manager_;
  bool mac_;
};

// A group that no longer exists on the unit carries no qualifiers there, and has no ACL type unless
// it exists on another unit.
void dropMirroringUdfs( MorvaneTcamGroupManager & manager, U32 unit, U32 group, Release & release );

}  // namespace Morvane
