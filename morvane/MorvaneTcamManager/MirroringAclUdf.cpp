// User-defined fields of mirroring groups: new qualifiers, and what a group gives back.

#include "kiv/Assert.h"
#include "morvane/AclType.h"
#include "morvane/LogMessages.h"
#include "morvane/MorvaneTcamManager/MirroringUdfs.h"
#include "morvane/MorvaneTcamManager/Trace.h"
#include "morvane/MorvaneTcamManager/UdfQualifiers.h"
#include "shim/SdkCall.h"

namespace Morvane {

GroupUdfQualApplyStatus MorvaneTcamGroupManager::createGroupMirroringAclUdf(
    U32 unit, U32 groupId, S32 aclType, U32 ethType, UdfOffsetBase base, U8 offset, U8 length ) {
  MORVANE_TRACE( traceGroup ) << "Unit: " << unit << "createGroupMirroringAclUdf"
                              << " group: " << groupId << " udf: base=" << base
                              << " normalized offset=" << offset << " length=" << length;
  KIV_ASSERT( groupMirroringAclUdfValid( groupId ) );
  KIV_ASSERT( length == 4 );
  if ( aclType != Acl::ip() && aclType != Acl::mac() )
    MORVANE_TRACE( traceFailure ) << "Unsupported acl type: " << aclType << " group: " << groupId;
  MirroringUdfs udfs( *this, aclType );

  UdfUnitSpec spec;
  spec.unit = unit;
  spec.base = base;
  spec.offset = UdfUnitSpec::checkedOffset( offset );
  spec.length = length;
  spec.ethType = ethType;
  const GroupUdfQualApplyStatus made = createUdfQualifier( unit, ethType, base, offset, length );
  if ( made.qualId == -1 ) {
    if ( made.udfCreateStatus == udfCreateFailureWithUdfResourceExhaustion )
      udfResourceErrorIs( static_cast< U8 >( unit ), true );
    return made;
  }
  spec.qualId = made.qualId;
  MORVANE_TRACE( traceGroup ) << "Created udf unit in hw with qual_id: " << spec.qualId << " group "
                              << groupId << " for acl type " << aclType;
  noteUdfProgrammed( unit );
  return placeNewUdf( groupId, aclType, spec );
}

GroupUdfQualApplyStatus MorvaneTcamGroupManager::placeNewUdf( U32 groupId, S32 aclType,
                                                              UdfUnitSpec spec ) {
  const Kiv::ValidPtr< GroupUdfQual > carried =
      groupIdToMirroringAclUdfIs( static_cast< U8 >( groupId ) );
  const U32 key = udfQualKey( spec.unit, spec.qualId );
  if ( carried->udfQualIdHas( key ) ) {
    MORVANE_TRACE( traceFailure ) << "Udf qual " << spec.qualId
                                  << " already exists for group: " << groupId;
    KIV_ASSERT( !"a new qualifier is carried already" );
  }
  const U8 unit = static_cast< U8 >( spec.unit );
  GroupUdfCreateStatus status = udfCreateFailure;
  try {
    status = MirroringUdfPlacement( *this, groupId, aclType, spec ).run();
  } catch ( ... ) {
    destroyUdfQualifier( unit, spec.ethType, spec.base, spec.qualId );
    throw;
  }
  if ( status != udfCreateSuccessNoGroupRecreate && status != udfCreateSuccessWithGroupRecreate ) {
    destroyUdfQualifier( unit, spec.ethType, spec.base, spec.qualId );
    return { -1, status };
  }
  // The rules of a group that was rebuilt are added anew, this one too.
  spec.refCount = status == udfCreateSuccessWithGroupRecreate ? 0 : 1;
  MirroringUdfs( *this, aclType ).specIs( key, spec );
  carried->newUdfQualId( spec.unit, spec.qualId );
  carried->udfQualIdIs( key, spec.refCount );
  return { spec.qualId, status };
}

void MorvaneTcamGroupManager::noteUdfProgrammed( U32 unit ) {
  if ( !udfResourceError( static_cast< U8 >( unit ) ) )
    return;
  udfResourceErrorIs( static_cast< U8 >( unit ), false );
  MORVANE_UDF_HW_RESOURCE_NORMAL.raise();
}

int MorvaneTcamGroupManager::addUdfQualifierToQset( U32 unit, bcm_field_qset_t * qualifierSet,
                                                    S32 currentQualId ) {
  bcm_field_qset_t & qset = *qualifierSet;
  return SDK_CALL( bcm_field_qset_data_qualifier_add( unit, &qset, currentQualId ) );
}

void MorvaneTcamGroupManager::uninitializeMirroringUdfQualifiers( U32 unit, U32 groupId ) {
  KIV_ASSERT( groupMirroringAclUdfValid( groupId ) );
  releaseMirroringUdfs( unit, groupId );
  forgetMirroringAclType( tcamNumberBits.get( groupId ) );
}

void MorvaneTcamGroupManager::releaseMirroringUdfs( U32 unit, U32 groupId ) {
  const Kiv::Ptr< GroupUdfQual > carried = groupIdToMirroringAclUdf( static_cast< U8 >( groupId ) );
  if ( !carried )
    return;
  for ( UnitUdfQualIter qualIter( *carried, unit ); qualIter; ++qualIter ) {
    const U32 key = qualIter.bookKey();
    MirroringUdfs udfs = MirroringUdfs::holding( *this, key );
    MORVANE_TRACE( traceGroup ) << udfs.words().released << qualIter.key()
                                << " global ref count is " << udfs.spec( key ).refCount
                                << ". Group ref count is " << qualIter.uses();
    if ( !udfs.isCarriedBeside( key, *carried ) )
      MORVANE_TRACE( traceGroup ) << udfs.words().destroying << qualIter.key();
    udfs.leave( *carried, key );
  }
  // Where a destruction was broken off, no group carries what is left.
  for ( const S32 aclType : { Acl::ip(), Acl::mac() } ) {
    MirroringUdfs udfs( *this, aclType );
    for ( auto it = udfs.iter(); it; ++it )
      if ( udfUnitBits.get( it.key() ) == unit )
        udfs.destroyUnused( it.key() );
  }
}

}  // namespace Morvane
