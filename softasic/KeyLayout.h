// Where each packet field stands in a match key, and which words of it a group stores.
//
// A packet becomes one key of 23 words of 64 bits (PacketKey). A group's layout picks the words
// that its qualifier set needs, so that entries stay small. Groups with equal layouts can copy
// rules from one another.
//
//   word 0      source IPv4 address
//   word 1      destination IPv4 address; a word of its own, so that an index can branch on one
//               address and then on the other
//   word 2      L4 source port, L4 destination port, protocol, TCP flags, ICMP type and code
//   word 3      validity bits, ingress port, outer VLAN id and priority, inner VLAN id, DSCP
//   word 4      destination MAC, EtherType
//   word 5      source MAC, TTL
//   word 6, 7   source IPv6 address, upper half first
//   word 8, 9   destination IPv6 address, upper half first
//   word 10-13  ingress port, one bit per port
//   word 14     results of the range checkers, and which data chunks the packet has
//   word 15-22  data chunks, two to a word, the even one in the upper half
//
// A validity bit says that the packet has the header that a field comes from. A rule that restricts
// the field demands the bit too, so that a missing header never matches.
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
inline constexpr U32 dataChunksMax = 16;     // bits 48-63: the packet has the chunk
inline constexpr U32 dataChunkBytes = 4;
inline constexpr U32 dataChunkBits = 8 * dataChunkBytes;

struct PacketKey {
  std::array< U64, keyWords > words = {};
};

// Validity bits of the meta word.
enum KeyBit : U32 {
  keyEthernet = 1U << 0,        // both MAC addresses
  keyEtherType = 1U << 1,       // an EtherType, no length field
  keyOuterTag = 1U << 2,        // a VLAN tag
  keyInnerTag = 1U << 3,        // a second VLAN tag
  keyIpv4 = 1U << 4,            // a whole IPv4 header
  keyIpv6 = 1U << 5,            // a whole fixed IPv6 header
  keyIp = 1U << 6,              // one of these two
  keyNonIp = 1U << 7,           // an L3 protocol that is neither, as far as the type field tells
  keyArp = 1U << 8,             // a whole ARP packet for IPv4
  keyProtocol = 1U << 9,        // the protocol that follows the IP header and its extensions
  keyFragment = 1U << 10,       // a fragment, first or later
  keyLaterFragment = 1U << 11,  // a fragment without the L4 header
  keyTcpUdp = 1U << 12,         // a whole TCP or UDP header
  keyTcp = 1U << 13,            // a whole TCP header
  keyIcmp = 1U << 14,           // type and code of ICMP or ICMPv6
};
inline constexpr U32 keyValidityBits = 15;

// Place of one qualifier's field. Fields wider than a word go on in the following words.
struct FieldPlace {
  U32 qualifier;  // bcm_field_qualify_t
  U8 word;
  U8 shift;   // of the lowest bit
  U16 bits;   // 0: an enumeration that becomes validity bits
  U16 needs;  // validity bits that a restriction of the field demands
};

// A data qualifier of a group: its bytes stand in these chunks, in order.
struct DataField {
  U32 id = 0;
  std::vector< U8 > chunks;
  friend bool operator==( const DataField &, const DataField & ) = default;
};

// Where a chunk stands in the key, and the bit that says that the packet has it.
inline FieldPlace chunkPlace( U32 chunk ) {
  return { 0, static_cast< U8 >( dataWord + chunk / 2 ),
           static_cast< U8 >( chunk % 2 == 0 ? dataChunkBits : 0 ), dataChunkBits, 0 };
}
inline FieldPlace chunkValidPlace( U32 chunk ) {
  return { 0, checkWord, static_cast< U8 >( rangeCheckersMax + chunk ), 1, 0 };
}

// All fields, in ascending order of their qualifiers; at most 32.
std::span< const FieldPlace > keyFields();
// Place of a qualifier in keyFields(); -1 for one without a field in the key.
int fieldIndex( U32 qualifier );

// Sets the field's bits of a key word.
inline void putField( U64 & word, const FieldPlace & field, U64 value ) {
  word |= value << field.shift;
}

// A field of a packet's key, at most 64 bits wide.
inline U64 fieldOf( const PacketKey & key, const FieldPlace & field ) {
  return key.words[ field.word ] >> field.shift & ( ~U64{ 0 } >> ( 64 - field.bits ) );
}

// The bytes of a chunk as they stand in the key.
inline U32 chunkBits( const U8 * bytes ) {
  return U32{ bytes[ 0 ] } << 24 | U32{ bytes[ 1 ] } << 16 | U32{ bytes[ 2 ] } << 8 | bytes[ 3 ];
}

class KeyLayout {
 public:
  // `ports` is the number of ports of the unit; `data` are the data qualifiers of the set, by id.
  KeyLayout( const bcm_field_qset_t & qset, U32 ports, std::vector< DataField > data );

  // Words of the whole key that are stored, in stored order.
  const std::vector< U8 > & words() const { return words_; }
  U32 size() const { return static_cast< U32 >( words_.size() ); }
  // Place of a word of the whole key among the stored ones; the word must be one of them.
  U32 slot( U32 word ) const { return slots_[ word ]; }
  bool stores( U32 word ) const { return ( stored_ >> word & 1U ) != 0; }
  // Whether the qualifier set holds the field.
  bool has( U32 field ) const { return ( fields_ >> field & 1U ) != 0; }
  // Data qualifiers, by id; null: the layout lacks it.
  const std::vector< DataField > & data() const { return data_; }
  const DataField * data( U32 id ) const;
  // Stored words of the port bitmap; 0 when the group does not match on it.
  U32 portWords() const { return portWords_; }

  // Picks the stored words out of a packet's key.
  void gather( const PacketKey & key, U64 * stored ) const {
    for ( U32 i = 0; i < words_.size(); ++i )
      stored[ i ] = key.words[ words_[ i ] ];
  }

  friend bool operator==( const KeyLayout &, const KeyLayout & ) = default;

 private:
  U32 fields_ = 0;  // bit by field
  U32 stored_ = 0;  // bit by word of the whole key
  U32 portWords_ = 0;
  std::vector< U8 > words_;
  std::array< U8, keyWords > slots_ = {};
  std::vector< DataField > data_;
};

}  // namespace SoftAsic
