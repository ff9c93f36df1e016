// Creation of user-defined fields for mirroring groups on one unit. Internal.
#pragma once

#include "morvane/MorvaneTcamGroupManager.h"
#include "morvane/MorvaneTcamManager/Rollback.h"

namespace Morvane {

class GroupUdfs {
 public:
  GroupUdfs( MorvaneTcamGroupManager & manager, U32 unit ) : manager_( manager ), unit_( unit ) {}

  // As the group manager's createGroupMirroringAclUdf.
  GroupUdfQualApplyStatus create( U32 groupId, S32 aclType, U32 ethType, UdfOffsetBase base,
                                  U8 offset, U8 length );
  // A qualifier of the unit was programmed: clears udfResourceError.
  void noteProgrammed();

 private:
  GroupUdfQualApplyStatus place( U32 groupId, S32 aclType, UdfUnitSpec spec, Rollback & rollback );

  MorvaneTcamGroupManager & manager_;
  const U32 unit_;
};

}  // namespace Morvane
