#include "morvane/MorvaneTcamManager/Udf/Qualifiers.h"

#include "kiv/Assert.h"
#include "kiv/Exception.h"
#include "morvane/AclType.h"
#include "morvane/LogMessages.h"
#include "morvane/MorvaneTcamManager/Trace.h"
#include "shim/SdkCall.h"

namespace Morvane {

using Shim::Fields;

namespace {

// An IPv4 header without options.
constexpr S32 ipv4HeaderLength = 20;

// How traces call createUdfQualifier: with its full signature a line would pass 255 characters, and
// lose the field's length.
constexpr const char * createSignature =
    "Morvane::GroupUdfQualApplyStatus Morvane::createUdfQualifier(U32, U32, UdfOffsetBase, U8, "
    "U8)";

// The packets to which a qualifier applies: a packet format or an ether type.
struct PacketSelection {
  bool byEthType = false;
  bcm_field_data_packet_format_s format;
  bcm_field_data_ethertype_s ethertype;

  PacketSelection() {
    Fields::initialise( format );
    Fields::initialise( ethertype );
  }
};

bcm_field_data_packet_format_s packetFormat( U16 l2, U16 outerIp ) {
  bcm_field_data_packet_format_s format;
  Fields::initialise( format );
  Fields::formatL2Is( format, l2 );
  Fields::formatOuterIpIs( format, outerIp );
  Fields::formatVlanTagIs( format, BCM_FIELD_DATA_FORMAT_ANY );
  Fields::formatTunnelIs( format, BCM_FIELD_DATA_FORMAT_ANY );
  return format;
}

PacketSelection selectFrames( U32 ethType ) {
  PacketSelection frames;
  frames.byEthType = ethType != noEthType;
  if ( frames.byEthType ) {
    MORVANE_TRACE( traceDetail ) << "MAC ACL UDF Ether Type = " << ethType;
    Fields::formatEtherTypeIs( frames.ethertype, static_cast< U16 >( ethType ) );
    Fields::formatL2Is( frames.ethertype, BCM_FIELD_DATA_FORMAT_ANY );
    Fields::formatVlanTagIs( frames.ethertype, BCM_FIELD_DATA_FORMAT_ANY );
  } else {
    MORVANE_TRACE( traceDetail ) << "MAC ACL UDF Ether Type not set";
  }
  frames.format = packetFormat( BCM_FIELD_DATA_FORMAT_L2_ETH_II, BCM_FIELD_DATA_FORMAT_ANY );
  return frames;
}

PacketSelection selectPackets( U32 ethType, UdfOffsetBase base ) {
  PacketSelection packets;
  switch ( base ) {
    case UdfBaseL3HeaderStart:
    case UdfBaseL3HeaderEnd:
      MORVANE_TRACE( traceDetail ) << "Pkt format IP";
      packets.format = ipv4PacketFormat();
      break;
    case UdfBaseL2HeaderEnd:
      MORVANE_TRACE( traceDetail ) << "Pkt format Ethernet II";
      packets = selectFrames( ethType );
      break;
    default:
      MORVANE_TRACE( traceFailure ) << "UDF base " << base << " not supported ";
      KIV_ASSERT( !"UDF base not supported" );
  }
  return packets;
}

int addPackets( U32 unit, int qual_id, const PacketSelection & packets ) {
  bcm_field_data_packet_format_s udfQualPktType = packets.format;
  bcm_field_data_ethertype_s udfEthQualPktType = packets.ethertype;
  const int rc =
      packets.byEthType
          ? SDK_CALL( bcm_field_data_qualifier_ethertype_add( unit, qual_id, &udfEthQualPktType ) )
          : SDK_CALL(
                bcm_field_data_qualifier_packet_format_add( unit, qual_id, &udfQualPktType ) );
  if ( rc >= 0 )
    FP_COMMAND() << "fp data qualifier format add " << qual_id;
  return rc;
}

}  // namespace

U8 UdfUnitSpec::checkedOffset( S32 offset ) {
  if ( offset < 0 || static_cast< U32 >( offset ) > offsetLimits.high )
    offsetLimits.refuse();
  return static_cast< U8 >( offset );
}

U32 GroupUdfQual::newUdfQualId( U32 unit, S32 qualId ) {
  const U32 key = udfQualKey( unit, qualId );
  udfQualIdIs( key, 0 );
  return key;
}

U8 normalizedUdfOffset( UdfOffsetBase base, U8 offset ) {
  return UdfUnitSpec::checkedOffset( base == UdfBaseL3HeaderEnd ? offset + ipv4HeaderLength
                                                                : offset );
}

DataQualifier outerL3Qualifier( U8 offset, U8 length ) {
  DataQualifier qualifier = {};
  Fields::initialise( qualifier.record() );
  Fields::dataBaseIs( qualifier.record(), bcmFieldDataOffsetBaseOuterL3Header );
  Fields::dataOffsetIs( qualifier.record(), offset );
  Fields::dataLengthIs( qualifier.record(), length );
  return qualifier;
}

bcm_field_data_packet_format_s ipv4PacketFormat() {
  return packetFormat( BCM_FIELD_DATA_FORMAT_ANY, BCM_FIELD_DATA_FORMAT_IP4 );
}

GroupUdfQualApplyStatus createUdfQualifier( U32 unit, U32 ethType, UdfOffsetBase base, U8 offset,
                                            U8 length, Rollback * rollback ) {
  const PacketSelection packets = selectPackets( ethType, base );
  DataQualifier udfQual = outerL3Qualifier( offset, length );
  const char * lacking = "Out of hw resources to create UDF";
  int rc = SDK_CALL( bcm_field_data_qualifier_create( unit, &udfQual ) );
  if ( rc != BCM_E_RESOURCE ) {
    SDK_RESULT( rc );
    const int qual_id = udfQual.qual_id();
    KIV_ASSERT( isDataQualifier( qual_id ) );
    FP_COMMAND() << "fp data qualifier create " << qual_id << " offset " << U32( offset );
    const U32 id = static_cast< U32 >( qual_id );
    const U32 step = rollback ? rollback->add( unit, { cleanupDestroyQualifier, id } ) : 0;
    rc = addPackets( unit, qual_id, packets );
    if ( rc != BCM_E_RESOURCE ) {
      SDK_RESULT( rc );
      if ( rollback )
        rollback->add( unit, { cleanupDeleteFormat, id, base, ethType } );
      return { qual_id, udfCreateFailure };
    }
    SDK_CHECKED( bcm_field_data_qualifier_destroy( unit, qual_id ) );
    FP_COMMAND() << "fp data qualifier destroy " << qual_id;
    if ( rollback )
      rollback->drop( step );
    lacking = "No hw resources to program UDF";
  }
  MORVANE_TRACE( traceFailure ) << "Unit: " << unit << createSignature << lacking
                                << " udf: base=" << base << " normalized offset=" << offset
                                << " length=" << length;
  MORVANE_UDF_HW_RESOURCE_FULL.raise();
  return { -1, udfCreateFailureWithUdfResourceExhaustion };
}

void deleteUdfPackets( U32 unit, S32 udfQualId, UdfOffsetBase base, U32 ethType ) {
  const PacketSelection packets = selectPackets( ethType, base );
  bcm_field_data_packet_format_s udfQualPktType = packets.format;
  bcm_field_data_ethertype_s udfEthQualPktType = packets.ethertype;
  if ( packets.byEthType )
    SDK_CHECKED( bcm_field_data_qualifier_ethertype_delete( unit, udfQualId, &udfEthQualPktType ) );
  else
    SDK_CHECKED(
        bcm_field_data_qualifier_packet_format_delete( unit, udfQualId, &udfQualPktType ) );
  FP_COMMAND() << "fp data qualifier format delete " << udfQualId;
}

void destroyUdfQualifier( U8 unit, U32 ethType, UdfOffsetBase base, int udfQualId ) {
  deleteUdfPackets( unit, udfQualId, base, ethType );
  SDK_CHECKED( bcm_field_data_qualifier_destroy( unit, udfQualId ) );
  FP_COMMAND() << "fp data qualifier destroy " << udfQualId;
}

void narrowGroup( U32 unit, U32 pipeGroupId, U32 qualId ) {
  bcm_field_qset_t qset = {};
  SDK_CHECKED( bcm_field_group_get( unit, pipeGroupId, &qset ) );
  if ( !Fields::dataQualifierHas( qset, qualId ) )
    return;
  Fields::dataQualifierDel( qset, qualId );
  SDK_CHECKED_RV( bcm_field_group_set( unit, pipeGroupId, qset ) );
  FP_COMMAND() << "fp group set " << pipeGroupId;
}

void dropUdfQualifier( const UdfUnitSpec & udf, Release & release ) {
  const U32 id = static_cast< U32 >( udf.qualId );
  release.add( { cleanupDeleteFormat, id, udf.base, udf.ethType } );
  release.add( { cleanupDestroyQualifier, id } );
}

bool groupUdfWidthExceeded( U32 unit, const MorvaneTcamGroupManager * groupManager, S32 aclType,
                            U32 ethType, U8 length, U8 maxLength ) {
  MORVANE_TRACE( traceDetail ) << "Unit: " << unit << " ACL type: " << aclType
                               << " Ether type:" << ethType << " UDF length: " << length
                               << " Max UDF length:" << maxLength;
  U32 width = 0;
  if ( aclType == Acl::ip() ) {
    for ( auto it = groupManager->ipMirroringAclUdfIterConst(); it; ++it )
      width += it.value().length;
    MORVANE_TRACE( traceDetail ) << "Unit: " << unit << " UDF width is " << width;
  } else {
    KIV_ASSERT( aclType == Acl::mac() );
    for ( auto it = groupManager->macMirroringAclUdfIterConst(); it; ++it )
      if ( it.value().unit == unit && it.value().ethType == ethType )
        width += it.value().length;
    MORVANE_TRACE( traceDetail ) << "Unit: " << unit << " UDF width is " << width
                                 << " For eth type: " << ethType;
  }
  return width + length > maxLength;
}

}  // namespace Morvane
