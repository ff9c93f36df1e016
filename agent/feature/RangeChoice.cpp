#include "agent/feature/RangeChoice.h"

#include <algorithm>
#include <array>
#include <bit>
#include <map>

#include "agent/feature/AclShares.h"

namespace Agent {

namespace {

// A rule with ranges: their indices among all ranges, and its entries by which of them have a
// checker (bit 0: source, bit 1: destination).
struct RangedRule {
  std::array< S32, 2 > ranges = { -1, -1 };
  std::array< U64, 4 > entries = {};
};

class Chooser {
 public:
  Chooser( const Platform::PlatformData & platform, std::span< const Acl * const > acls );
  std::set< PlacedRange > choose();

 private:
  using Chosen = std::vector< bool >;  // by range

  void add( const Acl & acl, const AclRule & rule, PortKey ports );
  S32 indexOf( const PlacedRange & range );
  U64 entries( const RangedRule & rule, const Chosen & chosen ) const;
  U64 entries( const Chosen & chosen ) const;
  U64 entriesAround( size_t range, const Chosen & chosen ) const;
  U64 saving( size_t range, Chosen & chosen ) const;
  Chosen first() const;
  Chosen tryAll() const;
  Chosen greedy() const;
  Chosen exchanged( Chosen chosen ) const;
  bool exchangeOne( Chosen & chosen ) const;

