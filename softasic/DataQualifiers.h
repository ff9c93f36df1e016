// Data qualifiers: user-defined fields, matched at a given offset from a packet header.
//
// Chip rules
// - A unit has a pool of 4-byte chunks. A qualifier has 4, 8, 12 or 16 bytes and takes one chunk
//   per 4 bytes, lowest free first. Ids are 1 to 255, lowest free first. BCM_E_RESOURCE if too few
//   chunks are free, BCM_E_UNAVAIL if the chip has none, BCM_E_PARAM for another length or base, an
//   offset above 127 or any flag.
// - A qualifier applies to packets that match one of its packet formats or EtherTypes, and to none
//   as long as it has neither. The field starts at base + offset + relative offset of the first
//   match, formats before EtherTypes. The bases are the start of the frame, the first byte after
//   the Ethernet header and its tags, and the first byte after the IP header and its extensions. If
//   the packet lacks the base or ends within the field, the field is invalid and no rule that
//   restricts it matches.
// - The parser recognises Ethernet II frames and outer IPv4 and IPv6 headers. BCM_E_UNAVAIL for
//   formats with other conditions (tags, inner headers, tunnels), BCM_E_PARAM for an EtherType
//   below 0x0600. All formats and EtherTypes of a unit share one pool: BCM_E_RESOURCE if it is
//   empty. BCM_E_EXISTS for a duplicate, BCM_E_NOT_FOUND for deleting an unknown one. Changes apply
//   from the next packet on.
// - Only ingress keys contain the field; it costs its length in key bits. Destroying a qualifier
//   removes its formats and EtherTypes; BCM_E_BUSY while it is in the qualifier set of a group.
//   BCM_E_NOT_FOUND for an unknown qualifier.
#pragma once

#include <map>
#include <vector>

#include "softasic/Inspection.h"
#include "softasic/PacketParser.h"

namespace SoftAsic {

class DataQualifiers {
 public:
  // Pool sizes of the unit.
  DataQualifiers( U32 chunks, U32 formats ) : chunks_( chunks ), freeFormats_( formats ) {}

  // Sets the id in `record`.
  int create( bcm_field_data_qualifier_s * record );
  int destroy( int id );
  int get( int id, bcm_field_data_qualifier_s * record ) const;
  int addFormat( int id, const bcm_field_data_packet_format_s * format );
  int deleteFormat( int id, const bcm_field_data_packet_format_s * format );
  int addEtherType( int id, const bcm_field_data_ethertype_s * type );
  int deleteEtherType( int id, const bcm_field_data_ethertype_s * type );
  // No-op if the set has the qualifier already.
  int addTo( bcm_field_qset_t * qset, int id ) const;

  // True if all data qualifiers of the set exist.
  bool exist( const bcm_field_qset_t & qset ) const;
  // Fields of the set by id, and their cost in key bits. All must exist.
  std::vector< DataField > fields( const bcm_field_qset_t & qset ) const;
  U32 keyBits( const bcm_field_qset_t & qset ) const;
  // Reference counting by groups.
  void use( const bcm_field_qset_t & qset );
  void unuse( const bcm_field_qset_t & qset );

  // Adds the fields of all qualifiers in use to the key.
  void extract( ParsedFrame & parsed, const U8 * frame ) const;

  std::vector< DataQualifierView > views() const;

 private:
  struct Qualifier : DataQualifierView {
    DataField field;
  };

  Qualifier * find( int id );
  const Qualifier * find( int id ) const {
    return const_cast< DataQualifiers * >( this )->find( id );
  }
  template < class T >
  int describe( int id, std::vector< T > DataQualifierView::*list, const T * description );
  template < class T >
  int undescribe( int id, std::vector< T > DataQualifierView::*list, const T * description );

  std::vector< bool > chunks_;  // true: allocated
  U32 freeFormats_;
  std::map< U32, Qualifier > qualifiers_;
};

}  // namespace SoftAsic
