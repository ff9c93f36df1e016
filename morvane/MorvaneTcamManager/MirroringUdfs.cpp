#include "morvane/MorvaneTcamManager/MirroringUdfs.h"

#include <limits>

#include "kiv/Assert.h"
#include "morvane/AclType.h"
#include "morvane/MorvaneTcamManager/Trace.h"
#include "morvane/MorvaneTcamManager/UdfQualifiers.h"
#include "shim/SdkCall.h"

namespace Morvane {

namespace {

constexpr MirroringUdfs::Words ipWords = {
    " Found existing IP ACL udf qual id: ", "IP ACL UDF id: ",   "Destroying IP ACL UDF id: ",
    " Update state for IP UDF qual id: ",   " IP UDF qual id: ", "Destroyed IP ACL UDF qual id: " };
constexpr MirroringUdfs::Words macWords = { " Found existing MAC ACL udf qual id: ",
                                            "MAC ACL UDF id: ",
                                            "Destroying MAC ACL UDF id: ",
                                            " Update state for MAC UDF qual id: ",
                                            " MAC UDF qual id: ",
                                            "Destroyed MAC ACL UDF qual id: " };

[[noreturn]] void refuseAclType() {
  MORVANE_TRACE( traceFailure ) << " Only IPv4 and MAC acls supported ";
  KIV_ASSERT( !"only IPv4 and MAC ACLs have user-defined fields" );
  __builtin_unreachable();
}

}  // namespace

MirroringUdfs::MirroringUdfs( MorvaneTcamGroupManager & manager, S32 aclType )
    : manager_( manager ), mac_( aclType == Acl::mac() ) {
  if ( aclType != Acl::ip() && aclType != Acl::mac() )
    refuseAclType();
}

MirroringUdfs MirroringUdfs::holding( MorvaneTcamGroupManager & manager, U32 key ) {
  if ( manager.macMirroringAclUdfHas( key ) )
    return MirroringUdfs( manager, Acl::mac() );
  if ( manager.ipMirroringAclUdfHas( key ) )
    return MirroringUdfs( manager, Acl::ip() );
  refuseAclType();
}

const MirroringUdfs::Words & MirroringUdfs::words() const {
  return mac_ ? macWords : ipWords;
}

bool MirroringUdfs::has( U32 key ) const {
  return mac_ ? manager_.macMirroringAclUdfHas( key ) : manager_.ipMirroringAclUdfHas( key );
}

UdfUnitSpec MirroringUdfs::spec( U32 key ) const {
  return mac_ ? manager_.macMirroringAclUdf( key ) : manager_.ipMirroringAclUdf( key );
}

void MirroringUdfs::specIs( U32 key, const UdfUnitSpec & spec ) {
  if ( mac_ )
    manager_.macMirroringAclUdfIs( key, spec );
  else
    manager_.ipMirroringAclUdfIs( key, spec );
}

MorvaneTcamGroupManager::IpMirroringAclUdfIter MirroringUdfs::iter() const {
  return mac_ ? manager_.macMirroringAclUdfIterConst() : manager_.ipMirroringAclUdfIterConst();
}

// --- Uses ------------------------------------------------------------------------------------

void MirroringUdfs::refCountInc( U32 key, S32 delta ) {
  UdfUnitSpec counted = spec( key );
  const S32 refCount = counted.refCount + delta;
  KIV_ASSERT( refCount >= 0 && refCount <= std::numeric_limits< U16 >::max() );
  counted.refCount = static_cast< U16 >( refCount );
  specIs( key, counted );
}

bool MirroringUdfs::isCarriedBeside( U32 key, const GroupUdfQual & but ) const {
  for ( auto it = manager_.groupIdToMirroringAclUdfIterConst(); it; ++it ) {
    const Kiv::Ptr< GroupUdfQual > carrier = it.member();
    if ( carrier.rawPtr_ != &but && carrier->udfQualIdHas( key ) )
      return true;
  }
  return false;
}

void MirroringUdfs::leave( GroupUdfQual & group, U32 key ) {
  refCountInc( key, -static_cast< S32 >( group.udfQualId( key ) ) );
  group.udfQualIdDel( key );
  destroyUnused( key );
}

void MirroringUdfs::destroyUnused( U32 key ) {
  for ( auto it = manager_.groupIdToMirroringAclUdfIterConst(); it; ++it )
    if ( it.member()->udfQualIdHas( key ) )
      return;
  destroy( key );
}

namespace {

void narrowCopy( U32 unit, U32 pipeGroupId, U32 qualId ) {
  bcm_field_qset_t qset = {};
  SDK_CHECKED( bcm_field_group_get( unit, pipeGroupId, &qset ) );
  if ( !qset.hasData( qualId ) )
    return;
  qset.removeData( qualId );
  SDK_CHECKED_RV( bcm_field_group_set( unit, pipeGroupId, qset ) );
}

}  // namespace

// A group that carried the qualifier once has it in its qualifier set still.
void MirroringUdfs::destroy( U32 key ) {
  const UdfUnitSpec last = spec( key );
  for ( auto it = manager_.groupIdToMirroringAclUdfIterConst(); it; ++it ) {
    if ( !manager_.groupMirroringAclUdfValid( it.key() ) )
      continue;
    for ( const PipeCopy c : manager_.pipeCopies( last.unit, it.key() ) ) {
      const Kiv::Ptr< GroupCounts > counts = manager_.groupCounts( c.pipeGroup );
      if ( counts && counts->unitRefCount( last.unit ) > 0 )
        narrowCopy( last.unit, c.pipeGroup, static_cast< U32 >( last.qualId ) );
    }
  }
  destroyUdfQualifier( static_cast< U8 >( last.unit ), last.ethType, last.base, last.qualId );
  if ( mac_ )
    manager_.macMirroringAclUdfDel( key );
  else
    manager_.ipMirroringAclUdfDel( key );
}

// --- Qualifier sets of live groups -----------------------------------------------------------

int QsetWidening::widen( U32 pipeGroupId ) {
  const U32 unit = unit_;
  bcm_field_qset_t qset = {};
  SDK_CHECKED( bcm_field_group_get( unit, pipeGroupId, &qset ) );
  const bcm_field_qset_t before = qset;
  const int rc = manager_.addUdfQualifierToQset( unit, &qset, qualId_ );
  SDK_RESULT( rc );
  const int rv = SDK_CALL_RV( bcm_field_group_set( unit, pipeGroupId, qset ) );
  if ( rv == BCM_E_NONE )
    widened_.push_back( { pipeGroupId, before } );
  return rv;
}

void QsetWidening::undo() {
  const U32 unit = unit_;
  for ( ; !widened_.empty(); widened_.pop_back() ) {
    const U32 pipeGroupId = widened_.back().pipeGroupId;
    const bcm_field_qset_t qset = widened_.back().qset;
    SDK_CHECKED_RV( bcm_field_group_set( unit, pipeGroupId, qset ) );
  }
}

// --- Placement -------------------------------------------------------------------------------

GroupUdfCreateStatus MirroringUdfPlacement::run() {
  QsetWidening widening( manager_, udf_.unit, udf_.qualId );
  int rc = BCM_E_NONE;
  try {
    rc = widenCopies( widening );
  } catch ( ... ) {
    widening.undo();
    throw;
  }
  if ( rc == BCM_E_NONE )
    return udfCreateSuccessNoGroupRecreate;
  if ( rc == BCM_E_RESOURCE ||
       ( rc == BCM_E_UNAVAIL && Shim::sdk_->kelmor_field_group_by_preselector( udf_.unit ) ) ) {
    MORVANE_TRACE( traceFailure ) << "Attempt 1: FAILED, not added qual_id: " << udf_.qualId
                                  << " to group " << group_ << " for acl type " << aclType_;
    return rebuild();
  }
  SDK_RESULT( rc );
  widening.undo();
  return udfCreateFailure;
}

// The first result that is not 0. Pipes hold the same group, so only the first may refuse.
int MirroringUdfPlacement::widenCopies( QsetWidening & widening ) {
  for ( const PipeCopy c : manager_.pipeCopies( udf_.unit, group_ ) ) {
    const U32 pipe = c.pipe;
    const int rc = widening.widen( c.pipeGroup );
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

GroupUdfCreateStatus MirroringUdfPlacement::rebuild() {
  if ( manager_.reInitializeGroupWithMirroringAclUdf( udf_.unit, group_, udf_.qualId ) ) {
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
