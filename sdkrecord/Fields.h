// The fields of the SDK's records as leaves, each record once.
#pragma once

#include <algorithm>

#include "sdkrecord/Leaf.h"
#include "shim/SdkTypes.h"

namespace SdkRecord {

// What an SDK need not write: parts of a record beyond its counts.
template < class T >
void clearUnwritten( T & ) {}
inline void clearUnwritten( kelmor_tcam_capacity_info_t & info ) {
  for ( int s = 0; s < KELMOR_TCAM_STAGES_MAX; ++s ) {
    if ( s >= info.stage_count )
      info.stage[ s ] = {};
    for ( int i = std::max( info.stage[ s ].slice_count, 0 ); i < KELMOR_TCAM_SLICES_MAX; ++i )
      info.stage[ s ].slice[ i ] = {};
  }
}

// Appends the leaves of an argument.
class Leaves {
 public:
  Leaves( std::vector< Leaf > & leaves, const std::string & path, IdKind id, bool inRecord = false )
      : leaves_( leaves ), path_( path ), id_( id ), inRecord_( inRecord ) {}

  template < class T >
  void add( T & value ) {
    if constexpr ( std::is_integral_v< T > || std::is_enum_v< T > )
      leaf( numberAt( value ) );
    else
      fields( value );
  }
  void add( std::vector< U8 > & bytes ) { leaf( &bytes ); }
  void add( std::vector< int > & list ) { leaf( &list ); }
  void add( std::string & text ) { leaf( &text ); }

 private:
  template < class Value >
  void leaf( const Value & value ) {
    leaves_.push_back( { path_, value, id_, inRecord_ } );
  }
  template < class T >
  void field( const char * name, T & value, IdKind id = IdKind::none ) {
    Leaves( leaves_, path_ + "." + name, id, true ).add( value );
  }
  template < class T >
  void element( const std::string & name, T & value ) {
    Leaves( leaves_, path_ + "." + name, IdKind::none, true ).add( value );
  }

  void fields( bcm_pbmp_t & ports ) { leaf( Bits{ ports.pbits } ); }
  void fields( bcm_field_presel_set_t & set ) {
    id_ = IdKind::presel;
    leaf( Bits{ set.w } );
  }
  void fields( bcm_field_qset_t & set ) {
    leaves_.push_back( { path_, Bits{ set.w, true }, IdKind::none, inRecord_ } );
    leaves_.push_back( { path_ + ".data", Bits{ set.data_qualifiers }, IdKind::data, true } );
  }
  void fields( bcm_mac_t & address ) { leaf( Bytes( address.b ) ); }
  void fields( bcm_ip6_t & address ) { leaf( Bytes( address.b ) ); }
  void fields( bcm_field_src_class_t & source ) {
    field( "intf_class_port", source.intf_class_port );
  }
  void fields( bcm_field_group_config_t & config ) {
    field( "flags", config.flags );
    field( "qset", config.qset );
    field( "priority", config.priority );
    field( "mode", config.mode );
    field( "group", config.group, IdKind::group );
    field( "ports", config.ports );
    field( "action_res_id", config.action_res_id );
    field( "preselset", config.preselset );
  }
  void fields( bcm_field_group_status_s & status ) {
    field( "prio_min", status.prio_min );
    field( "prio_max", status.prio_max );
    field( "entries_total", status.entries_total );
    field( "entries_free", status.entries_free );
    field( "entry_count", status.entry_count );
  }
  void fields( bcm_port_config_t & config ) {
    field( "all", config.all );
    for ( U32 pipe = 0; pipe < BCM_PIPES_MAX; ++pipe )
      element( "pipe" + std::to_string( pipe ), config.per_pipe_ports[ pipe ] );
  }
  void fields( bcm_policer_config_t & config ) {
    field( "flags", config.flags );
    field( "mode", config.mode );
    field( "ckbits_sec", config.ckbits_sec );
    field( "ckbits_burst", config.ckbits_burst );
    field( "pkbits_sec", config.pkbits_sec );
    field( "pkbits_burst", config.pkbits_burst );
  }
  void fields( bcm_field_data_qualifier_s & qualifier ) {
    field( "flags", qualifier.flags );
    field( "qual_id", qualifier.qual_id, IdKind::data );
    field( "offset_base", qualifier.offset_base );
    field( "offset", qualifier.offset );
    field( "length", qualifier.length );
  }
  void fields( bcm_field_data_packet_format_s & format ) {
    field( "relative_offset", format.relative_offset );
    field( "l2", format.l2 );
    field( "vlan_tag", format.vlan_tag );
    field( "outer_ip", format.outer_ip );
    field( "inner_ip", format.inner_ip );
    field( "tunnel", format.tunnel );
    field( "reserved", format.reserved );
  }
  void fields( bcm_field_data_ethertype_s & ethertype ) {
    field( "relative_offset", ethertype.relative_offset );
    field( "ethertype", ethertype.ethertype );
    field( "l2", ethertype.l2 );
    field( "vlan_tag", ethertype.vlan_tag );
    field( "reserved", ethertype.reserved );
  }
  void fields( kelmor_tcam_slice_info_t & slice ) {
    field( "entries_free", slice.entries_free );
    field( "entries_total", slice.entries_total );
  }
  void fields( kelmor_tcam_stage_info_t & stage ) {
    field( "stage", stage.stage );
    field( "entries_total", stage.entries_total );
    field( "slice_count", stage.slice_count );
    for ( int i = 0; i < KELMOR_TCAM_SLICES_MAX; ++i )
      element( "slice" + std::to_string( i ), stage.slice[ i ] );
  }
  void fields( kelmor_tcam_capacity_info_t & info ) {
    field( "stage_count", info.stage_count );
    for ( int i = 0; i < KELMOR_TCAM_STAGES_MAX; ++i )
      element( "stage" + std::to_string( i ), info.stage[ i ] );
  }

  std::vector< Leaf > & leaves_;
  const std::string path_;
  IdKind id_;
  const bool inRecord_;
};

}  // namespace SdkRecord
