#include "softasic/KeyLayout.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace SoftAsic {

namespace {

constexpr FieldPlace fields[] = {
    { bcmFieldQualifySrcIp6, 6, 0, 128, keyIpv6 },
    { bcmFieldQualifyDstIp6, 8, 0, 128, keyIpv6 },
    { bcmFieldQualifyDstMac, 4, 16, 48, keyEthernet },
    { bcmFieldQualifySrcMac, 5, 8, 48, keyEthernet },
    { bcmFieldQualifySrcIp, 0, 0, 32, keyIpv4 },
    { bcmFieldQualifyDstIp, 1, 0, 32, keyIpv4 },
    { bcmFieldQualifyInPort, metaWord, 15, 8, 0 },
    { bcmFieldQualifyInPorts, portsWord, 0, BCM_PBMP_PORT_MAX, 0 },
    { bcmFieldQualifyOutPort, 5, 56, 8, 0 },
    { bcmFieldQualifyOuterVlanPri, metaWord, 35, 3, keyOuterTag },
    { bcmFieldQualifyInnerVlanId, metaWord, 38, 12, keyInnerTag },
    { bcmFieldQualifyOuterVlanId, metaWord, 23, 12, keyOuterTag },
    { bcmFieldQualifyEtherType, 4, 0, 16, keyEtherType },
    { bcmFieldQualifyIpType, metaWord, 0, 0, 0 },
    { bcmFieldQualifyIpProtocol, 2, 24, 8, keyProtocol },
    { bcmFieldQualifyDSCP, metaWord, 50, 8, keyIp },
    { bcmFieldQualifyTtl, 5, 0, 8, keyIp },
    { bcmFieldQualifyIpFrag, metaWord, 0, 0, 0 },
    { bcmFieldQualifyL4SrcPort, 2, 48, 16, keyTcpUdp },
    { bcmFieldQualifyL4DstPort, 2, 32, 16, keyTcpUdp },
    { bcmFieldQualifyTcpControl, 2, 16, 8, keyTcp },
    { bcmFieldQualifyIcmpTypeCode, 2, 0, 16, keyIcmp },
    { bcmFieldQualifyRangeCheck, checkWord, 0, rangeCheckersMax, 0 },
    { bcmFieldQualifyInPortsClass, portsWord, 0, BCM_PBMP_PORT_MAX, 0 },
};
static_assert( std::size( fields ) <= 32 );
static_assert( std::is_sorted( std::begin( fields ), std::end( fields ),
                               []( const FieldPlace & a, const FieldPlace & b ) {
                                 return a.qualifier < b.qualifier;
                               } ) );

// By qualifier; -1: not a field.
constexpr auto indices = [] {
  std::array< S8, bcmFieldQualifyCount > table;
  table.fill( -1 );
  for ( U32 i = 0; i < std::size( fields ); ++i )
    table[ fields[ i ].qualifier ] = static_cast< S8 >( i );
  return table;
}();

// Most selective words first, so that a compare fails early.
constexpr U8 storedOrder[] = { 0,  1,  6,  8,  7,  9,  2,  3,  4,  5,  15, 16,
                               17, 18, 19, 20, 21, 22, 14, 10, 11, 12, 13 };
static_assert( std::size( storedOrder ) == keyWords );

}  // namespace

std::span< const FieldPlace > keyFields() {
  return fields;
}

int fieldIndex( U32 qualifier ) {
  return qualifier < indices.size() ? indices[ qualifier ] : -1;
}

const DataField * KeyLayout::data( U32 id ) const {
  const auto field = std::find_if( data_.begin(), data_.end(),
                                   [ & ]( const DataField & f ) { return f.id == id; } );
  return field == data_.end() ? nullptr : &*field;
}

KeyLayout::KeyLayout( const bcm_field_qset_t & qset, U32 ports, std::vector< DataField > data )
    : data_( std::move( data ) ) {
  std::array< bool, keyWords > used = {};
  for ( U32 i = 0; i < std::size( fields ); ++i ) {
    const FieldPlace & field = fields[ i ];
    if ( !qset.has( field.qualifier ) )
      continue;
    fields_ |= 1U << i;
    if ( field.word == portsWord )
      portWords_ = ( ports + 63 ) / 64;
    const U32 fieldWords = field.word == portsWord ? portWords_ : std::max( 1U, field.bits / 64U );
    for ( U32 word = 0; word < fieldWords; ++word )
      used[ field.word + word ] = true;
    // The checker determines which validity bits a range check requires.
    if ( field.needs != 0 || field.word == checkWord )
      used[ metaWord ] = true;
  }
  for ( const DataField & field : data_ )
    for ( const U32 chunk : field.chunks )
      used[ chunkPlace( chunk ).word ] = used[ checkWord ] = true;
  for ( const U8 word : storedOrder ) {
    if ( !used[ word ] )
      continue;
    stored_ |= 1U << word;
    slots_[ word ] = static_cast< U8 >( words_.size() );
    words_.push_back( word );
  }
}

}  // namespace SoftAsic
