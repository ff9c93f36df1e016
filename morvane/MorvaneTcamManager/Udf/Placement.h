// Adds an existing qualifier to a mirroring group: in place in every copy, otherwise by rebuilding
// the group. Internal.
#pragma once

#include "morvane/MorvaneTcamGroupManager.h"
#include "morvane/MorvaneTcamManager/Rollback.h"

namespace Morvane {

class MirroringUdfPlacement {
 public:
  // `udf`: the unit, the qualifier, and its place for the traces.
  MirroringUdfPlacement( MorvaneTcamGroupManager & manager, U32 group, S32 aclType,
                         const UdfUnitSpec & udf )
      : manager_( manager ), group_( group ), aclType_( aclType ), udf_( udf ) {}

  // Returns udfCreateSuccessNoGroupRecreate, which `rollback` undoes,
  // udfCreateSuccessWithGroupRecreate, udfCreateFailureWithGroupRecreateFailure, or
  // udfCreateFailure, where `rollback` has the steps still to be undone.
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
