// Where the records of kelmor_field.h differ from those of shim/SdkDeclarations.h.
#pragma once

// Under other names
using bcm_field_group_status_s = bcm_field_group_status_t;
using bcm_field_data_qualifier_s = bcm_field_data_qualifier_t;
using bcm_field_data_packet_format_s = bcm_field_data_packet_format_t;
using bcm_field_data_ethertype_s = bcm_field_data_ethertype_t;
inline constexpr bcm_field_group_mode_t bcmFieldGroupModePerCopy = bcmFieldGroupModeCopy;

// Lacking: the checks take another in its place
inline constexpr bcm_field_action_t bcmFieldActionEgressMask = bcmFieldActionRedirectPbmp;

namespace Shim {

class Fields : public PlainFields {
 public:
  using PlainFields::initialise;
  static void initialise( bcm_field_group_config_t & config ) {
    bcm_field_group_config_t_init( &config );
  }

  static U32 portsWord( const bcm_pbmp_t & ports, U32 word ) {
    return static_cast< U32 >( ports.words[ word / 2 ] >> word % 2 * 32 );
  }
  static void portsWordIs( bcm_pbmp_t & ports, U32 word, U32 bits ) {
    const U32 shift = word % 2 * 32;
    ports.words[ word / 2 ] &= ~( Kiv::U64{ 0xFFFFFFFF } << shift );
    ports.words[ word / 2 ] |= Kiv::U64{ bits } << shift;
  }
  template < class Ports >
  static constexpr auto portsFields() {
    return std::make_tuple( Kiv::field( "words", &Ports::words ) );
  }

  static U32 groupId( const bcm_field_group_config_t & config ) {
    return static_cast< U32 >( config.gid );
  }
  static void groupIdIs( bcm_field_group_config_t & config, U32 group ) {
    config.gid = static_cast< bcm_field_group_t >( group );
  }

  static const bcm_pbmp_t & pipePorts( const bcm_port_config_t & config, U32 pipe ) {
    return pipe == 0 ? config.pipe0 : config.pipe1;
  }

  static void ip6ByteIs( bcm_ip6_t & address, U32 index, U8 byte ) { address[ index ] = byte; }

  static U32 policerFlags( const bcm_policer_config_t & config ) { return config.pol_flags; }
  static void policerFlagsIs( bcm_policer_config_t & config, U32 flags ) {
    config.pol_flags = static_cast< U16 >( flags );
  }
  static U32 policerRate( const bcm_policer_config_t & config ) { return config.rate; }
  static void policerRateIs( bcm_policer_config_t & config, U32 rate ) { config.rate = rate; }

  static U32 dataOffset( const bcm_field_data_qualifier_t & qualifier ) { return qualifier.skip; }
  static void dataOffsetIs( bcm_field_data_qualifier_t & qualifier, U8 offset ) {
    qualifier.skip = offset;
  }
  static U32 dataLength( const bcm_field_data_qualifier_t & qualifier ) { return qualifier.bytes; }
  static void dataLengthIs( bcm_field_data_qualifier_t & qualifier, U8 length ) {
    qualifier.bytes = length;
  }

  // The SDK has no total of a stage, and counts used rows in place of free ones.
  static S32 stageTotal( const kelmor_tcam_stage_info_t & stage ) {
    S32 total = 0;
    for ( S32 i = 0; i < stage.slice_count; ++i )
      total += stage.slice[ i ].size;
    return total;
  }
  static void stageTotalIs( kelmor_tcam_stage_info_t &, S32 ) {}
  static S32 sliceTotal( const kelmor_tcam_slice_info_t & slice ) { return slice.size; }
  static void sliceTotalIs( kelmor_tcam_slice_info_t & slice, S32 rows ) { slice.size = rows; }
  static S32 sliceFree( const kelmor_tcam_slice_info_t & slice ) { return slice.size - slice.used; }
  static void sliceFreeIs( kelmor_tcam_slice_info_t & slice, S32 rows ) {
    slice.used = slice.size - rows;
  }
};

}  // namespace Shim
