#include "morvane/MorvaneTcamManager/Udf/GroupUdfs.h"

#include "kiv/Assert.h"
#include "morvane/AclType.h"
#include "morvane/LogMessages.h"
#include "morvane/MorvaneTcamManager/Trace.h"
#include "morvane/MorvaneTcamManager/Udf/Placement.h"
#include "morvane/MorvaneTcamManager/Udf/Qualifiers.h"
#include "morvane/MorvaneTcamManager/Udf/Records.h"

namespace Morvane {

GroupUdfQualApplyStatus GroupUdfs::create( U32 groupId, S32 aclType, U32 ethType,
                                           UdfOffsetBase base, U8 offset, U8 length ) {
  const U32 unit = unit_;
  MORVANE_TRACE( traceGroup ) << "Unit: " << unit << "createGroupMirroringAclUdf"
                              << " group: " << groupId << " udf: base=" << base
                              << " normalized offset=" << offset << " length=" << length;
  const auto groupMirroringAclUdfValid = [ & ]( U32 group ) {
    return manager_.groupMirroringAclUdfValid( static_cast< U8 >( group ) );
  };
  KIV_ASSERT( groupMirroringAclUdfValid( groupId ) );
  KIV_ASSERT( length == 4 );
  if ( aclType != Acl::ip() && aclType != Acl::mac() ) {
    MORVANE_TRACE( traceFailure ) << "Unsupported acl type: " << aclType << " group: " << groupId;
    KIV_ASSERT( !"only IPv4 and MAC ACLs have user-defined fields" );
  }

  UdfUnitSpec spec;
  spec.unit = unit;
  spec.base = base;
  spec.offset = UdfUnitSpec::checkedOffset( offset );
  spec.length = length;
  spec.ethType = ethType;
  Rollback rollback( manager_ );
  const GroupUdfQualApplyStatus made =
      createUdfQualifier( unit, ethType, base, offset, length, &rollback );
  if ( made.qualId == -1 ) {
    if ( made.udfCreateStatus == udfCreateFailureWithUdfResourceExhaustion )
      manager_.udfResourceErrorIs( static_cast< U8 >( unit ), true );
    return made;
  }
  spec.qualId = made.qualId;
  MORVANE_TRACE( traceGroup ) << "Created udf unit in hw with qual_id: " << spec.qualId << " group "
                              << groupId << " for acl type " << aclType;
  noteProgrammed();
  return place( groupId, aclType, spec, rollback );
}

GroupUdfQualApplyStatus GroupUdfs::place( U32 groupId, S32 aclType, UdfUnitSpec spec,
                                          Rollback & rollback ) {
  const Kiv::ValidPtr< GroupUdfQual > carried =
      manager_.groupIdToMirroringAclUdfIs( static_cast< U8 >( groupId ) );
  const U32 key = udfQualKey( spec.unit, spec.qualId );
  if ( carried->udfQualIdHas( key ) ) {
    MORVANE_TRACE( traceFailure ) << "Udf qual " << spec.qualId
                                  << " already exists for group: " << groupId;
    KIV_ASSERT( !"a new qualifier is carried already" );
  }
  const GroupUdfCreateStatus status =
      MirroringUdfPlacement( manager_, groupId, aclType, spec ).run( rollback );
  if ( status != udfCreateSuccessNoGroupRecreate && status != udfCreateSuccessWithGroupRecreate ) {
    rollback.undo();
    return { -1, status };
  }
  // All rules of a rebuilt group are added again, this one too.
  spec.refCount = status == udfCreateSuccessWithGroupRecreate ? 0 : 1;
  MirroringUdfs( manager_, aclType ).specIs( key, spec );
  carried->udfQualIdIs( carried->newUdfQualId( spec.unit, spec.qualId ), spec.refCount );
  rollback.commit();
  return { spec.qualId, status };
}

void GroupUdfs::noteProgrammed() {
  if ( !manager_.udfResourceError( static_cast< U8 >( unit_ ) ) )
    return;
  manager_.udfResourceErrorIs( static_cast< U8 >( unit_ ), false );
  MORVANE_UDF_HW_RESOURCE_NORMAL.raise();
}

}  // namespace Morvane
