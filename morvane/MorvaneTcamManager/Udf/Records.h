// The records of the qualifiers of mirroring ACLs: groups that carry them, and uses. Internal.
#pragma once

#include "morvane/MorvaneTcamGroupManager.h"
#include "morvane/MorvaneTcamManager/Rollback.h"

namespace Morvane {

// The qualifiers of one ACL type: their collection, and their names in the traces.
//
// Invariants: a qualifier's refCount is the sum of its uses in the groups that carry it. It exists
// while a group carries it, even without uses.
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

  // `aclType` is Acl::ip() or Acl::mac() (assertion).
  MirroringUdfs( MorvaneTcamGroupManager & manager, S32 aclType );
  // The collection that holds `key` (assertion).
  static MirroringUdfs holding( MorvaneTcamGroupManager & manager, U32 key );

  bool mac() const { return mac_; }
  const Words & words() const;
  bool has( U32 key ) const;
  UdfUnitSpec spec( U32 key ) const;
  void specIs( U32 key, const UdfUnitSpec & spec );
  MorvaneTcamGroupManager::IpMirroringAclUdfIter iter() const;

  // Changes the refCount. Asserts that the qualifier is recorded and the count stays in 0 to
  // 65,535.
  void refCountInc( U32 key, S32 delta );
  // Whether another group than `but` carries the qualifier.
  bool isCarriedBeside( U32 key, const GroupUdfQual & but ) const;
  // Removes the qualifier and its uses from the group. If no other group carries it, removes it
  // from the records and adds its destruction to `release`.
  void leave( GroupUdfQual & group, U32 key, Release & release );

 private:
  void drop( U32 key, Release & release );

  MorvaneTcamGroupManager & manager_;
  bool mac_;
};

// For a group that no longer exists on the unit: drops its qualifiers there, and its ACL type
// unless it exists on another unit.
void dropMirroringUdfs( MorvaneTcamGroupManager & manager, U32 unit, U32 group, Release & release );

}  // namespace Morvane
