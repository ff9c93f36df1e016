#include "softasic/Rule.h"

#include <algorithm>
#include <cassert>

namespace SoftAsic {

namespace {

U64 lowBits( U32 bits ) {
  return bits >= 64 ? ~U64{ 0 } : ( U64{ 1 } << bits ) - 1;
}

U64 bigEndian( const U8 * bytes ) {
  U64 value = 0;
  for ( U32 i = 0; i < 8; ++i )
    value = value << 8 | bytes[ i ];
  return value;
}

U64 portBits( const bcm_pbmp_t & ports, U32 word ) {
  return U64{ ports.pbits[ 2 * word + 1 ] } << 32 | ports.pbits[ 2 * word ];
}

void putPortBits( bcm_pbmp_t & ports, U32 word, U64 bits ) {
  ports.pbits[ 2 * word ] = static_cast< U32 >( bits );
  ports.pbits[ 2 * word + 1 ] = static_cast< U32 >( bits >> 32 );
}

// Validity bits required by an enumerator.
struct Demand {
  U32 value;
  U32 mask;
};

Demand ipTypeDemand( U8 type ) {
  switch ( type ) {
    case bcmFieldIpTypeNonIp:
      return { keyNonIp, keyNonIp };
    case bcmFieldIpTypeIpv4Any:
      return { keyIpv4, keyIpv4 };
    case bcmFieldIpTypeIpv6:
      return { keyIpv6, keyIpv6 };
    case bcmFieldIpTypeIp:
      return { keyIp, keyIp };
    case bcmFieldIpTypeArp:
      return { keyArp, keyArp };
    default:
      return { 0, 0 };
  }
}

// The protocol bit is set if the parser reached the end of the IP header chain.
Demand ipFragDemand( U8 frag ) {
  switch ( frag ) {
    case bcmFieldIpFragNon:
      return { keyProtocol, keyProtocol | keyFragment };
    case bcmFieldIpFragFirst:
      return { keyProtocol | keyFragment, keyProtocol | keyFragment | keyLaterFragment };
    case bcmFieldIpFragNonOrFirst:
      return { keyProtocol, keyProtocol | keyLaterFragment };
    case bcmFieldIpFragNotFirst:
      return { keyProtocol | keyLaterFragment, keyProtocol | keyLaterFragment };
    default:
      return { keyProtocol | keyFragment, keyProtocol | keyFragment };
  }
}

}  // namespace

// Port bitmaps keep value bits outside the mask, for ports in both bitmaps, which the rule does not
// restrict, so that the value can be read back. In other fields such bits are zero.
void Rule::write( const KeyLayout & layout, const FieldPlace & field, U64 value, U64 mask ) {
  const U32 slot = layout.slot( field.word );
  const U64 cleared = ~( lowBits( field.bits ) << field.shift );
  words_[ slot ] = ( words_[ slot ] & cleared ) | value << field.shift;
  words_[ size() + slot ] = ( words_[ size() + slot ] & cleared ) | mask << field.shift;
}

int Rule::set( const KeyLayout & layout, U32 index, U64 value, U64 mask ) {
  const FieldPlace & field = keyFields()[ index ];
  assert( field.bits > 0 && field.bits <= 64 );
  const U64 width = lowBits( field.bits );
  if ( ( value & mask & ~width ) != 0 )
    return BCM_E_PARAM;
  write( layout, field, value & mask & width, mask & width );
  finish( layout, index );
  return BCM_E_NONE;
}

void Rule::setWide( const KeyLayout & layout, U32 index, const U8 ( &value )[ 16 ],
                    const U8 ( &mask )[ 16 ] ) {
  FieldPlace half = keyFields()[ index ];
  for ( U32 i = 0; i < 2; ++i, ++half.word ) {
    const U64 maskBits = bigEndian( mask + 8 * i );
    write( layout, half, bigEndian( value + 8 * i ) & maskBits, maskBits );
  }
  finish( layout, index );
}

void Rule::setPorts( const KeyLayout & layout, U32 index, const bcm_pbmp_t & value,
                     const bcm_pbmp_t & mask ) {
  FieldPlace part = keyFields()[ index ];
  for ( U32 i = 0; i < layout.portWords(); ++i, ++part.word ) {
    const U64 in = portBits( value, i ) & portBits( mask, i );
    write( layout, part, in, portBits( mask, i ) & ~in );
  }
  finish( layout, index );
}

void Rule::ports( const KeyLayout & layout, bcm_pbmp_t & value, bcm_pbmp_t & mask ) const {
  value = {};
  mask = {};
  for ( U32 i = 0; i < layout.portWords(); ++i ) {
    const U32 slot = layout.slot( portsWord + i );
    putPortBits( value, i, words_[ slot ] );
    putPortBits( mask, i, words_[ slot ] | words_[ size() + slot ] );
  }
}

int Rule::setIpType( const KeyLayout & layout, bcm_field_IpType_t type ) {
  if ( type < bcmFieldIpTypeAny || type > bcmFieldIpTypeArp )
    return BCM_E_PARAM;
  ipType_ = static_cast< U8 >( type );
  finish( layout, static_cast< U32 >( fieldIndex( bcmFieldQualifyIpType ) ) );
  return BCM_E_NONE;
}

int Rule::setIpFrag( const KeyLayout & layout, bcm_field_IpFrag_t frag ) {
  if ( frag < bcmFieldIpFragNon || frag > bcmFieldIpFragAny )
    return BCM_E_PARAM;
  ipFrag_ = static_cast< U8 >( frag );
  finish( layout, static_cast< U32 >( fieldIndex( bcmFieldQualifyIpFrag ) ) );
  return BCM_E_NONE;
}

void Rule::setRange( const KeyLayout & layout, const RangeUse & checker, bool invert ) {
  write( layout, checker->place(), invert ? 0 : 1, 1 );
  if ( std::find( ranges_.begin(), ranges_.end(), checker ) == ranges_.end() )
    ranges_.push_back( checker );
  finish( layout, static_cast< U32 >( fieldIndex( bcmFieldQualifyRangeCheck ) ) );
}

void Rule::setData( const KeyLayout & layout, const DataField & field, const U8 * value,
                    const U8 * mask ) {
  for ( const U32 chunk : field.chunks ) {
    const U32 bits = chunkBits( mask );
    write( layout, chunkPlace( chunk ), chunkBits( value ) & bits, bits );
    write( layout, chunkValidPlace( chunk ), bits != 0 ? 1 : 0, bits != 0 ? 1 : 0 );
    dataChunks_ = static_cast< U16 >( dataChunks_ | 1U << chunk );
    value += dataChunkBytes;
    mask += dataChunkBytes;
  }
}

Rule Rule::convert( const KeyLayout & from, const KeyLayout & to ) const {
  Rule rule( *this );
  rule.words_.assign( size_t{ 2 } * to.size(), 0 );
  for ( const U8 word : to.words() ) {
    if ( !from.stores( word ) )
      continue;
    rule.words_[ to.slot( word ) ] = words_[ from.slot( word ) ];
    rule.words_[ to.size() + to.slot( word ) ] = words_[ from.size() + from.slot( word ) ];
  }
  return rule;
}

void Rule::clearQualifiers() {
  present_ = 0;
  dataChunks_ = 0;
  ranges_.clear();
  ipType_ = bcmFieldIpTypeAny;
  ipFrag_ = bcmFieldIpFragNon;
  std::fill( words_.begin(), words_.end(), 0 );
}

U64 Rule::value( const KeyLayout & layout, U32 index ) const {
  const FieldPlace & field = keyFields()[ index ];
  return words_[ layout.slot( field.word ) ] >> field.shift & lowBits( field.bits );
}

U64 Rule::mask( const KeyLayout & layout, U32 index ) const {
  const FieldPlace & field = keyFields()[ index ];
  return words_[ size() + layout.slot( field.word ) ] >> field.shift & lowBits( field.bits );
}

bool Rule::restricts( const KeyLayout & layout, U32 index ) const {
  if ( !has( index ) )
    return false;
  if ( keyFields()[ index ].bits <= 64 )
    return mask( layout, index ) != 0;
  const U32 slot = size() + layout.slot( keyFields()[ index ].word );
  const U32 next = size() + layout.slot( keyFields()[ index ].word + 1U );
  return ( words_[ slot ] | words_[ next ] ) != 0;
}

// Recomputes the validity bits from all qualifiers.
void Rule::finish( const KeyLayout & layout, U32 changed ) {
  present_ |= 1U << changed;
  U32 value = 0;
  U32 mask = 0;
  for ( U32 i = 0; i < keyFields().size(); ++i ) {
    const U32 needs = keyFields()[ i ].needs;
    if ( needs == 0 || !restricts( layout, i ) )
      continue;
    value |= needs;
    mask |= needs;
  }
  const Demand type = ipTypeDemand( ipType_ );
  value |= type.value;
  mask |= type.mask;
  if ( has( static_cast< U32 >( fieldIndex( bcmFieldQualifyIpFrag ) ) ) ) {
    const Demand frag = ipFragDemand( ipFrag_ );
    value |= frag.value;
    mask |= frag.mask;
  }
  for ( const RangeUse & checker : ranges_ ) {
    value |= checker->needs();
    mask |= checker->needs();
  }
  setMeta( layout, value, mask );
}

void Rule::setMeta( const KeyLayout & layout, U64 value, U64 mask ) {
  if ( layout.stores( metaWord ) )
    write( layout, { 0, metaWord, 0, keyValidityBits, 0 }, value, mask );
}

int Rule::addAction( const ActionView & action ) {
  const auto same = [ & ]( bcm_field_action_t other ) {
    return std::find_if( actions_.begin(), actions_.end(),
                         [ & ]( const ActionView & a ) { return a.action == other; } );
  };
  const bool drop = action.action == bcmFieldActionDrop;
  if ( ( drop && same( bcmFieldActionPermit ) != actions_.end() ) ||
       ( action.action == bcmFieldActionPermit && same( bcmFieldActionDrop ) != actions_.end() ) )
    return BCM_E_CONFIG;
  if ( const auto old = same( action.action ); old != actions_.end() )
    *old = action;
  else
    actions_.push_back( action );
  return BCM_E_NONE;
}

int Rule::removeAction( bcm_field_action_t action ) {
  const auto removed =
      std::erase_if( actions_, [ & ]( const ActionView & a ) { return a.action == action; } );
  return removed == 0 ? BCM_E_NOT_FOUND : BCM_E_NONE;
}

QualifierView Rule::viewField( const KeyLayout & layout, U32 index ) const {
  const FieldPlace & field = keyFields()[ index ];
  QualifierView view{ field.qualifier, {}, {} };
  if ( field.bits == 0 ) {
    view.value = { field.qualifier == bcmFieldQualifyIpType ? ipType_ : ipFrag_ };
    view.mask = { ~U64{ 0 } };
  } else if ( field.bits <= 64 ) {
    view.value = { value( layout, index ) };
    view.mask = { mask( layout, index ) };
  } else {
    const bool ports = field.word == portsWord;
    for ( U32 i = 0; i < ( ports ? layout.portWords() : 2 ); ++i ) {
      const U32 slot = layout.slot( field.word + i );
      view.value.push_back( words_[ slot ] );
      view.mask.push_back( words_[ size() + slot ] | ( ports ? words_[ slot ] : 0 ) );
    }
  }
  return view;
}

DataMatchView Rule::viewData( const KeyLayout & layout, const DataField & field ) const {
  DataMatchView view{ field.id, {}, {} };
  const auto append = [ & ]( std::vector< U8 > & bytes, U64 word, U32 shift ) {
    for ( U32 left = dataChunkBits; left > 0; left -= 8 )
      bytes.push_back( static_cast< U8 >( word >> ( shift + left - 8 ) ) );
  };
  for ( const U32 chunk : field.chunks ) {
    const FieldPlace place = chunkPlace( chunk );
    append( view.value, words_[ layout.slot( place.word ) ], place.shift );
    append( view.mask, words_[ size() + layout.slot( place.word ) ], place.shift );
  }
  return view;
}

RuleView Rule::view( const KeyLayout & layout ) const {
  RuleView view;
  for ( U32 i = 0; i < keyFields().size(); ++i )
    if ( has( i ) )
      view.qualifiers.push_back( viewField( layout, i ) );
  for ( const DataField & field : layout.data() )
    if ( hasData( field ) )
      view.data.push_back( viewData( layout, field ) );
  view.actions = actions_;
  return view;
}

}  // namespace SoftAsic
