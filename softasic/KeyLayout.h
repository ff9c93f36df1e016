// Layout of the match key, and the key words that a group stores.
//
// The parser turns a packet into one key of 23 words of 64 bits (PacketKey). A group stores only
// the words that its qualifier set needs, which keeps entries small. Rules can be copied between
// groups with equal layouts.
//
//   word 0      source IPv4 address
//   word 1      destination IPv4 address; in a word of its own so that the index can branch on
//               each address separately
//   word 2      L4 source port, L4 destination port, protocol, TCP flags, ICMP type and code
//   word 3      validity bits, ingress port, outer VLAN id and priority, inner VLAN id, DSCP
//   word 4      destination MAC, EtherType
//   word 5      egress port, source MAC, TTL
//   word 6, 7   source IPv6 address, upper half first
//   word 8, 9   destination IPv6 address, upper half first
//   word 10-13  ingress port, one bit per port
//   word 14     range checker results, data chunk valid bits
//   word 15-22  data chunks, two to a word, the even one in the upper half
//
// A validity bit is set if the packet has the header that holds a field. Rules that restrict the
// field also match on the bit, so that a missing header never matches.
#pragma once

#include <array>
#include <span>
#include <vector>

#include "kiv/Types.h"
#include "shim/SdkTypes.h"

namespace SoftAsic {

using namespace Kiv::Integers;

inline constexpr U32 keyWords = 23;
inline constexpr U32 metaWord = 3;
inline constexpr U32 portsWord = 10;
inline constexpr U32 portsWordCount = 4;
inline constexpr U32 checkWord = 14;
inline constexpr U32 dataWord = 15;

inline constexpr U32 rangeCheckersMax = 48;  // bits 0-47 of the check word
inline constexpr U32 dataChunksMax = 16;     // bits 48-63 of the check word: chunk valid
inline constexpr U32 dataChunkBytes = 4;
inline constexpr U32 dataChunkBits = 8 * dataChunkBytes;

struct PacketKey {
  std::array< U64, keyWords > words = {};
};

// Validity bits of the meta word.
enum KeyBit : U32 {
  keyEthernet = 1U << 0,        // both MAC addresses
  keyEtherType = 1U << 1,       // an EtherType rather than a length
  keyOuterTag = 1U << 2,        // a VLAN tag
  keyInnerTag = 1U << 3,        // a second VLAN tag
  keyIpv4 = 1U << 4,            // a whole IPv4 header
  keyIpv6 = 1U << 5,            // a whole fixed IPv6 header
  keyIp = 1U << 6,              // IPv4 or IPv6
  keyNonIp = 1U << 7,           // another L3 protocol, by the type field
  keyArp = 1U << 8,             // a whole ARP packet for IPv4
  keyProtocol = 1U << 9,        // the protocol after the IP header and its extensions
  keyFragment = 1U << 10,       // a fragment, first or later
  keyLaterFragment = 1U << 11,  // a fragment without the L4 header
  keyTcpUdp = 1U << 12,         // a whole TCP or UDP header
  keyTcp = 1U << 13,            // a whole TCP header
  keyIcmp = 1U << 14,           // type and code of ICMP or ICMPv6
};
inline constexpr U32 keyValidityBits = 15;

// Location of a qualifier's field. Fields wider than a word continue in the following words.
struct FieldPlace {
  U32 qualifier;  // bcm_field_qualify_t
  U8 word;
  U8 shift;   // of the lowest bit
  U16 bits;   // 0: an enumeration encoded in validity bits
  U16 needs;  // validity bits required by a rule that restricts the field
};

// A data qualifier of a group and its chunks, in byte order.
struct DataField {
  U32 id = 0;
  std::vector< U8 > chunks;
  friend bool operator==( const DataField &, const DataField & ) = default;
};

// Location of a chunk and of its valid bit in the key.
inline FieldPlace chunkPlace( U32 chunk ) {
  return { 0, static_cast< U8 >( dataWord + chunk / 2 ),
           static_cast< U8 >( chunk % 2 == 0 ? dataChunkBits : 0 ), dataChunkBits, 0 };
}
inline FieldPlace chunkValidPlace( U32 chunk ) {
  return { 0, checkWord, static_cast< U8 >( rangeCheckersMax + chunk ), 1, 0 };
}

// All fields by qualifier; at most 32.
std::span< const FieldPlace > keyFields();
// Index into keyFields(); -1 if the qualifier has no field in the key.
int fieldIndex( U32 qualifier );

// ORs the value into a key word.
inline void putField( U64 & word, const FieldPlace & field, U64 value ) {
  word |= value << field.shift;
}

// For fields of at most 64 bits.
inline U64 fieldOf( const PacketKey & key, const FieldPlace & field ) {
  return key.words[ field.word ] >> field.shift & ( ~U64{ 0 } >> ( 64 - field.bits ) );
}

// A chunk in key format.
inline U32 chunkBits( const U8 * bytes ) {
  return U32{ bytes[ 0 ] } << 24 | U32{ bytes[ 1 ] } << 16 | U32{ bytes[ 2 ] } << 8 | bytes[ 3 ];
}

class KeyLayout {
 public:
  // `ports`: port count of the unit; `data`: data qualifiers of the set, by id.
  KeyLayout( const bcm_field_qset_t & qset, U32 ports, std::vector< DataField > data );

  // Stored words of the full key, in stored order.
  const std::vector< U8 > & words() const { return words_; }
  U32 size() const { return static_cast< U32 >( words_.size() ); }
  // Index of a full-key word among the stored words; it must be stored.
  U32 slot( U32 word ) const { return slots_[ word ]; }
  bool stores( U32 word ) const { return ( stored_ >> word & 1U ) != 0; }
  // True if the qualifier set has the field.
  bool has( U32 field ) const { return ( fields_ >> field & 1U ) != 0; }
  // Data qualifiers by id; null: not in the layout.
  const std::vector< DataField > & data() const { return data_; }
  const DataField * data( U32 id ) const;
  // Stored port bitmap words; 0 if the group does not match on the port bitmap.
  U32 portWords() const { return portWords_; }

  // Extracts the stored words of a packet key.
  void gather( const PacketKey & key, U64 * stored ) const {
    for ( U32 i = 0; i < words_.size(); ++i )
      stored[ i ] = key.words[ words_[ i ] ];
  }

  friend bool operator==( const KeyLayout &, const KeyLayout & ) = default;

 private:
  U32 fields_ = 0;  // bit by field
  U32 stored_ = 0;  // bit by word of the full key
  U32 portWords_ = 0;
  std::vector< U8 > words_;
  std::array< U8, keyWords > slots_ = {};
  std::vector< DataField > data_;
};

}  // namespace SoftAsic
