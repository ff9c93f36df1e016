#include "agent/feature/AclCompiler.h"

#include "agent/feature/PortExpansion.h"

namespace Agent {

namespace {

U32 checkerOf( const MatchField & field, const RangeCheckers & checkers ) {
  return field.qualifier == bcmFieldQualifyL4SrcPort ? checkers.source : checkers.destination;
}

std::vector< EntryField > rangeMatches( const MatchField & field, const PortRange & range,
                                        U32 checker ) {
  if ( checker != 0 )
    return { { &field, {}, checker } };
  std::vector< EntryField > matches;
  for ( const PortMatch & prefix : expandPorts( range ) )
    matches.push_back( { &field, { { 0, prefix.value }, { 0, prefix.mask } }, 0 } );
  return matches;
}

// The matches of a field that together cover what the rule matches in it.
std::vector< EntryField > matchesOf( const MatchField & field, const AclRule & rule,
                                     const RangeCheckers & checkers ) {
  if ( const PortRange * range = rangeOf( field, rule ) )
    return rangeMatches( field, *range, checkerOf( field, checkers ) );
  return { { &field, ternaryOf( field, rule ), 0 } };
}

// One entry for each of them and of the matches.
std::vector< EntryMatch > combine( const std::vector< EntryMatch > & entries,
                                   const std::vector< EntryField > & matches ) {
  std::vector< EntryMatch > combined;
  combined.reserve( entries.size() * matches.size() );
  for ( const EntryMatch & entry : entries )
    for ( const EntryField & match : matches )
      combined.emplace_back( entry ).fields.push_back( match );
  return combined;
}

}  // namespace

bool wantsChecker( const PortRange & range ) {
  return expandPorts( range ).size() > 1;
}

std::vector< EntryMatch > compileRule( AclKind kind, const AclRule & rule,
                                       const RangeCheckers & checkers ) {
  std::vector< EntryMatch > entries( 1 );
  entries.front().kind = kind;
  for ( const MatchField & field : matchFields() )
    if ( field.isIn( kind ) && restricts( field, rule ) )
      entries = combine( entries, matchesOf( field, rule, checkers ) );
  return entries;
}

U32 entriesOf( const AclRule & rule, const RangeCheckers & checkers ) {
  size_t entries = 1;
  for ( const MatchField & field : matchFields() )
    if ( const PortRange * range = rangeOf( field, rule ) )
      entries *= rangeMatches( field, *range, checkerOf( field, checkers ) ).size();
  return static_cast< U32 >( entries );
}

}  // namespace Agent
