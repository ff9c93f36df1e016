// The fields of the SDK's records, one reader `x` and one setter `xIs` each.
//
// The functions are templates and are compiled only where the library calls them: a record without
// the field of the usual name is no error if Shim::Fields, a class derived from this one in the
// adapter, declares the function again. Sets of ports are read and written in words of 32 ports.
#pragma once

#include <tuple>

#include "kiv/Types.h"
#include "kiv/ValueType.h"

namespace Shim {

using Kiv::S32;
using Kiv::U16;
using Kiv::U32;
using Kiv::U8;

class PlainFields {
 public:
  // A record before its fields are set. An adapter calls the SDK's function or macro, if it is
  // inline: the library is not linked with the SDK.
  static void initialise( auto & record ) { record = {}; }

  // --- Sets ---

  static U32 portsWord( const auto & ports, U32 word ) { return ports.pbits[ word ]; }
  static void portsWordIs( auto & ports, U32 word, U32 bits ) { ports.pbits[ word ] = bits; }
  // Of the text form: the fields as Kiv::field lists them.
  template < class Ports >
  static constexpr auto portsFields() {
    return std::make_tuple( Kiv::field( "pbits", &Ports::pbits ) );
  }

  static bool qualifierHas( const auto & set, U32 qualifier ) { return has( set.w, qualifier ); }
  static void qualifierAdd( auto & set, U32 qualifier ) { add( set.w, qualifier ); }
  static void qualifierDel( auto & set, U32 qualifier ) { del( set.w, qualifier ); }
  static bool dataQualifierHas( const auto & set, U32 id ) {
    return has( set.data_qualifiers, id );
  }
  static void dataQualifierDel( auto & set, U32 id ) { del( set.data_qualifiers, id ); }

  // --- Groups: bcm_field_group_config_t, bcm_field_group_status_s ---

  static U32 groupFlags( const auto & config ) { return config.flags; }
  static void groupFlagsIs( auto & config, U32 flags ) { config.flags = flags; }
  static void groupQualifiersIs( auto & config, const auto & set ) { config.qset = set; }
  static S32 groupPriority( const auto & config ) { return config.priority; }
  static void groupPriorityIs( auto & config, S32 priority ) { config.priority = priority; }
  static void groupModeIs( auto & config, auto mode ) { config.mode = mode; }
  static U32 groupId( const auto & config ) { return config.group; }
  static void groupIdIs( auto & config, U32 group ) { config.group = group; }
  static void groupPortsIs( auto & config, const auto & ports ) { config.ports = ports; }
  static void groupActionResolutionIs( auto & config, S32 id ) { config.action_res_id = id; }
  static void groupPreselectorAdd( auto & config, U32 presel ) {
    add( config.preselset.w, presel );
  }

  static S32 groupPrioMax( const auto & status ) { return status.prio_max; }
  static S32 groupEntriesTotal( const auto & status ) { return status.entries_total; }
  static S32 groupEntriesFree( const auto & status ) { return status.entries_free; }
  // Of morvane-sdk-check only.
  static S32 groupPrioMin( const auto & status ) { return status.prio_min; }
  static S32 groupEntryCount( const auto & status ) { return status.entry_count; }

  // --- Ports and preselectors: bcm_port_config_t, bcm_field_src_class_t ---

  static const auto & pipePorts( const auto & config, U32 pipe ) {
    return config.per_pipe_ports[ pipe ];
  }
  // Of morvane-sdk-check only.
  static const auto & allPorts( const auto & config ) { return config.all; }
  static void sourceClassIs( auto & record, U32 number ) { record.intf_class_port = number; }

  // --- Values: bcm_ip6_t, which may be an array, bcm_policer_config_t ---

  static void ip6ByteIs( auto & address, U32 index, U8 byte ) { address.b[ index ] = byte; }

  static U32 policerFlags( const auto & config ) { return config.flags; }
  static void policerFlagsIs( auto & config, U32 flags ) { config.flags = flags; }
  // Of morvane-sdk-check only: the mode, the committed rate and its burst.
  static void policerModeIs( auto & config, auto mode ) { config.mode = mode; }
  static U32 policerRate( const auto & config ) { return config.ckbits_sec; }
  static void policerRateIs( auto & config, U32 rate ) { config.ckbits_sec = rate; }
  static void policerBurstIs( auto & config, U32 burst ) { config.ckbits_burst = burst; }

  // --- Data qualifiers: bcm_field_data_qualifier_s and its packets ---

  static S32 dataId( const auto & qualifier ) { return qualifier.qual_id; }
  static void dataIdIs( auto & qualifier, S32 id ) { qualifier.qual_id = id; }
  static S32 dataBase( const auto & qualifier ) { return qualifier.offset_base; }
  static void dataBaseIs( auto & qualifier, auto base ) { qualifier.offset_base = base; }
  static U32 dataOffset( const auto & qualifier ) { return qualifier.offset; }
  static void dataOffsetIs( auto & qualifier, U8 offset ) { qualifier.offset = offset; }
  static U32 dataLength( const auto & qualifier ) { return qualifier.length; }
  static void dataLengthIs( auto & qualifier, U8 length ) { qualifier.length = length; }

  // Of bcm_field_data_packet_format_s and, but the outer IP and the tunnel,
  // bcm_field_data_ethertype_s.
  static void formatL2Is( auto & format, U16 l2 ) { format.l2 = l2; }
  static void formatVlanTagIs( auto & format, U16 tag ) { format.vlan_tag = tag; }
  static void formatOuterIpIs( auto & format, U16 ip ) { format.outer_ip = ip; }
  static void formatTunnelIs( auto & format, U16 tunnel ) { format.tunnel = tunnel; }
  static void formatEtherTypeIs( auto & format, U16 type ) { format.ethertype = type; }

  // --- Capacity: kelmor_tcam_capacity_info_t and what it contains ---

  static S32 stageCount( const auto & info ) { return info.stage_count; }
  static auto & stage( auto & info, S32 index ) { return info.stage[ index ]; }
  static S32 stageNumber( const auto & stage ) { return stage.stage; }
  static S32 stageTotal( const auto & stage ) { return stage.entries_total; }
  static void stageTotalIs( auto & stage, S32 entries ) { stage.entries_total = entries; }
  static S32 sliceCount( const auto & stage ) { return stage.slice_count; }
  static auto & slice( auto & stage, S32 index ) { return stage.slice[ index ]; }
  static S32 sliceTotal( const auto & slice ) { return slice.entries_total; }
  static void sliceTotalIs( auto & slice, S32 entries ) { slice.entries_total = entries; }
  static S32 sliceFree( const auto & slice ) { return slice.entries_free; }
  static void sliceFreeIs( auto & slice, S32 entries ) { slice.entries_free = entries; }

 protected:
  // Bits of an array of words of any width.
  template < class Word, size_t N >
  static void add( Word ( &words )[ N ], U32 bit ) {
    words[ bit / bitsOf< Word > ] |= Word{ 1 } << bit % bitsOf< Word >;
  }
  template < class Word, size_t N >
  static void del( Word ( &words )[ N ], U32 bit ) {
    words[ bit / bitsOf< Word > ] &= ~( Word{ 1 } << bit % bitsOf< Word > );
  }
  template < class Word, size_t N >
  static bool has( const Word ( &words )[ N ], U32 bit ) {
    return ( words[ bit / bitsOf< Word > ] >> bit % bitsOf< Word > & 1U ) != 0;
  }

 private:
  template < class Word >
  static constexpr U32 bitsOf = 8 * sizeof( Word );
};

}  // namespace Shim
