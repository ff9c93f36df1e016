#include "agent/read/MatchSets.h"

#include <algorithm>
#include <optional>

namespace Agent {

namespace {

FieldBits operator^( const FieldBits & a, const FieldBits & b ) {
  return { a.high ^ b.high, a.low ^ b.low };
}

// Walks the prefixes of a field from the shortest one on.
class PrefixCover {
 public:
  PrefixCover( const FieldBits & low, const FieldBits & high, U32 width, bool others )
      : low_( low ), high_( high ), width_( width ), others_( others ) {
    visit( {}, {}, 0 );
  }

  std::vector< TernaryBits > prefixes;

 private:
  FieldBits wildcards( U32 length ) const {
    FieldBits bits;
    for ( U32 bit = 0; bit < width_ - length; ++bit )
      bits = bits | bitAt( bit );
    return bits;
  }

  void visit( const FieldBits & value, const FieldBits & mask, U32 length ) {
    const FieldBits last = value | wildcards( length );
    const bool apart = last < low_ || high_ < value;
    const bool inside = low_ <= value && last <= high_;
    if ( others_ ? apart : inside ) {
      prefixes.push_back( { value, mask } );
    } else if ( !( others_ ? inside : apart ) ) {
      const FieldBits bit = bitAt( width_ - length - 1 );
      visit( value, mask | bit, length + 1 );
      visit( value | bit, mask | bit, length + 1 );
    }
  }

  const FieldBits low_;
  const FieldBits high_;
  const U32 width_;
  const bool others_;
};

// Whole packets, first and later fragments, one bit each.
constexpr U8 fragmentSets[] = { 7, 1, 2, 4, 6, 3 };

std::optional< Fragments > both( Fragments one, Fragments other ) {
  const U8 set =
      fragmentSets[ static_cast< size_t >( one ) ] & fragmentSets[ static_cast< size_t >( other ) ];
  const auto * found = std::find( std::begin( fragmentSets ), std::end( fragmentSets ), set );
  if ( found == std::end( fragmentSets ) )
    return std::nullopt;
  return Fragments( found - fragmentSets );
}

std::optional< TernaryBits > both( const TernaryBits & one, const TernaryBits & other ) {
  if ( ( ( one.value ^ other.value ) & one.mask & other.mask ) != FieldBits() )
    return std::nullopt;
  return TernaryBits{ one.value | other.value, one.mask | other.mask };
}

std::optional< AnyRange > both( const AnyRange & one, const AnyRange & other ) {
  const AnyRange range = { std::max( one.low, other.low ), std::min( one.high, other.high ) };
  return range.low <= range.high ? std::optional( range ) : std::nullopt;
}

template < class T, class Set >
Meet meet( const std::vector< T > & ones, const std::vector< T > & others, Set && set ) {
  std::vector< T > common;
  if ( ones.size() * others.size() > 16 * alternativesMax )
    return Meet::many;
  for ( const T & one : ones )
    for ( const T & other : others )
      if ( const auto match = both( one, other ) )
        common.push_back( *match );
  if ( common.size() > alternativesMax )
    return Meet::many;
  if ( common.empty() )
    return Meet::none;
  set( common );
  return Meet::some;
}

Meet meet( const MatchField & field, AclRule & rule, const AclRule & other ) {
  if ( field.text == FieldText::fragments ) {
    const auto fragments = both( rule.fragments, other.fragments );
    rule.fragments = fragments.value_or( rule.fragments );
    return fragments ? Meet::some : Meet::none;
  }
  if ( field.isRange() )
    return meet(
        rangesIn( field, rule ), rangesIn( field, other ),
        [ & ]( const auto & ranges ) { setRanges( rule, field.id, ranges ); } );
  return meet( matchesIn( field, rule ), matchesIn( field, other ),
               [ & ]( const auto & matches ) { setMatches( rule, field.id, matches ); } );
}

}  // namespace

TernaryBits exactly( U64 value, U64 mask ) {
  return { { 0, value }, { 0, mask } };
}

std::vector< TernaryBits > complement( const TernaryBits & match ) {
  std::vector< TernaryBits > others;
  FieldBits above;
  for ( U32 index = 128; index-- > 0; ) {
    const FieldBits bit = bitAt( index ) & match.mask;
    if ( bit == FieldBits() )
      continue;
    others.push_back( { ( match.value & above ) | ( ( match.value & bit ) ^ bit ), above | bit } );
    above = above | bit;
  }
  return others;
}

std::vector< AnyRange > complement( std::vector< AnyRange > ranges, U32 max ) {
  std::sort( ranges.begin(), ranges.end() );
  std::vector< AnyRange > others;
  U64 next = 0;
  for ( const AnyRange & range : ranges ) {
    if ( range.low > next )
      others.push_back( { static_cast< U32 >( next ), range.low - 1 } );
    next = std::max( next, range.high + U64{ 1 } );
  }
  if ( next <= max )
    others.push_back( { static_cast< U32 >( next ), max } );
  return others;
}

std::vector< TernaryBits > prefixCover( const FieldBits & low, const FieldBits & high, U32 width,
                                        bool others ) {
  return PrefixCover( low, high, width, others ).prefixes;
}

std::vector< AnyRange > presentPorts( const std::vector< AnyRange > & ranges ) {
  std::vector< AnyRange > present;
  for ( const AnyRange & range : ranges )
    if ( range.low == 0 && range.high == 0xFFFF )
      present.insert( present.end(), { { 0, 0x7FFF }, { 0x8000, 0xFFFF } } );
    else
      present.push_back( range );
  return present;
}

std::vector< TernaryBits > presentBits( const TernaryBits & match, U32 width ) {
  if ( !match.any() )
    return { match };
  const FieldBits top = bitAt( width - 1 );
  return { { {}, top }, { top, top } };
}

std::vector< TernaryBits > establishedFlags() {
  return { { { 0, tcpAck }, { 0, tcpAck } }, { { 0, tcpReset }, { 0, tcpReset } } };
}

Meet restrictTo( AclRule & rule, const AclRule & other ) {
  for ( const MatchField & field : matchFields() )
    if ( restricts( field, other ) )
      if ( const Meet result = meet( field, rule, other ); result != Meet::some )
        return result;
  return Meet::some;
}

}  // namespace Agent
