// How a mirroring group starts to match on a qualifier that exists: in place in every copy,
// otherwise by rebuilding the group. Internal.
#pragma once

#include "morvane/MorvaneTcamGroupManager.h"
#include "morvane/MorvaneTcamManager/Rollback.h"

namespace Morvane {

class MirroringUdfPlacement {
 public:
  // `udf` holds the unit, the qualifier and, for the traces, its place.
  MirroringUdfPlacement( MorvaneTcamGroupManager & manager, U32 group, S32 aclType,
                         const UdfUnitSpec & udf )
      : manager_( manager ), group_( group ), aclType_( aclType ), udf_( udf ) {}

  // One of udfCreateSuccessNoGroupRecreate, which `rollback` undoes,
  // udfCreateSuccessWithGroupRecreate, udfCreateFailureWithGroupRecreateFailure, and
  // udfCreateFailure, where the rollback has what remains to be undone.
  GroupUdfCreateStatus run( Rollback & rollback );

 private:
  int widenCopies( Rollback & rollback );
  int widen( U32 pipeGroupId, Rollback & rollback );
  GroupUdfCreateStatus rebuild();

  MorvaneTcamGroupManager & manager_;
  const U32 group_;
  const S32 aclType_;
  const UdfUnitSpec udf_;
};

}  // namespace Morvane
