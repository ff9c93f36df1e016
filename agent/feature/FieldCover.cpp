#include "agent/feature/FieldCover.h"

#include <algorithm>
#include <map>
#include <set>
#include <tuple>
#include <utility>

namespace Agent {

namespace {

FieldBits without( const FieldBits & bits, const FieldBits & removed ) {
  return { bits.high & ~removed.high, bits.low & ~removed.low };
}

constexpr FieldBits zero;

class Merger {
 public:
  explicit Merger( const std::vector< TernaryBits > & matches ) {
    for ( const TernaryBits & match : matches )
      byMask_[ match.mask ].insert( match.value );
  }

  std::vector< TernaryBits > merged() {
    do
      removeCovered();
    while ( joinPairs() );
    std::vector< TernaryBits > result;
    for ( const auto & [ mask, values ] : byMask_ )
      for ( const FieldBits & value : values )
        result.push_back( { value, mask } );
    std::sort( result.begin(), result.end(), []( const TernaryBits & a, const TernaryBits & b ) {
      return std::tie( a.value, a.mask ) < std::tie( b.value, b.mask );
    } );
    return result;
  }

 private:
  void removeCovered() {
    for ( const auto & [ mask, values ] : byMask_ )
      for ( auto & [ longer, others ] : byMask_ )
        if ( longer != mask && ( longer & mask ) == mask )
          std::erase_if(
              others, [ &covering = values, &bits = mask ](
                          const FieldBits & other ) { return covering.contains( other & bits ); } );
  }

  // Low bits first: that joins neighbouring prefixes.
  bool joinPairs() {
    for ( U32 index = 0; index < 128; ++index ) {
      const FieldBits bit = bitAt( index );
      std::map< FieldBits, std::set< FieldBits > > found;
      for ( auto & [ mask, values ] : byMask_ )
        if ( ( mask & bit ) == bit && mask != bit )
          joinOn( bit, values, found[ without( mask, bit ) ] );
      std::erase_if( found, []( const auto & group ) { return group.second.empty(); } );
      const bool joined = !found.empty();
      for ( auto & [ mask, values ] : found )
        byMask_[ mask ].merge( values );
      std::erase_if( byMask_, []( const auto & group ) { return group.second.empty(); } );
      if ( joined )
        return true;
    }
    return false;
  }

  static void joinOn( const FieldBits & bit, std::set< FieldBits > & values,
                      std::set< FieldBits > & joined ) {
    for ( auto at = values.begin(); at != values.end(); ) {
      const FieldBits value = *at;
      if ( ( value & bit ) == zero && values.erase( value | bit ) != 0 ) {
        at = values.erase( at );
        joined.insert( value );
      } else {
        ++at;
      }
    }
  }

  std::map< FieldBits, std::set< FieldBits > > byMask_;
};

}  // namespace

std::vector< AnyRange > mergedRanges( std::vector< AnyRange > ranges ) {
  std::sort( ranges.begin(), ranges.end() );
  std::vector< AnyRange > merged;
  for ( const AnyRange & range : ranges )
    if ( merged.empty() || range.low > U64{ merged.back().high } + 1 )
      merged.push_back( range );
    else
      merged.back().high = std::max( merged.back().high, range.high );
  return merged;
}

std::vector< TernaryBits > mergedMatches( const std::vector< TernaryBits > & matches ) {
  return matches.size() == 1 ? matches : Merger( matches ).merged();
}

std::vector< TernaryBits > coverOf( const MatchField & field, const AclRule & rule ) {
  if ( !field.isRange() )
    return mergedMatches( matchesIn( field, rule ) );
  std::vector< TernaryBits > prefixes;
  const U32 middle = 1U << ( field.width - 1 );
  for ( const AnyRange & range : mergedRanges( rangesIn( field, rule ) ) ) {
    const bool all = range.low == 0 && range.high == 2 * middle - 1;
    for ( const AnyRange & part :
          all ? std::vector< AnyRange >{ { 0, middle - 1 }, { middle, range.high } }
              : std::vector< AnyRange >{ range } )
      for ( const TernaryBits & prefix : prefixesOf( part, field.width ) )
        prefixes.push_back( prefix );
  }
  return mergedMatches( prefixes );
}

}  // namespace Agent
