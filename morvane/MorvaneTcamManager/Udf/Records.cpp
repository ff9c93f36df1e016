#include "morvane/MorvaneTcamManager/Udf/Records.h"

#include <limits>

#include "kiv/Assert.h"
#include "morvane/AclType.h"
#include "morvane/MorvaneTcamManager/GroupLife.h"
#include "morvane/MorvaneTcamManager/Trace.h"
#include "morvane/MorvaneTcamManager/Udf/Qualifiers.h"

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
  KIV_ASSERT( has( key ) );
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

void MirroringUdfs::leave( GroupUdfQual & group, U32 key, Release & release ) {
  refCountInc( key, -static_cast< S32 >( group.udfQualId( key ) ) );
  group.udfQualIdDel( key );
  if ( !isCarriedBeside( key, group ) )
    drop( key, release );
}

// Groups that used the qualifier earlier may still have it in their qualifier sets.
void MirroringUdfs::drop( U32 key, Release & release ) {
  const UdfUnitSpec last = spec( key );
  for ( auto it = manager_.groupIdToMirroringAclUdfIterConst(); it; ++it ) {
    if ( !manager_.groupMirroringAclUdfValid( it.key() ) )
      continue;
    for ( const PipeCopy c : manager_.pipeCopies( last.unit, it.key() ) ) {
      const Kiv::Ptr< GroupCounts > counts = manager_.groupCounts( c.pipeGroup );
      if ( counts && counts->unitRefCount( last.unit ) > 0 )
        release.add( { cleanupNarrowGroup, c.pipeGroup, static_cast< U32 >( last.qualId ) } );
    }
  }
  dropUdfQualifier( last, release );
  if ( mac_ )
    manager_.macMirroringAclUdfDel( key );
  else
    manager_.ipMirroringAclUdfDel( key );
}

void dropMirroringUdfs( MorvaneTcamGroupManager & manager, U32 unit, U32 group,
                        Release & release ) {
  const Kiv::ValidPtr< GroupUdfQual > carried =
      manager.groupIdToMirroringAclUdfIs( static_cast< U8 >( group ) );
  for ( UnitUdfQualIter qualIter( *carried, unit ); qualIter; ++qualIter ) {
    const U32 key = qualIter.recordKey();
    MirroringUdfs udfs = MirroringUdfs::holding( manager, key );
    MORVANE_TRACE( traceGroup ) << udfs.words().released << qualIter.key()
                                << " global ref count is " << udfs.spec( key ).refCount
                                << ". Group ref count is " << qualIter.uses();
    if ( !udfs.isCarriedBeside( key, *carried ) )
      MORVANE_TRACE( traceGroup ) << udfs.words().destroying << qualIter.key();
    udfs.leave( *carried, key, release );
  }
  GroupLife( manager, unit ).forgetMirroringAclType( group );
}

}  // namespace Morvane
