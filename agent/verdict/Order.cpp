#include "agent/verdict/Order.h"

#include <map>

namespace Agent {

namespace {

// True if the packets of both rules that no rule before `end` decides exist.
bool conflict( const std::vector< PlacedRule > & rules, const PlacedRule & a, const PlacedRule & b,
               size_t end ) {
  PacketSet both = a.matched & b.matched;
  for ( size_t i = 0; i < end && !both.empty(); ++i )
    if ( !rules[ i ].removed )
      both -= rules[ i ].matched;
  return !both.empty();
}

}  // namespace

std::vector< PlacedRule > placedRules( const Space & space, const Meaning & meaning ) {
  std::map< Fate, U32 > classes;
  U32 next = 0;
  const auto classOfFate = [ & ]( const Fate & fate ) {
    const auto [ at, added ] = classes.emplace( fate, next );
    next += added ? 1 : 0;
    return at->second;
  };
  std::vector< PlacedRule > rules;
  for ( const MeaningRow & row : meaning.rows() ) {
    const bool alone = standsAlone( *row.rule );
    rules.push_back( { row.matched, alone ? next++ : classOfFate( fateOf( *row.acl, *row.rule ) ),
                       alone || row.isDefault(), false } );
  }
  Fate rest;
  rest.forwarding = meaning.rest();
  rules.push_back( { space.all(), classOfFate( rest ), true, false } );
  return rules;
}

std::vector< size_t > removeRedundant( std::vector< PlacedRule > & rules,
                                       const std::vector< PacketSet > & decided ) {
  std::map< U32, PacketSet > after;  // what the rules after this one decide, by class
  std::vector< size_t > removed;
  for ( size_t i = rules.size(); i-- > 0; ) {
    PlacedRule & rule = rules[ i ];
    if ( rule.removed )
      continue;
    if ( !rule.fixed && after[ rule.fate ].contains( decided[ i ] ) ) {
      rule.removed = true;
      if ( !decided[ i ].empty() )
        removed.insert( removed.begin(), i );
      continue;
    }
    for ( auto & [ fate, packets ] : after )
      packets -= rule.matched;
    after[ rule.fate ] |= rule.matched;
  }
  return removed;
}

std::optional< size_t > placeOfMerged( const std::vector< PlacedRule > & rules,
                                       const MergePair & pair, const PacketSet & merged ) {
  const PlacedRule & first = rules[ pair.first ];
  const PlacedRule & second = rules[ pair.second ];
  if ( first.fate != second.fate || !( ( first.matched | second.matched ) == merged ) )
    return std::nullopt;
  bool up = true;
  bool down = true;
  for ( size_t i = pair.first + 1; i < pair.second && ( up || down ); ++i ) {
    const PlacedRule & between = rules[ i ];
    if ( between.removed || between.fate == first.fate )
      continue;
    up = up && !conflict( rules, second, between, i );
    down = down && !conflict( rules, first, between, pair.first );
  }
  return up ? std::optional( pair.first ) : down ? std::optional( pair.second ) : std::nullopt;
}

}  // namespace Agent
