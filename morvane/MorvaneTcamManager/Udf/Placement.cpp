#include "morvane/MorvaneTcamManager/Udf/Placement.h"

#include "kiv/Assert.h"
#include "morvane/MorvaneTcamManager/Trace.h"
#include "morvane/MorvaneTcamManager/Udf/Rebuild.h"
#include "shim/SdkCall.h"

namespace Morvane {

GroupUdfCreateStatus MirroringUdfPlacement::run( Rollback & rollback ) {
  const int rc = widenCopies( rollback );
  if ( rc == BCM_E_NONE )
    return udfCreateSuccessNoGroupRecreate;
  if ( rc == BCM_E_RESOURCE ||
       ( rc == BCM_E_UNAVAIL && Shim::sdkShim().kelmor_field_group_by_preselector( udf_.unit ) ) ) {
    MORVANE_TRACE( traceFailure ) << "Attempt 1: FAILED, not added qual_id: " << udf_.qualId
                                  << " to group " << group_ << " for acl type " << aclType_;
    return rebuild();
  }
  SDK_RESULT( rc );
  return udfCreateFailure;
}

// Returns the first result other than 0. All copies are the same, so only the first one may fail.
int MirroringUdfPlacement::widenCopies( Rollback & rollback ) {
  for ( const PipeCopy c : manager_.pipeCopies( udf_.unit, group_ ) ) {
    const U32 pipe = c.pipe;
    const int rc = widen( c.pipeGroup, rollback );
    if ( rc != BCM_E_NONE ) {
      KIV_ASSERT( pipe == 0 );
      return rc;
    }
    MORVANE_TRACE( traceGroup ) << "Attempt 1: SUCCESS, added qual_id: " << udf_.qualId
                                << " to group " << group_ << " pipe " << pipe << " for acl type "
                                << aclType_;
  }
  return BCM_E_NONE;
}

// Returns the result of bcm_field_group_set, which changes nothing unless it is 0.
int MirroringUdfPlacement::widen( U32 pipeGroupId, Rollback & rollback ) {
  const U32 unit = udf_.unit;
  const U32 qualId = static_cast< U32 >( udf_.qualId );
  bcm_field_qset_t qset = {};
  SDK_CHECKED( bcm_field_group_get( unit, pipeGroupId, &qset ) );
  // The set may still have the qualifier from an earlier use.
  const bool had = Shim::Fields::dataQualifierHas( qset, qualId );
  const int rc = manager_.addUdfQualifierToQset( unit, &qset, udf_.qualId );
  SDK_RESULT( rc );
  const int rv = SDK_CALL_RV( bcm_field_group_set( unit, pipeGroupId, qset ) );
  if ( rv != BCM_E_NONE )
    return rv;
  FP_COMMAND() << "fp group set " << pipeGroupId;
  if ( !had )
    rollback.add( unit, { cleanupNarrowGroup, pipeGroupId, qualId } );
  return rv;
}

GroupUdfCreateStatus MirroringUdfPlacement::rebuild() {
  if ( MirroringGroupRebuild( manager_, udf_.unit, group_, udf_.qualId ).run() ) {
    MORVANE_TRACE( traceGroup ) << "Attempt 2: SUCCESS added qual_id: " << udf_.qualId
                                << " to group " << group_ << " for acl type " << aclType_;
    return udfCreateSuccessWithGroupRecreate;
  }
  MORVANE_TRACE( traceFailure ) << "Attempt 2: FAILED, really unable to add UDF qual_id: "
                                << udf_.qualId << " to qset for group: " << group_
                                << " udf: base=" << udf_.base
                                << " normalized offset=" << udf_.offset
                                << " length=" << udf_.length;
  return udfCreateFailureWithGroupRecreateFailure;
}

}  // namespace Morvane