  const size_t checkers_;
  std::vector< PlacedRange > ranges_;  // in the order of the rules
  std::map< PlacedRange, S32 > indices_;
  std::vector< RangedRule > rules_;
  std::vector< std::vector< U32 > > rulesOf_;  // by range
};

Chooser::Chooser( const Platform::PlatformData & platform, std::span< const Acl * const > acls )
    : checkers_( platform.chip.rangeCheckers ) {
  for ( const Acl * acl : acls ) {
    const Platform::ReservationData & share = *shareOf( platform, classOf( *acl ) );
    if ( !matchesRanges( platform, share ) )
      continue;
    const PortKey ports = portKey( platform, share, acl->kind );
    for ( const AclRule & rule : acl->rules )
      add( *acl, rule, ports );
  }
}

S32 Chooser::indexOf( const PlacedRange & range ) {
  const auto [ at, added ] = indices_.emplace( range, static_cast< S32 >( ranges_.size() ) );
  if ( added ) {
    ranges_.push_back( range );
    rulesOf_.emplace_back();
  }
  return at->second;
}

void Chooser::add( const Acl & acl, const AclRule & rule, PortKey ports ) {
  const auto ranges = checkerRanges( rule );
  if ( ranges.empty() )
    return;
  RangedRule ranged;
  for ( const PlacedRange & range : ranges ) {
    const S32 index = indexOf( range );
    ranged.ranges[ range.ports == FieldId::sourcePorts ? 0 : 1 ] = index;
    rulesOf_[ static_cast< size_t >( index ) ].push_back( static_cast< U32 >( rules_.size() ) );
  }
  for ( U32 with = 0; with < 4; ++with )
    if ( ( ranged.ranges[ 0 ] >= 0 || with % 2 == 0 ) && ( ranged.ranges[ 1 ] >= 0 || with < 2 ) )
      ranged.entries[ with ] = EntryPlan( acl, rule, { with & 1, with >> 1 & 1 }, ports ).size();
  rules_.push_back( ranged );
}

U64 Chooser::entries( const RangedRule & rule, const Chosen & chosen ) const {
  U32 with = 0;
  for ( U32 side = 0; side < 2; ++side )
    if ( rule.ranges[ side ] >= 0 && chosen[ static_cast< size_t >( rule.ranges[ side ] ) ] )
      with |= 1U << side;
  return rule.entries[ with ];
}

U64 Chooser::entries( const Chosen & chosen ) const {
  U64 sum = 0;
  for ( const RangedRule & rule : rules_ )
    sum += entries( rule, chosen );
  return sum;
}

U64 Chooser::entriesAround( size_t range, const Chosen & chosen ) const {
  U64 sum = 0;
  for ( const U32 rule : rulesOf_[ range ] )
    sum += entries( rules_[ rule ], chosen );
  return sum;
}

// Of a range that is not chosen.
U64 Chooser::saving( size_t range, Chosen & chosen ) const {
  const U64 without = entriesAround( range, chosen );
  chosen[ range ] = true;
  const U64 with = entriesAround( range, chosen );
  chosen[ range ] = false;
  return without - with;
}

// As PortMethod::automatic.
Chooser::Chosen Chooser::first() const {
  Chosen chosen( ranges_.size() );
  std::fill_n( chosen.begin(), checkers_, true );
  return chosen;
}

Chooser::Chosen Chooser::tryAll() const {
  Chosen best = first();
  U64 fewest = entries( best );
  for ( U32 bits = 0; bits < 1U << ranges_.size(); ++bits ) {
    if ( static_cast< size_t >( std::popcount( bits ) ) != checkers_ )
      continue;
    Chosen chosen( ranges_.size() );
    for ( size_t i = 0; i < chosen.size(); ++i )
      chosen[ i ] = ( bits >> i & 1 ) != 0;
    if ( const U64 sum = entries( chosen ); sum < fewest ) {
      fewest = sum;
      best = chosen;
    }
  }
  return best;
}

Chooser::Chosen Chooser::greedy() const {
  Chosen chosen( ranges_.size() );
  for ( size_t taken = 0; taken < checkers_; ++taken ) {
    std::optional< size_t > best;
    U64 most = 0;
    for ( size_t i = 0; i < chosen.size(); ++i ) {
      if ( chosen[ i ] )
        continue;
      const U64 saved = saving( i, chosen );
      if ( !best || saved > most ) {
        best = i;
        most = saved;
      }
    }
    chosen[ *best ] = true;
  }
  return chosen;
}

// Replaces one chosen range by another that saves more.
bool Chooser::exchangeOne( Chosen & chosen ) const {
  for ( size_t out = 0; out < chosen.size(); ++out ) {
    if ( !chosen[ out ] )
      continue;
    chosen[ out ] = false;
    const U64 saved = saving( out, chosen );
    for ( size_t in = 0; in < chosen.size(); ++in )
      if ( in != out && !chosen[ in ] && saving( in, chosen ) > saved ) {
        chosen[ in ] = true;
        return true;
      }
    chosen[ out ] = true;
  }
  return false;
}

Chooser::Chosen Chooser::exchanged( Chosen chosen ) const {
  while ( exchangeOne( chosen ) ) {
  }
  return chosen;
}

std::set< PlacedRange > Chooser::choose() {
  if ( ranges_.size() <= checkers_ )
    return { ranges_.begin(), ranges_.end() };
  Chosen chosen;
  if ( ranges_.size() <= provenRanges ) {
    chosen = tryAll();
  } else {
    chosen = exchanged( greedy() );
    if ( Chosen other = exchanged( first() ); entries( other ) < entries( chosen ) )
      chosen = std::move( other );
  }
  std::set< PlacedRange > best;
  for ( size_t i = 0; i < chosen.size(); ++i )
    if ( chosen[ i ] )
      best.insert( ranges_[ i ] );
  return best;
}

}  // namespace

std::vector< PlacedRange > checkerRanges( const AclRule & rule ) {
  std::vector< PlacedRange > ranges;
  for ( const FieldId ports : { FieldId::sourcePorts, FieldId::destinationPorts } )
    if ( const auto range = checkerRange( ports, rule ) )
      ranges.push_back( { ports, *range } );
  return ranges;
}

std::set< PlacedRange > bestRanges( const Platform::PlatformData & platform,
                                    std::span< const Acl * const > acls ) {
  return Chooser( platform, acls ).choose();
}

RangeChoice rangeChoice( PortMethod method, const Platform::PlatformData & platform,
                         std::span< const Acl * const > acls ) {
  if ( method != PortMethod::best )
    return method;
  return { method, bestRanges( platform, acls ) };
}

RangeChoice rangeChoice( PortMethod method, const Platform::PlatformData & platform,
                         const std::vector< Acl > & acls ) {
  std::vector< const Acl * > lists;
  for ( const Acl & acl : acls )
    lists.push_back( &acl );
  return rangeChoice( method, platform, lists );
}

}  // namespace Agent
