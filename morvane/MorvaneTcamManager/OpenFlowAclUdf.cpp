// Flow-programming groups and their data qualifiers.

#include "morvane/LogMessages.h"
#include "morvane/MorvaneTcamManager/GroupBuilder.h"
#include "morvane/MorvaneTcamManager/OpenFlowGroup.h"
#include "morvane/MorvaneTcamManager/Trace.h"
#include "morvane/MorvaneTcamManager/UdfQualifiers.h"
#include "shim/SdkCall.h"

namespace Morvane {

namespace {

constexpr U8 fieldLength = 4;
constexpr U32 maxFields = 5;
constexpr U8 ipProtoUdp = 17;

// Where the fields start. Behind UDP they lie 12 bytes nearer than behind TCP.
constexpr U8 plainOverUdp[] = { 8, 12 };
constexpr U8 plainOffsets[] = { 20, 24 };
constexpr U8 vxlanOverUdp[] = { 42, 46, 50, 58, 62 };
constexpr U8 vxlanOffsets[] = { 54, 58, 62, 70, 74 };

}  // namespace

bool MorvaneTcamGroupManager::createGroupOpenFlowAclUdf( U32 unit, U32 groupId ) {
  GroupReferences taken;
  return OpenFlowGroup( *this, unit, groupId, taken ).create();
}

void MorvaneTcamGroupManager::destroyOpenFlowUdfQualifiers( U32 unit, U32 pipeGroupId ) {
  GroupReferences none;
  OpenFlowGroup( *this, unit, tcamNumberBits.get( pipeGroupId ), none ).destroyQualifiers();
}

OpenFlowGroup::OpenFlowGroup( MorvaneTcamGroupManager & manager, U32 unit, U32 group,
                              GroupReferences & taken )
    : manager_( manager ),
      unit_( unit ),
      group_( group ),
      taken_( taken ),
      plain_( manager.groupOpenFlowAclUdfValid( static_cast< U8 >( group ) ) ),
      carried_( plain_
                    ? manager.groupIdToOpenFlowAclUdfIs( static_cast< U8 >( group ) ).ptr()
                    : manager.groupIdToOpenFlowVxlanAclUdfIs( static_cast< U8 >( group ) ).ptr() ) {
}

bool OpenFlowGroup::create() {
  bool made = false;
  try {
    made = make();
  } catch ( ... ) {
    undo();
    throw;
  }
  if ( made )
    return true;
  undo();
  MORVANE_TRACE( traceFailure ) << "Unit: " << unit_ << " " << flowProgramming.operation << " "
                                << "Could not recreate group " << group_ << "!!";
  manager_.udfResourceErrorIs( static_cast< U8 >( unit_ ), true );
  MORVANE_UDF_HW_RESOURCE_FULL.raise();
  return false;
}

bool OpenFlowGroup::make() {
  GroupBuilder builder( manager_, unit_, group_, flowProgramming );
  if ( exists() )
    return manager_.createCopies( builder, unit_, group_, taken_ );
  if ( !manager_.groupExists( unit_, group_ ) ) {
    // What a teardown that was broken off has left.
    destroyQualifiers();
    if ( !createQualifiers() )
      return false;
  }
  MORVANE_TRACE( traceGroup ) << "Unit: " << unit_ << " " << flowProgramming.operation << " "
                              << "Trying to create group " << group_;
  builder.makeQualifierSet();
  for ( UnitUdfQualIter qualIter( *carried_, unit_ ); qualIter; ++qualIter ) {
    MORVANE_TRACE( traceDetail ) << "Unit: " << unit_ << " " << flowProgramming.operation << " "
                                 << "The qualifier id to add to qset is " << qualIter.key();
    builder.addDataQualifier( qualIter.key() );
  }
  builder.prepare();
  if ( !manager_.createCopies( builder, unit_, group_, taken_ ) )
    return false;
  manager_.noteUdfProgrammed( unit_ );
  return true;
}

// Every copy; a teardown that was broken off leaves only some.
bool OpenFlowGroup::exists() const {
  for ( const PipeCopy c : manager_.pipeCopies( unit_, group_ ) ) {
    const Kiv::Ptr< GroupCounts > counts = manager_.groupCounts( c.pipeGroup );
    if ( !counts || counts->unitRefCount( unit_ ) <= 0 )
      return false;
  }
  return manager_.groupExists( unit_, group_ );
}

void OpenFlowGroup::undo() {
  for ( const U32 pipeGroupId : taken_ )
    manager_.uninitializeTcamGroup( unit_, pipeGroupId, false );
  taken_.clear();
  if ( !manager_.groupExists( unit_, group_ ) )
    destroyQualifiers();
}

// --- Qualifiers ------------------------------------------------------------------------------

std::span< const U8 > OpenFlowGroup::offsets() const {
  const bool udp = manager_.openFlowUdfIpProto() == ipProtoUdp;
  if ( plain_ )
    return udp ? plainOverUdp : plainOffsets;
  return udp ? vxlanOverUdp : vxlanOffsets;
}

bool OpenFlowGroup::createQualifiers() {
  DataQualifier udfQual[ maxFields ] = {};
  U32 i = 0;
  for ( const U8 offset : offsets() ) {
    udfQual[ i ] = outerL3Qualifier( offset, fieldLength );
    if ( !createQualifier( udfQual, i ) )
      return false;
    record( udfQual[ i ].qual_id(), offset );
    ++i;
  }
  return true;
}

// False, with nothing left, when the ASIC has no room. The texts of the calls have no blanks inside
// brackets.
bool OpenFlowGroup::createQualifier( DataQualifier * udfQual, U32 i ) {
  const U32 unit = unit_;
  bcm_field_data_packet_format_s udfQualPktType = ipv4PacketFormat();
  // clang-format off
  int rc = SDK_CALL( bcm_field_data_qualifier_create( unit, &udfQual[i] ) );
  if ( rc == BCM_E_RESOURCE )
    return false;
  SDK_RESULT( rc );
  try {
    rc = SDK_CALL(
        bcm_field_data_qualifier_packet_format_add( unit, udfQual[i].qual_id(), &udfQualPktType ) );
  } catch ( ... ) {
    SDK_CHECKED( bcm_field_data_qualifier_destroy( unit, udfQual[i].qual_id() ) );
    throw;
  }
  if ( rc == BCM_E_RESOURCE ) {
    SDK_CHECKED( bcm_field_data_qualifier_destroy( unit, udfQual[i].qual_id() ) );
    return false;
  }
  // clang-format on
  SDK_RESULT( rc );
  return true;
}

void OpenFlowGroup::record( S32 qualId, U8 offset ) {
  UdfUnitSpec spec;
  spec.unit = unit_;
  spec.qualId = qualId;
  spec.base = UdfBaseL3HeaderStart;
  spec.offset = offset;
  spec.length = fieldLength;
  spec.ipProtocol = manager_.openFlowUdfIpProto();
  spec.refCount = 1;
  const U32 key = carried_->newUdfQualId( unit_, qualId );
  specIs( key, spec );
  carried_->udfQualIdIs( key, 1 );
}

void OpenFlowGroup::destroyQualifiers() {
  const U32 unit = unit_;
  bcm_field_data_packet_format_s udfQualPktType = ipv4PacketFormat();
  for ( UnitUdfQualIter grpQualIter( *carried_, unit ); grpQualIter; ++grpQualIter ) {
    const U32 key = grpQualIter.bookKey();
    SDK_CHECKED(
        bcm_field_data_qualifier_packet_format_delete( unit, grpQualIter.key(), &udfQualPktType ) );
    try {
      SDK_CHECKED( bcm_field_data_qualifier_destroy( unit, grpQualIter.key() ) );
    } catch ( ... ) {
      // It stays, whole.
      SDK_CHECKED(
          bcm_field_data_qualifier_packet_format_add( unit, grpQualIter.key(), &udfQualPktType ) );
      throw;
    }
    specDel( key );
    carried_->udfQualIdDel( key );
  }
}

void OpenFlowGroup::specIs( U32 key, const UdfUnitSpec & spec ) {
  if ( plain_ )
    manager_.openFlowAclUdfIs( key, spec );
  else
    manager_.openFlowVxlanAclUdfIs( key, spec );
}

void OpenFlowGroup::specDel( U32 key ) {
  if ( plain_ )
    manager_.openFlowAclUdfDel( key );
  else
    manager_.openFlowVxlanAclUdfDel( key );
}

}  // namespace Morvane
