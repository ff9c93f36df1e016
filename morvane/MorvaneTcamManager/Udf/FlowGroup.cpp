#include "morvane/MorvaneTcamManager/Udf/FlowGroup.h"

#include <algorithm>

#include "kiv/Assert.h"
#include "morvane/LogMessages.h"
#include "morvane/MorvaneTcamManager/GroupBuilder.h"
#include "morvane/MorvaneTcamManager/Trace.h"
#include "morvane/MorvaneTcamManager/Udf/GroupUdfs.h"
#include "shim/SdkCall.h"

namespace Morvane {

namespace {

constexpr U8 fieldLength = 4;
constexpr U32 maxFields = 5;
constexpr U8 ipProtoUdp = 17;

// Offsets of the fields. A UDP header is 12 bytes shorter than a TCP header.
constexpr U8 plainOverUdp[] = { 8, 12 };
constexpr U8 plainOffsets[] = { 20, 24 };
constexpr U8 vxlanOverUdp[] = { 42, 46, 50, 58, 62 };
constexpr U8 vxlanOffsets[] = { 54, 58, 62, 70, 74 };

}  // namespace

std::span< const U8 > flowFieldOffsets( bool plain, U8 ipProto ) {
  const bool udp = ipProto == ipProtoUdp;
  if ( plain )
    return udp ? plainOverUdp : plainOffsets;
  return udp ? vxlanOverUdp : vxlanOffsets;
}

FlowGroup::FlowGroup( MorvaneTcamGroupManager & manager, U32 unit, U32 group )
    : manager_( manager ),
      unit_( unit ),
      group_( group ),
      plain_( manager.groupOpenFlowAclUdfValid( static_cast< U8 >( group ) ) ) {
  const U8 key = static_cast< U8 >( group );
  KIV_ASSERT( plain_ || manager.groupOpenFlowVxlanAclUdfValid( key ) );
  carried_ = plain_ ? manager.groupIdToOpenFlowAclUdfIs( key ).ptr()
                    : manager.groupIdToOpenFlowVxlanAclUdfIs( key ).ptr();
}

bool FlowGroup::acquire( Rollback & rollback, GroupReferences & taken ) {
  if ( make( rollback, taken ) )
    return true;
  MORVANE_TRACE( traceFailure ) << "Unit: " << unit_ << " " << flowProgramming.operation << " "
                                << "Could not recreate group " << group_ << "!!";
  manager_.udfResourceErrorIs( static_cast< U8 >( unit_ ), true );
  MORVANE_UDF_HW_RESOURCE_FULL.raise();
  return false;
}

bool FlowGroup::make( Rollback & rollback, GroupReferences & taken ) {
  GroupLife life( manager_, unit_ );
  GroupBuilder builder( manager_, unit_, group_, flowProgramming );
  if ( manager_.groupComplete( unit_, group_ ) )
    return life.acquireCopies( builder, group_, rollback, taken );
  if ( !manager_.groupExists( unit_, group_ ) && !createQualifiers( rollback ) )
    return false;
  MORVANE_TRACE( traceGroup ) << "Unit: " << unit_ << " " << flowProgramming.operation << " "
                              << "Trying to create group " << group_;
  builder.makeQualifierSet( rollback );
  builder.addDataQualifiers( qualifiers() );
  builder.prepare();
  if ( !life.acquireCopies( builder, group_, rollback, taken ) )
    return false;
  GroupUdfs( manager_, unit_ ).noteProgrammed();
  return true;
}

// --- Qualifiers ------------------------------------------------------------------------------

std::span< const U8 > FlowGroup::offsets() const {
  return flowFieldOffsets( plain_, manager_.openFlowUdfIpProto() );
}

bool FlowGroup::createQualifiers( Rollback & rollback ) {
  DataQualifier udfQual[ maxFields ] = {};
  U32 i = 0;
  for ( const U8 offset : offsets() ) {
    udfQual[ i ] = outerL3Qualifier( offset, fieldLength );
    if ( !createQualifier( udfQual, i, rollback ) )
      return false;
    record( udfQual[ i ].qual_id(), offset, rollback );
    ++i;
  }
  return true;
}

// False when the ASIC has no room. The calls are traced as written, without blanks in brackets.
bool FlowGroup::createQualifier( DataQualifier * udfQual, U32 i, Rollback & rollback ) {
  const U32 unit = unit_;
  bcm_field_data_packet_format_s udfQualPktType = ipv4PacketFormat();
  // clang-format off
  int rc = SDK_CALL( bcm_field_data_qualifier_create( unit, &udfQual[i] ) );
  if ( rc == BCM_E_RESOURCE )
    return false;
  SDK_RESULT( rc );
  const U32 id = static_cast< U32 >( udfQual[ i ].qual_id() );
  KIV_ASSERT( isDataQualifier( udfQual[i].qual_id() ) );
  FP_COMMAND() << "fp data qualifier create " << id;
  rollback.add( unit, { cleanupDestroyFlowQualifier, id } );
  rc = SDK_CALL(
      bcm_field_data_qualifier_packet_format_add( unit, udfQual[i].qual_id(), &udfQualPktType ) );
  // clang-format on
  if ( rc == BCM_E_RESOURCE )
    return false;
  SDK_RESULT( rc );
  FP_COMMAND() << "fp data qualifier format add " << id;
  rollback.add( unit, { cleanupDeleteFlowFormat, id } );
  return true;
}

// The recorded qualifiers, sorted by offset as in the table.
std::vector< DataQualifier > FlowGroup::qualifiers() const {
  std::vector< DataQualifier > udfQual;
  for ( UnitUdfQualIter qualIter( *carried_, unit_ ); qualIter; ++qualIter ) {
    const UdfUnitSpec recorded = spec( qualIter.recordKey() );
    udfQual.push_back( outerL3Qualifier( recorded.offset, recorded.length ) );
    Shim::Fields::dataIdIs( udfQual.back().record(), recorded.qualId );
  }
  std::sort( udfQual.begin(), udfQual.end(),
             []( const bcm_field_data_qualifier_s & a, const bcm_field_data_qualifier_s & b ) {
               return Shim::Fields::dataOffset( a ) < Shim::Fields::dataOffset( b );
             } );
  return udfQual;
}

void FlowGroup::record( S32 qualId, U8 offset, Rollback & rollback ) {
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
  rollback.addRecord( [ manager = &manager_, unit = unit_, group = group_, key ] {
    FlowGroup( *manager, unit, group ).forget( key );
  } );
}

void FlowGroup::dropQualifiers( Release & release ) {
  for ( UnitUdfQualIter grpQualIter( *carried_, unit_ ); grpQualIter; ++grpQualIter ) {
    const U32 id = static_cast< U32 >( grpQualIter.key() );
    release.add( { cleanupDeleteFlowFormat, id } );
    release.add( { cleanupDestroyFlowQualifier, id } );
    forget( grpQualIter.recordKey() );
  }
}

void FlowGroup::forget( U32 key ) {
  if ( plain_ )
    manager_.openFlowAclUdfDel( key );
  else
    manager_.openFlowVxlanAclUdfDel( key );
  carried_->udfQualIdDel( key );
}

UdfUnitSpec FlowGroup::spec( U32 key ) const {
  return plain_ ? manager_.openFlowAclUdf( key ) : manager_.openFlowVxlanAclUdf( key );
}

void FlowGroup::specIs( U32 key, const UdfUnitSpec & spec ) {
  if ( plain_ )
    manager_.openFlowAclUdfIs( key, spec );
  else
    manager_.openFlowVxlanAclUdfIs( key, spec );
}

}  // namespace Morvane
