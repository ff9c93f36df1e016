#include "softasic/DataQualifiers.h"

#include <algorithm>
#include <cassert>
#include <optional>

namespace SoftAsic {

namespace {

constexpr U32 offsetMax = 127;
constexpr U32 lengthMax = 16;

bool open( U16 condition ) {
  return condition == 0 || condition == BCM_FIELD_DATA_FORMAT_ANY;
}

bool isL2( U16 condition ) {
  return open( condition ) || condition == BCM_FIELD_DATA_FORMAT_L2_ETH_II;
}

int check( const bcm_field_data_packet_format_s & format ) {
  if ( format.relative_offset > offsetMax )
    return BCM_E_PARAM;
  const bool known = isL2( format.l2 ) && open( format.vlan_tag ) && open( format.inner_ip ) &&
                     open( format.tunnel ) &&
                     ( open( format.outer_ip ) || format.outer_ip == BCM_FIELD_DATA_FORMAT_IP4 ||
                       format.outer_ip == BCM_FIELD_DATA_FORMAT_IP6 );
  return known ? BCM_E_NONE : BCM_E_UNAVAIL;
}

int check( const bcm_field_data_ethertype_s & type ) {
  if ( type.relative_offset > offsetMax || type.ethertype < etherTypeMin )
    return BCM_E_PARAM;
  return isL2( type.l2 ) && open( type.vlan_tag ) ? BCM_E_NONE : BCM_E_UNAVAIL;
}

bool isIn( U64 valid, U32 bits ) {
  return ( valid & bits ) == bits;
}

bool holds( const bcm_field_data_packet_format_s & format, const PacketKey & key ) {
  const U64 valid = key.words[ metaWord ];
  if ( format.l2 == BCM_FIELD_DATA_FORMAT_L2_ETH_II && !isIn( valid, keyEtherType ) )
    return false;
  if ( format.outer_ip == BCM_FIELD_DATA_FORMAT_IP4 )
    return isIn( valid, keyIpv4 );
  return format.outer_ip != BCM_FIELD_DATA_FORMAT_IP6 || isIn( valid, keyIpv6 );
}

bool holds( const bcm_field_data_ethertype_s & type, const PacketKey & key ) {
  static const FieldPlace & place =
      keyFields()[ static_cast< U32 >( fieldIndex( bcmFieldQualifyEtherType ) ) ];
  return isIn( key.words[ metaWord ], keyEtherType ) && fieldOf( key, place ) == type.ethertype;
}

// Offset of the base in the frame; empty if the packet lacks it.
std::optional< size_t > baseOf( const bcm_field_data_qualifier_s & record,
                                const ParsedFrame & parsed ) {
  if ( record.offset_base == bcmFieldDataOffsetBasePacketStart )
    return 0;
  const size_t base =
      record.offset_base == bcmFieldDataOffsetBaseOuterL3Header ? parsed.l3 : parsed.l4;
  return base == 0 ? std::nullopt : std::optional( base );
}

// Relative offset of the first matching format or EtherType; empty: the qualifier does not apply.
std::optional< size_t > relativeOffset( const DataQualifierView & qualifier,
                                        const PacketKey & key ) {
  for ( const bcm_field_data_packet_format_s & format : qualifier.formats )
    if ( holds( format, key ) )
      return format.relative_offset;
  for ( const bcm_field_data_ethertype_s & type : qualifier.etherTypes )
    if ( holds( type, key ) )
      return type.relative_offset;
  return std::nullopt;
}

}  // namespace

DataQualifiers::Qualifier * DataQualifiers::find( int id ) {
  const auto qualifier = qualifiers_.find( static_cast< U32 >( id ) );
  return qualifier == qualifiers_.end() ? nullptr : &qualifier->second;
}

int DataQualifiers::create( bcm_field_data_qualifier_s * record ) {
  if ( chunks_.empty() )
    return BCM_E_UNAVAIL;
  if ( record == nullptr || record->flags != 0 || record->length == 0 ||
       record->length > lengthMax || record->length % dataChunkBytes != 0 ||
       record->offset > offsetMax || record->offset_base < bcmFieldDataOffsetBasePacketStart ||
       record->offset_base > bcmFieldDataOffsetBaseOuterL4Header )
    return BCM_E_PARAM;
  const U32 wanted = record->length / dataChunkBytes;
  if ( std::count( chunks_.begin(), chunks_.end(), false ) <
       static_cast< std::ptrdiff_t >( wanted ) )
    return BCM_E_RESOURCE;
  U32 id = 1;  // there are fewer chunks than ids
  while ( qualifiers_.count( id ) != 0 )
    ++id;
  record->qual_id = static_cast< int >( id );
  Qualifier & qualifier = qualifiers_[ id ];
  qualifier.record = *record;
  qualifier.field.id = id;
  for ( U32 chunk = 0; qualifier.field.chunks.size() < wanted; ++chunk ) {
    if ( chunks_[ chunk ] )
      continue;
    chunks_[ chunk ] = true;
    qualifier.field.chunks.push_back( static_cast< U8 >( chunk ) );
  }
  return BCM_E_NONE;
}

int DataQualifiers::destroy( int id ) {
  const Qualifier * qualifier = find( id );
  if ( qualifier == nullptr )
    return BCM_E_NOT_FOUND;
  if ( qualifier->groups != 0 )
    return BCM_E_BUSY;
  for ( const U32 chunk : qualifier->field.chunks )
    chunks_[ chunk ] = false;
  freeFormats_ += static_cast< U32 >( qualifier->formats.size() + qualifier->etherTypes.size() );
  qualifiers_.erase( static_cast< U32 >( id ) );
  return BCM_E_NONE;
}

int DataQualifiers::get( int id, bcm_field_data_qualifier_s * record ) const {
  const Qualifier * qualifier = find( id );
  if ( qualifier == nullptr )
    return BCM_E_NOT_FOUND;
  if ( record == nullptr )
    return BCM_E_PARAM;
  *record = qualifier->record;
  return BCM_E_NONE;
}

template < class T >
int DataQualifiers::describe( int id, std::vector< T > DataQualifierView::*list,
                              const T * description ) {
  Qualifier * qualifier = find( id );
  if ( qualifier == nullptr )
    return BCM_E_NOT_FOUND;
  if ( description == nullptr )
    return BCM_E_PARAM;
  if ( const int rc = check( *description ); rc < 0 )
    return rc;
  std::vector< T > & all = qualifier->*list;
  if ( std::find( all.begin(), all.end(), *description ) != all.end() )
    return BCM_E_EXISTS;
  if ( freeFormats_ == 0 )
    return BCM_E_RESOURCE;
  all.push_back( *description );
  --freeFormats_;
  return BCM_E_NONE;
}

template < class T >
int DataQualifiers::undescribe( int id, std::vector< T > DataQualifierView::*list,
                                const T * description ) {
  Qualifier * qualifier = find( id );
  if ( qualifier == nullptr )
    return BCM_E_NOT_FOUND;
  if ( description == nullptr )
    return BCM_E_PARAM;
  std::vector< T > & all = qualifier->*list;
  const auto found = std::find( all.begin(), all.end(), *description );
  if ( found == all.end() )
    return BCM_E_NOT_FOUND;
  all.erase( found );
  ++freeFormats_;
  return BCM_E_NONE;
}

int DataQualifiers::addFormat( int id, const bcm_field_data_packet_format_s * format ) {
  return describe( id, &Qualifier::formats, format );
}

int DataQualifiers::deleteFormat( int id, const bcm_field_data_packet_format_s * format ) {
  return undescribe( id, &Qualifier::formats, format );
}

int DataQualifiers::addEtherType( int id, const bcm_field_data_ethertype_s * type ) {
  return describe( id, &Qualifier::etherTypes, type );
}

int DataQualifiers::deleteEtherType( int id, const bcm_field_data_ethertype_s * type ) {
  return undescribe( id, &Qualifier::etherTypes, type );
}

int DataQualifiers::addTo( bcm_field_qset_t * qset, int id ) const {
  if ( find( id ) == nullptr )
    return BCM_E_NOT_FOUND;
  if ( qset == nullptr )
    return BCM_E_PARAM;
  qset->addData( static_cast< U32 >( id ) );
  return BCM_E_NONE;
}

bool DataQualifiers::exist( const bcm_field_qset_t & qset ) const {
  for ( U32 id = 0; id < BCM_FIELD_DATA_QUAL_MAX; ++id )
    if ( qset.hasData( id ) && qualifiers_.count( id ) == 0 )
      return false;
  return true;
}

std::vector< DataField > DataQualifiers::fields( const bcm_field_qset_t & qset ) const {
  std::vector< DataField > fields;
  for ( const auto & [ id, qualifier ] : qualifiers_ )
    if ( qset.hasData( id ) )
      fields.push_back( qualifier.field );
  return fields;
}

U32 DataQualifiers::keyBits( const bcm_field_qset_t & qset ) const {
  U32 bits = 0;
  for ( const auto & [ id, qualifier ] : qualifiers_ )
    if ( qset.hasData( id ) )
      bits += 8 * qualifier.record.length;
  return bits;
}

void DataQualifiers::use( const bcm_field_qset_t & qset ) {
  for ( auto & [ id, qualifier ] : qualifiers_ )
    if ( qset.hasData( id ) )
      ++qualifier.groups;
}

void DataQualifiers::unuse( const bcm_field_qset_t & qset ) {
  for ( auto & [ id, qualifier ] : qualifiers_ ) {
    if ( !qset.hasData( id ) )
      continue;
    assert( qualifier.groups > 0 );
    --qualifier.groups;
  }
}

void DataQualifiers::extract( ParsedFrame & parsed, const U8 * frame ) const {
  for ( const auto & [ id, qualifier ] : qualifiers_ ) {
    if ( qualifier.groups == 0 )
      continue;
    const std::optional< size_t > base = baseOf( qualifier.record, parsed );
    const std::optional< size_t > relative = relativeOffset( qualifier, parsed.key );
    if ( !base || !relative )
      continue;
    size_t at = *base + *relative + qualifier.record.offset;
    if ( at + qualifier.record.length > parsed.length )
      continue;
    for ( const U32 chunk : qualifier.field.chunks ) {
      const FieldPlace place = chunkPlace( chunk );
      putField( parsed.key.words[ place.word ], place, chunkBits( frame + at ) );
      putField( parsed.key.words[ checkWord ], chunkValidPlace( chunk ), 1 );
      at += dataChunkBytes;
    }
  }
}

std::vector< DataQualifierView > DataQualifiers::views() const {
  std::vector< DataQualifierView > views;
  for ( const auto & [ id, qualifier ] : qualifiers_ )
    views.push_back( qualifier );
  return views;
}

}  // namespace SoftAsic
