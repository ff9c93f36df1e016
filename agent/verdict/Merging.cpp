#include "agent/verdict/Merging.h"

#include <algorithm>
#include <bit>
#include <functional>
#include <string>
#include <unordered_map>

#include "agent/acl/RuleText.h"
#include "agent/feature/FieldCover.h"
#include "agent/verdict/Meaning.h"

namespace Agent {

namespace {

// What the rule allows in every field.
std::vector< std::string > fieldTexts( AclKind kind, const AclRule & rule ) {
  std::vector< std::string > texts;
  for ( const MatchField & field : matchFields() )
    texts.push_back( field.isIn( kind ) && restricts( field, rule ) ? fieldText( field, rule )
                                                                    : "" );
  return texts;
}

std::string actionKey( const AclRule & rule ) {
  return std::to_string( static_cast< int >( rule.forwarding ) * 4 + ( rule.copyToCpu ? 2 : 0 ) +
                         ( rule.mirror ? 1 : 0 ) );
}

// Two values and masks as one, where they differ in one bit or one is inside the other.
std::vector< TernaryBits > joinedMatches( const std::vector< TernaryBits > & matches ) {
  if ( matches.size() != 2 )
    return mergedMatches( matches );
  const auto & [ a, b ] = std::tie( matches[ 0 ], matches[ 1 ] );
  const FieldBits differ = { a.value.high ^ b.value.high, a.value.low ^ b.value.low };
  const FieldBits both = a.mask & b.mask;
  if ( ( differ & both ) == FieldBits() && both == a.mask )
    return { a };
  if ( ( differ & both ) == FieldBits() && both == b.mask )
    return { b };
  if ( a.mask != b.mask || std::popcount( differ.high ) + std::popcount( differ.low ) != 1 )
    return matches;
  const FieldBits mask = { a.mask.high & ~differ.high, a.mask.low & ~differ.low };
  return { { a.value & mask, mask } };
}

// Both rules as one with the values of both in the field; empty: it would have more than either.
std::optional< AclRule > joined( const MatchField & field, const AclRule & a, const AclRule & b ) {
  AclRule merged = a;
  const auto join = [ & ]( const auto & first, const auto & second, const auto & merge,
                           const auto & set ) {
    auto all = first;
    all.insert( all.end(), second.begin(), second.end() );
    all = merge( all );
    const bool fits = all.size() <= std::max( first.size(), second.size() );
    if ( fits )
      set( merged, field.id, all );
    return fits;
  };
  const bool fits =
      field.isRange()
          ? join( rangesIn( field, a ), rangesIn( field, b ), mergedRanges, setRanges )
          : join( matchesIn( field, a ), matchesIn( field, b ), joinedMatches, setMatches );
  return fits ? std::optional( std::move( merged ) ) : std::nullopt;
}

}  // namespace

std::vector< MergePair > mergePairs( AclKind kind, const std::vector< const AclRule * > & rules ) {
  std::vector< std::vector< std::string > > texts( rules.size() );
  for ( size_t i = 0; i < rules.size(); ++i )
    if ( rules[ i ] != nullptr && !standsAlone( *rules[ i ] ) )
      texts[ i ] = fieldTexts( kind, *rules[ i ] );
  std::vector< MergePair > pairs;
  for ( const MatchField & field : matchFields() ) {
    const auto id = static_cast< size_t >( field.id );
    // A rules file cannot have types with masks, nor two sets of fragments.
    if ( !field.isIn( kind ) || field.id == FieldId::fragments || field.id == FieldId::etherType )
      continue;
    // Rules that are equal in all other fields and in their actions.
    std::unordered_map< std::string, std::vector< size_t > > groups;
    for ( size_t i = 0; i < rules.size(); ++i ) {
      if ( texts[ i ].empty() || texts[ i ][ id ].empty() )
        continue;
      std::string key = actionKey( *rules[ i ] );
      for ( size_t other = 0; other < texts[ i ].size(); ++other )
        key += "|" + ( other == id ? std::string() : texts[ i ][ other ] );
      std::vector< size_t > & group = groups[ key ];
      for ( const size_t earlier : group )
        if ( auto merged = joined( field, *rules[ earlier ], *rules[ i ] ) )
          pairs.push_back( { earlier, i, std::move( *merged ) } );
      group.push_back( i );
    }
  }
  std::sort( pairs.begin(), pairs.end(), []( const MergePair & a, const MergePair & b ) {
    return std::tie( a.first, a.second ) < std::tie( b.first, b.second );
  } );
  return pairs;
}

}  // namespace Agent
