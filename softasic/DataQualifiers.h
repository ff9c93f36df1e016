// Data qualifiers: bytes at a chosen place of the packet that a group can match on.
//
// Chip rules
// - A unit has a pool of 4-byte chunks; a qualifier of 4, 8, 12 or 16 bytes takes as many as it is
//   long, lowest free first. Ids are below 256, never 0, lowest free first. Too few chunks: -14. A
//   chip without any: -16. Another length or base, an offset above 127, or a flag: -4.
// - A qualifier applies to the packets that one of its packet formats or ether types describes, and
//   to none while it has neither. Its bytes then begin at the base, plus its offset, plus the
//   relative offset of the first description that holds, formats before ether types. The bases are
//   the start of the frame, the first byte behind the Ethernet header and its tags, and the first
//   byte behind the IP header and its extensions. A packet that lacks the base, or that ends before
//   the last byte, has no value, and matches no rule that restricts the qualifier.
// - The parser tells Ethernet II frames and outer IPv4 and IPv6 headers: other conditions than
//   these, on tags, inner headers or tunnels, are refused (-16), as is an ether type below 0x0600
//   (-4). All descriptions of a unit share one pool: -14. The same one twice: -8. Deleting one that
//   is not there: -7. Both count from the next packet on.
// - The bytes are in the keys of ingress tables only, and cost their length in key bits. A
// qualifier
//   in the set of a group that lives cannot be destroyed: -10. Destroying one destroys its
//   descriptions. Unknown qualifier: -7.
#pragma once

#include <map>
#include <vector>

#include "softasic/Inspection.h"
#include "softasic/PacketParser.h"

namespace SoftAsic {

class DataQualifiers {
 public:
  // Chunks and descriptions of the unit.
  DataQualifiers( U32 chunks, U32 formats ) : chunks_( chunks ), freeFormats_( formats ) {}

  // Writes the id into the record.
  int create( bcm_field_data_qualifier_s * record );
  int destroy( int id );
  int get( int id, bcm_field_data_qualifier_s * record ) const;
  int addFormat( int id, const bcm_field_data_packet_format_s * format );
  int deleteFormat( int id, const bcm_field_data_packet_format_s * format );
  int addEtherType( int id, const bcm_field_data_ethertype_s * type );
  int deleteEtherType( int id, const bcm_field_data_ethertype_s * type );
  // Adds the qualifier to a set; it may be in it.
  int addTo( bcm_field_qset_t * qset, int id ) const;

  // Whether every data qualifier of the set exists.
  bool exist( const bcm_field_qset_t & qset ) const;
  // The fields of the set, all of which exist, by id; and the key bits that they cost.
  std::vector< DataField > fields( const bcm_field_qset_t & qset ) const;
  U32 keyBits( const bcm_field_qset_t & qset ) const;
  // A group begins or ends to match on the set.
  void use( const bcm_field_qset_t & qset );
  void unuse( const bcm_field_qset_t & qset );

  // Adds the packet's values of all qualifiers in use to its key.
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

  std::vector< bool > chunks_;  // whether the chunk is taken
  U32 freeFormats_;
  std::map< U32, Qualifier > qualifiers_;
};

}  // namespace SoftAsic
