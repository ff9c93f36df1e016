#include "morvane/MorvaneTcamManager/Udf/EntryFields.h"

#include <optional>

#include "kiv/Assert.h"
#include "morvane/AclType.h"
#include "morvane/MorvaneTcamManager/Managers.h"
#include "morvane/MorvaneTcamManager/Trace.h"
#include "morvane/MorvaneTcamManager/Udf/GroupUdfs.h"
#include "morvane/MorvaneTcamManager/Udf/Placement.h"
#include "morvane/MorvaneTcamManager/Udf/Qualifiers.h"
#include "morvane/MorvaneTcamManager/Udf/Records.h"
#include "shim/SdkCall.h"

namespace Morvane {

namespace {

void assertAsProgrammed( const DataQualifier & udfQual, S32 currentQualId, U8 length ) {
  KIV_ASSERT( udfQual.qual_id() == currentQualId );
  KIV_ASSERT( udfQual.length() == length );
  KIV_ASSERT( udfQual.offset_base() == bcmFieldDataOffsetBaseOuterL3Header );
}

// The call is traced as written, here and in verify: no blank before its bracket.
void readBack( U32 unit, S32 currentQualId, U8 length ) {
  DataQualifier udfQual = {};
  // clang-format off
  const int rv = SDK_CALL_RV( bcm_field_data_qualifier_get( unit, currentQualId, &udfQual) );
  // clang-format on
  if ( rv < 0 )
    MORVANE_TRACE( traceFailure ) << " UDF Qual id: " << currentQualId << " not programmed in hw! ";
  assertAsProgrammed( udfQual, currentQualId, length );
}

std::optional< UdfUnitSpec > findUdf( const MirroringUdfs & udfs, U32 unit, U32 ethType,
                                      UdfOffsetBase base, U8 normalized, U8 length ) {
  for ( auto it = udfs.iter(); it; ++it ) {
    const UdfUnitSpec & spec = it.value();
    if ( spec.unit == unit && spec.base == base && spec.offset == normalized &&
         spec.length == length && ( !udfs.mac() || spec.ethType == ethType ) )
      return spec;
  }
  return std::nullopt;
}

// Adds or removes one use of an existing qualifier by the rules of one group.
class UdfUse {
 public:
  UdfUse( const MorvaneTcamEntryManager & user, S32 aclType, const UdfUnitSpec & udf )
      : user_( user ),
        manager_( *user.groupManager() ),
        udfs_( manager_, aclType ),
        aclType_( aclType ),
        udf_( udf ),
        key_( udfQualKey( udf.unit, udf.qualId ) ),
        carried_( manager_.groupIdToMirroringAclUdfIs( static_cast< U8 >( user.group() ) ) ) {}

  // `ethType` is the rule's, which for IPv4 may differ from the qualifier's.
  GroupUdfQualApplyStatus add( U32 ethType );
  // Calls readBack first; removes the use even if that throws.
  template < class F >
  GroupUdfQualApplyStatus remove( F readBack );

 private:
  GroupUdfQualApplyStatus join( U32 ethType );
  void raiseUses();
  void lowerUses( Release & release );
  void traceLowered() const;
  void traceUpdate() const;

