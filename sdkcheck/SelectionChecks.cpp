// Range checkers, preselectors and data qualifiers.
#include <algorithm>

#include "sdkcheck/Checks.h"

namespace SdkCheck {

namespace {

using Kind = Unit::Kind;

// --- Range checkers --------------------------------------------------------------------------

enum class Which { first, further };

U32 makeRange( Unit & u, Which which, U32 low, U32 high ) {
  bcm_field_range_t range = 0;
  const Outcome outcome =
      u.sdk.bcm_field_range_create( u.unit, &range, BCM_FIELD_RANGE_DSTPORT, low, high );
  if ( which == Which::first )
    u.needsAny( outcome );
  u.ok( outcome );
  u.created( Kind::range, range );
  u.holds( "a range checker's id is not 0, which means none", range != 0 );
  return range;
}

void rangeStates( Unit & u ) {
  const U32 range = makeRange( u, Which::first, 1024, 2047 );
  const U32 other = makeRange( u, Which::further, 5, 9 );
  u.holds( "two range checkers have different ids", other != range );
  const U32 group = u.group( u.config(
      1, 0,
      with( without( u.qualifiers(), bcmFieldQualifyOuterVlanId ), bcmFieldQualifyRangeCheck ) ) );
  const U32 entry = u.entry( group, 1 );
  u.ok( u.sdk.bcm_field_qualify_RangeCheck( u.unit, entry, range, 0 ) );
  u.ok( u.sdk.bcm_field_entry_install( u.unit, entry ) );
  u.refused( u.sdk.bcm_field_range_destroy( u.unit, range ) );
  u.ok( u.sdk.bcm_field_entry_remove( u.unit, entry ) );
  u.ok( u.sdk.bcm_field_qualify_clear( u.unit, entry ) );
  u.destroy( Kind::range, range );
  u.refused( u.sdk.bcm_field_range_destroy( u.unit, range ) );
  u.refused( u.sdk.bcm_field_qualify_RangeCheck( u.unit, entry, range, 0 ) );
  // An entry that is destroyed uses nothing any more.
  u.ok( u.sdk.bcm_field_qualify_RangeCheck( u.unit, entry, other, 1 ) );
  u.destroy( Kind::entry, entry );
  u.destroy( Kind::range, other );
}

void rangeFull( Unit & u ) {
  const U32 first = makeRange( u, Which::first, 0, 1 );
  Outcome outcome{ {}, 0 };
  for ( U32 count = 1; outcome.rc >= 0; ++count ) {
    if ( count == u.limit )
      u.notApplicable( "none of " + std::to_string( count ) + " range checkers was refused" );
    bcm_field_range_t range = 0;
    outcome = u.sdk.bcm_field_range_create( u.unit, &range, BCM_FIELD_RANGE_SRCPORT, count % 65536,
                                            65535 );
    if ( outcome.rc >= 0 )
      u.created( Kind::range, range );
  }
  u.is( BCM_E_RESOURCE, outcome );
  u.destroy( Kind::range, first );
  makeRange( u, Which::further, 7, 8 );
}

// --- Preselectors ----------------------------------------------------------------------------

void presels( Unit & u ) {
  if ( !u.preselected() )
    u.notApplicable( "groups are not chosen by preselector" );
  bcm_field_presel_t presel = BCM_FIELD_PRESEL_MAX;
  bcm_field_presel_t other = BCM_FIELD_PRESEL_MAX;
  u.ok( u.sdk.bcm_field_presel_create( u.unit, &presel ) );
  u.created( Kind::presel, presel );
  u.holds( "a preselector's id is below BCM_FIELD_PRESEL_MAX", presel < BCM_FIELD_PRESEL_MAX );
  u.ok( u.sdk.bcm_field_presel_create( u.unit, &other ) );
  u.created( Kind::presel, other );
  u.holds( "two preselectors have different ids", presel != other );
  u.ok( u.sdk.bcm_field_qualify_Stage( u.unit, presel | BCM_FIELD_QUALIFY_PRESEL,
                                       bcmFieldStageIngress ) );
  bcm_field_group_config_t config = u.config( 1, 0, u.qualifiers(), presel );
  const U32 group = u.group( config );
  u.refused( u.sdk.bcm_field_presel_destroy( u.unit, presel ) );
  u.destroy( Kind::presel, other );
  u.destroy( Kind::group, group );
  u.destroy( Kind::presel, presel );
  u.refused( u.sdk.bcm_field_presel_destroy( u.unit, presel ) );
  u.refused( u.sdk.bcm_field_qualify_Stage( u.unit, presel | BCM_FIELD_QUALIFY_PRESEL,
                                            bcmFieldStageIngress ) );
  u.refused( u.sdk.bcm_field_group_config_create( u.unit, &config ) );
}

// --- Data qualifiers -------------------------------------------------------------------------

bcm_field_data_qualifier_s dataRecord( U8 offset, U8 length ) {
  auto record = initialised< bcm_field_data_qualifier_s >();
  Fields::dataBaseIs( record, bcmFieldDataOffsetBaseOuterL3Header );
  Fields::dataOffsetIs( record, offset );
  Fields::dataLengthIs( record, length );
  return record;
}

int makeData( Unit & u, U8 offset, U8 length ) {
  bcm_field_data_qualifier_s record = dataRecord( offset, length );
  u.needs( u.sdk.bcm_field_data_qualifier_create( u.unit, &record ) );
  const int id = Fields::dataId( record );
  u.created( Kind::data, static_cast< U32 >( id ) );
  u.holds( "a data qualifier's id is 1 to 255", id >= 1 && id <= 255 );
  return id;
}

bcm_field_data_packet_format_s ipv4() {
  auto format = initialised< bcm_field_data_packet_format_s >();
  Fields::formatL2Is( format, BCM_FIELD_DATA_FORMAT_ANY );
  Fields::formatVlanTagIs( format, BCM_FIELD_DATA_FORMAT_ANY );
  Fields::formatOuterIpIs( format, BCM_FIELD_DATA_FORMAT_IP4 );
  Fields::formatTunnelIs( format, BCM_FIELD_DATA_FORMAT_ANY );
  return format;
}

void dataStates( Unit & u ) {
  const int id = makeData( u, 20, 4 );
  const int other = makeData( u, 24, 8 );
  u.holds( "two data qualifiers have different ids", id != other );
  auto record = initialised< bcm_field_data_qualifier_s >();
  u.ok( u.sdk.bcm_field_data_qualifier_get( u.unit, id, &record ) );
  u.equal( "qual_id that was read", Fields::dataId( record ), id );
  u.equal( "offset that was read", Fields::dataOffset( record ), 20 );
  u.equal( "length that was read", Fields::dataLength( record ), 4 );
  u.equal( "base that was read", Fields::dataBase( record ), bcmFieldDataOffsetBaseOuterL3Header );
  bcm_field_data_packet_format_s format = ipv4();
  u.ok( u.sdk.bcm_field_data_qualifier_packet_format_add( u.unit, id, &format ) );
  u.ok( u.sdk.bcm_field_data_qualifier_packet_format_delete( u.unit, id, &format ) );
  u.refused( u.sdk.bcm_field_data_qualifier_packet_format_delete( u.unit, id, &format ) );
  auto type = initialised< bcm_field_data_ethertype_s >();
  Fields::formatEtherTypeIs( type, 0x0800 );
  u.ok( u.sdk.bcm_field_data_qualifier_ethertype_add( u.unit, id, &type ) );
  u.ok( u.sdk.bcm_field_data_qualifier_ethertype_delete( u.unit, id, &type ) );
  u.refused( u.sdk.bcm_field_data_qualifier_ethertype_delete( u.unit, id, &type ) );
  u.destroy( Kind::data, static_cast< U32 >( id ) );
  u.refused( u.sdk.bcm_field_data_qualifier_get( u.unit, id, &record ) );
  u.refused( u.sdk.bcm_field_data_qualifier_destroy( u.unit, id ) );
}

void dataGroup( Unit & u ) {
  const int id = makeData( u, 20, 4 );
  bcm_field_qset_t wide = u.qualifiers();
  u.ok( u.sdk.bcm_field_qset_data_qualifier_add( u.unit, &wide, id ) );
  u.holds( "bcm_field_qset_data_qualifier_add adds the id to the set",
           Fields::dataQualifierHas( wide, static_cast< U32 >( id ) ) );
  const U32 group = u.group( u.config( 1, 0, wide ) );
  u.refused( u.sdk.bcm_field_data_qualifier_destroy( u.unit, id ) );
  const U32 entry = u.entry( group, 1 );
  const U8 bytes[ 4 ] = { 1, 2, 3, 4 };
  u.ok( u.sdk.bcm_field_qualify_data( u.unit, entry, id, bytes, bytes, 4 ) );
  u.refused( u.sdk.bcm_field_qualify_data( u.unit, entry, id, bytes, bytes, 3 ) );
  u.refused( u.sdk.bcm_field_qualify_data( u.unit, entry, id + 1, bytes, bytes, 4 ) );
  u.destroy( Kind::entry, entry );
  // As a field's last use is released: the live group is narrowed, then the qualifier destroyed.
  u.ok( u.sdk.bcm_field_group_set( u.unit, group, u.qualifiers() ) );
  bcm_field_qset_t qset = {};
  u.ok( u.sdk.bcm_field_group_get( u.unit, group, &qset ) );
  u.holds( "a set without data qualifiers after the group was narrowed",
           equal( qset, u.qualifiers() ) );
  u.destroy( Kind::data, static_cast< U32 >( id ) );
}

void dataFull( Unit & u ) {
  const int first = makeData( u, 0, 4 );
  int rc = 0;
  for ( U32 count = 1; rc >= 0; ++count ) {
    u.holds( "there are at most 255 data qualifiers", count < BCM_FIELD_DATA_QUAL_MAX );
    bcm_field_data_qualifier_s record = dataRecord( count % 128, 4 );
    const Outcome outcome = u.sdk.bcm_field_data_qualifier_create( u.unit, &record );
    rc = outcome.rc;
    if ( rc < 0 )
      u.is( BCM_E_RESOURCE, outcome );
    else
      u.created( Kind::data, static_cast< U32 >( Fields::dataId( record ) ) );
  }
  u.destroy( Kind::data, static_cast< U32 >( first ) );
  makeData( u, 64, 4 );
}

void dataFormats( Unit & u ) {
  const int id = makeData( u, 20, 4 );
  auto type = initialised< bcm_field_data_ethertype_s >();
  for ( U16 number = 0x8000;; ++number ) {
    Fields::formatEtherTypeIs( type, number );
    const Outcome outcome = u.sdk.bcm_field_data_qualifier_ethertype_add( u.unit, id, &type );
    if ( outcome.rc == BCM_E_RESOURCE )
      break;
    u.ok( outcome );
    if ( number == 0x8400 )
      u.notApplicable( "none of 1,024 EtherTypes was refused" );
  }
  // What was refused can be added after another was deleted with its qualifier.
  u.destroy( Kind::data, static_cast< U32 >( id ) );
  const int next = makeData( u, 20, 4 );
  u.ok( u.sdk.bcm_field_data_qualifier_ethertype_add( u.unit, next, &type ) );
}

}  // namespace

const std::vector< Check > selectionChecks = {
    { "range-states", "a range checker in use is not destroyed", rangeStates },
    { "range-full", "a range checker too many is refused with BCM_E_RESOURCE", rangeFull },
    { "preselectors", "a preselector in use is not destroyed", presels },
    { "data-states", "data qualifiers and their formats are added and removed", dataStates },
    { "data-group", "groups match on data qualifiers, which are then in use", dataGroup },
    { "data-full", "a data qualifier too many is refused with BCM_E_RESOURCE", dataFull },
    { "data-formats", "an EtherType too many is refused with BCM_E_RESOURCE", dataFormats },
};

}  // namespace SdkCheck