  const MorvaneTcamEntryManager & user_;
  MorvaneTcamGroupManager & manager_;
  MirroringUdfs udfs_;
  const S32 aclType_;
  const UdfUnitSpec udf_;
  const U32 key_;
  const Kiv::ValidPtr< GroupUdfQual > carried_;
};

GroupUdfQualApplyStatus UdfUse::add( U32 ethType ) {
  if ( !carried_->udfQualIdHas( key_ ) ) {
    const GroupUdfQualApplyStatus joined = join( ethType );
    if ( joined.udfCreateStatus != udfCreateSuccessNoGroupRecreate )
      return joined;
  } else {
    MORVANE_TRACE( traceGroup ) << udf_.qualId << " already applied to group: " << user_.group()
                                << ", " << carried_->udfQualId( key_ );
  }
  raiseUses();
  return { udf_.qualId, udfCreateSuccessNoGroupRecreate };
}

// Adds the qualifier to the group, without a use yet. A failure does not affect other groups.
GroupUdfQualApplyStatus UdfUse::join( U32 ethType ) {
  if ( groupUdfWidthExceeded( udf_.unit, &manager_, aclType_, ethType, udf_.length,
                              user_.maxUdfLength() ) ) {
    MORVANE_TRACE( traceFailure ) << " Max UDF length exceeded for group: " << user_.group();
    return { -1, udfCreateFailureWithUdfResourceExhaustion };
  }
  MORVANE_TRACE( traceGroup ) << udf_.qualId << " not yet part of group: " << user_.group();
  Rollback rollback( manager_ );
  const GroupUdfCreateStatus status =
      MirroringUdfPlacement( manager_, user_.group(), aclType_, udf_ ).run( rollback );
  if ( status != udfCreateSuccessNoGroupRecreate && status != udfCreateSuccessWithGroupRecreate ) {
    rollback.undo();
    return { -1, status };
  }
  rollback.commit();
  carried_->newUdfQualId( udf_.unit, udf_.qualId );
  return { udf_.qualId, status };
}

void UdfUse::raiseUses() {
  traceUpdate();
  udfs_.refCountInc( key_, 1 );
  carried_->udfQualIdInc( key_, 1 );
  MORVANE_TRACE( traceGroup ) << "Added to group:  " << user_.group() << udfs_.words().added
                              << udf_.qualId << " new ref count: " << udfs_.spec( key_ ).refCount;
}

template < class F >
GroupUdfQualApplyStatus UdfUse::remove( F readBack ) {
  Release release( manager_, udf_.unit );
  const bool carried = carried_->udfQualIdHas( key_ );
  try {
    readBack();
  } catch ( ... ) {
    if ( carried )
      lowerUses( release );
    throw;
  }
  if ( carried ) {
    if ( carried_->udfQualId( key_ ) <= 1 )
      MORVANE_TRACE( traceGroup ) << " Remove UDF qual: " << udf_.qualId
                                  << " from group: " << user_.group();
    traceUpdate();
    lowerUses( release );
    release.run();
    traceLowered();
  } else {
    MORVANE_TRACE( traceFailure ) << " UDF Qual id: " << udf_.qualId
                                  << " to be deleted, but does not exist for group: "
                                  << user_.group();
  }
  return { udf_.qualId, udfCreateSuccessNoGroupRecreate };
}

void UdfUse::lowerUses( Release & release ) {
  if ( carried_->udfQualId( key_ ) > 1 ) {
    udfs_.refCountInc( key_, -1 );
    carried_->udfQualIdInc( key_, -1 );
  } else {
    udfs_.leave( *carried_, key_, release );
  }
}

void UdfUse::traceLowered() const {
  if ( !udfs_.has( key_ ) )
    MORVANE_TRACE( traceGroup ) << udfs_.words().destroyed << udf_.qualId;
  else if ( udfs_.mac() )
    MORVANE_TRACE( traceGroup ) << "Removed from group:  " << user_.group() << udfs_.words().added
                                << udf_.qualId << " new ref count: " << udfs_.spec( key_ ).refCount;
  else
    MORVANE_TRACE( traceGroup ) << " Updated/Deleted IP UDF qual id: " << udf_.qualId
                                << " new ref count: " << udfs_.spec( key_ ).refCount;
}

void UdfUse::traceUpdate() const {
  MORVANE_TRACE( traceGroup ) << udfs_.words().update << udf_.qualId
                              << " current ref count: " << udfs_.spec( key_ ).refCount;
}

}  // namespace

// --- Operations ------------------------------------------------------------------------------

S32 EntryFields::find( S32 aclType, U32 ethType, UdfOffsetBase base, U8 offset, U8 length ) const {
  const U32 unit = unit_;
  MORVANE_TRACE( traceDetail ) << "Unit: " << unit << " getMirroringAclUdf"
                               << " group: " << user_.group() << " udf: base=" << base
                               << " offset=" << offset << " length=" << length
                               << " ether type=" << ethType;
  if ( aclType != Acl::ip() && aclType != Acl::mac() )
    return -1;
  const MirroringUdfs udfs( holderOf( user_ ), aclType );
  const std::optional< UdfUnitSpec > spec =
      findUdf( udfs, unit, ethType, base, normalizedUdfOffset( base, offset ), length );
  if ( !spec )
    return -1;
  MORVANE_TRACE( traceDetail ) << udfs.words().found << spec->qualId
                               << " ref cnt: " << spec->refCount;
  return spec->qualId;
}

void EntryFields::verify( S32 aclType, U32 ethType, UdfOffsetBase base, U8 offset,
                          U8 length ) const {
  const U32 unit = unit_;
  MORVANE_TRACE( traceDetail ) << "Unit: " << unit << " verifyMirroringAclUdf"
                               << " group: " << user_.group() << " udf: base=" << base
                               << " offset=" << offset << " length=" << length
                               << " ethertype=" << ethType;
  KIV_ASSERT( aclType == Acl::ip() || aclType == Acl::mac() );
  const S32 currentQualId = find( aclType, ethType, base, offset, length );
  if ( currentQualId <= 0 )
    return;
  MORVANE_TRACE( traceDetail ) << " Verify UDF qual id: " << currentQualId;
  DataQualifier udfQual = {};
  // clang-format off
  const int err = SDK_CALL_RV( bcm_field_data_qualifier_get( unit, currentQualId, &udfQual) );
  // clang-format on
  KIV_ASSERT( err == BCM_E_NONE );
  assertAsProgrammed( udfQual, currentQualId, length );
}

GroupUdfQualApplyStatus EntryFields::set( S32 aclType, U32 ethType, UdfOffsetBase base, U8 offset,
                                          U8 length, bool add ) const {
  const U32 unit = unit_;
  MORVANE_TRACE( traceGroup ) << "Unit: " << unit << " setMirroringAclUdf"
                              << " group: " << user_.group() << " udf: base=" << base
                              << " offset=" << offset << " length=" << length
                              << " ether type=" << ethType << " add: " << add;
  KIV_ASSERT( aclType == Acl::ip() || aclType == Acl::mac() );
  MorvaneTcamGroupManager & groups = *user_.groupManager();
  const S32 currentQualId = find( aclType, ethType, base, offset, length );
  const U8 normalized = normalizedUdfOffset( base, offset );
  if ( currentQualId >= 1 ) {
    const auto readIt = [ & ] { readBack( unit, currentQualId, length ); };
    const MirroringUdfs udfs( groups, aclType );
    const auto udf = findUdf( udfs, unit, ethType, base, normalized, length );
    KIV_ASSERT( udf );
    KIV_ASSERT( !add || groups.groupMirroringAclUdfValid( static_cast< U8 >( user_.group() ) ) );
    UdfUse use( user_, aclType, *udf );
    if ( !add )
      return use.remove( readIt );
    readIt();
    return use.add( ethType );
  }
  if ( !add ) {
    MORVANE_TRACE( traceGroup ) << "Trying to remove non-existent UDF on group: " << user_.group();
    return {};
  }
  if ( groupUdfWidthExceeded( unit, &groups, aclType, ethType, length, user_.maxUdfLength() ) ) {
    MORVANE_TRACE( traceFailure ) << " Cannot add new UDF to group " << user_.group()
                                  << ", max UDF length " << user_.maxUdfLength()
                                  << " will be exceeded. Aborting ... ";
    return { -1, udfCreateFailureWithUdfResourceExhaustion };
  }
  MORVANE_TRACE( traceGroup ) << "Creating new udf unit for group " << user_.group()
                              << " with base=" << base << " normalized offset=" << normalized
                              << " length=" << length;
  return GroupUdfs( groups, unit )
      .create( user_.group(), aclType, ethType, base, normalized, length );
}

}  // namespace Morvane
