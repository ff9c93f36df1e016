#include "agent/verdict/Compact.h"

#include <algorithm>
#include <bit>
#include <map>
#include <set>

#include "agent/verdict/Cost.h"
#include "agent/verdict/Order.h"
#include "kiv/Assert.h"

namespace Agent {

namespace {

struct Item {
  AclRule rule;
  std::vector< U32 > from;
  bool widened = false;
};

// The smallest prefix around the range.
AnyRange hullOf( const AnyRange & range ) {
  const U32 differ = range.low ^ range.high;
  const U32 below = differ == 0 ? 0 : std::bit_ceil( differ + 1 ) - 1;
  return { range.low & ~below, range.high | below };
}

class Compactor {
 public:
  Compactor( const Acl & acl, const Platform::PlatformData & platform, PortMethod method,
             const SpaceLimits & limits, Forwarding rest )
      : acl_( acl ),
        platform_( platform ),
        method_( method ),
        space_( acl.kind, limits ),
        meaning_( space_, { &acl }, rest ),
        placed_( placedRules( space_, meaning_ ) ) {
    for ( U32 i = 0; i < acl.rules.size(); ++i )
      items_.push_back( { acl.rules[ i ], { i }, false } );
  }

  CompactList compact();

 private:
  size_t rules() const { return items_.size(); }
  void remove();
  void merge();
  bool mergeOnce();
  void widen();
  void widenRule( size_t rule, const PacketSet & before, const PacketSet & after );
  // Drops what is removed.
  void tidy();
  U64 entriesOf( const std::vector< Item > & items ) const;
  Acl listOf( const std::vector< Item > & items ) const;
  bool meansTheSame( const Acl & after, Forwarding rest ) const;

  // Keeps what a step does if that takes less.
  template < class Step >
  void attempt( Step && step ) {
    const auto items = items_;
    const auto placed = placed_;
    step();
    tidy();
    const std::pair now( entriesOf( items_ ), items_.size() );
    if ( now < best_ ) {
      best_ = now;
      return;
    }
    items_ = items;
    placed_ = placed;
  }

  const Acl & acl_;
  const Platform::PlatformData & platform_;
  const PortMethod method_;
  Space space_;
  const Meaning meaning_;
  std::vector< PlacedRule > placed_;  // the items, the default action, the rest
  std::vector< Item > items_;
  std::pair< U64, size_t > best_;
};

Acl Compactor::listOf( const std::vector< Item > & items ) const {
  Acl list = acl_;
  list.rules.clear();
  for ( const Item & item : items )
    list.rules.push_back( item.rule );
  return list;
}

U64 Compactor::entriesOf( const std::vector< Item > & items ) const {
  const std::vector< Acl > lists = { listOf( items ) };
  return costOf( platform_, lists, rangeChoice( method_, platform_, lists ) ).lists[ 0 ].entries;
}

void Compactor::tidy() {
  for ( size_t i = rules(); i-- > 0; )
    if ( placed_[ i ].removed ) {
      items_.erase( items_.begin() + static_cast< std::ptrdiff_t >( i ) );
      placed_.erase( placed_.begin() + static_cast< std::ptrdiff_t >( i ) );
    }
}

void Compactor::remove() {
  std::vector< PacketSet > decided;
  PacketSet left = space_.all();
  for ( const PlacedRule & rule : placed_ ) {
    decided.push_back( rule.matched & left );
    left -= rule.matched;
  }
  removeRedundant( placed_, decided );
}

void Compactor::merge() {
  while ( mergeOnce() )
    tidy();
}

bool Compactor::mergeOnce() {
  std::vector< const AclRule * > left;
  for ( const Item & item : items_ )
    left.push_back( &item.rule );
  std::vector< MergePair > pairs = mergePairs( acl_.kind, left );
  bool any = false;
  std::vector< bool > touched( rules() );
  for ( MergePair & pair : pairs ) {
    if ( touched[ pair.first ] || touched[ pair.second ] )
      continue;
    space_.at( acl_.name, items_[ pair.second ].from.front() );
    const PacketSet merged = space_.matchedBy( acl_, pair.merged );
    const auto place = placeOfMerged( placed_, pair, merged );
    if ( !place )
      continue;
    any = touched[ pair.first ] = touched[ pair.second ] = true;
    const size_t other = pair.first + pair.second - *place;
    Item & item = items_[ *place ];
    item.rule = std::move( pair.merged );
    item.widened = item.widened || items_[ other ].widened;
    item.from.insert( item.from.end(), items_[ other ].from.begin(), items_[ other ].from.end() );
    std::sort( item.from.begin(), item.from.end() );
    placed_[ *place ].matched = merged;
    placed_[ other ].removed = true;
  }
  return any;
}

// Ranges may match more than they must where earlier rules decide about it, or later ones alike.
void Compactor::widen() {
  std::vector< PacketSet > before;
  PacketSet matched;
  for ( const PlacedRule & rule : placed_ ) {
    before.push_back( matched );
    matched |= rule.matched;
  }
  std::map< U32, PacketSet > after;
  for ( size_t i = placed_.size(); i-- > 0; ) {
    if ( i < rules() && !placed_[ i ].fixed )
      widenRule( i, before[ i ], after[ placed_[ i ].fate ] );
    for ( auto & [ fate, packets ] : after )
      packets -= placed_[ i ].matched;
    after[ placed_[ i ].fate ] |= placed_[ i ].matched;
  }
}

void Compactor::widenRule( size_t rule, const PacketSet & before, const PacketSet & after ) {
  Item & item = items_[ rule ];
  space_.at( acl_.name, item.from.front() );
  const PacketSet free = before | after | placed_[ rule ].matched;
  for ( const FieldId id : { FieldId::sourcePorts, FieldId::destinationPorts } ) {
    const MatchField & field = matchField( id );
    if ( acl_.kind == AclKind::mac || !restricts( field, item.rule ) )
      continue;
    const auto ranges = rangesIn( field, item.rule );
    const U32 most = ( 1U << field.width ) - 1;
    const AnyRange own = ranges.front();
    size_t prefixes = 0;
    for ( const AnyRange & range : ranges )
      prefixes += prefixesOf( range, field.width ).size();
    for ( const AnyRange & wide : { AnyRange{ 0, most }, hullOf( own ), AnyRange{ 0, own.high },
                                    AnyRange{ own.low, most } } ) {
      if ( ranges.size() != 1 || prefixesOf( wide, field.width ).size() >= prefixes )
        continue;
      AclRule wider = item.rule;
      setRanges( wider, id, std::vector< AnyRange >{ wide } );
      const PacketSet set = space_.matchedBy( acl_, wider );
      if ( !free.contains( set ) )
        continue;
      item.rule = std::move( wider );
      item.widened = true;
      placed_[ rule ].matched = set;
      break;
    }
  }
}

// The proof: every packet has its fate, and every rule that stands alone decides about the same.
bool Compactor::meansTheSame( const Acl & after, Forwarding rest ) const {
  const Meaning now( space_, { &after }, rest );
  const auto alone = []( const Meaning & meaning ) {
    std::vector< PacketSet > decided;
    for ( const MeaningRow & row : meaning.rows() )
      if ( standsAlone( *row.rule ) )
        decided.push_back( row.decided );
    return decided;
  };
  return now.fates() == meaning_.fates() && alone( now ) == alone( meaning_ );
}

CompactList Compactor::compact() {
  CompactList result;
  result.before = &acl_;
  best_ = { entriesOf( items_ ), items_.size() };
  result.entriesBefore = best_.first;
  for ( auto last = std::pair( ~U64{ 0 }, size_t{ 0 } ); best_ < last; ) {
    last = best_;
    attempt( [ this ] { remove(); } );
    attempt( [ this ] { merge(); } );
    attempt( [ this ] { widen(); } );
  }
  result.after = listOf( items_ );
  KIV_ASSERT( meansTheSame( result.after, meaning_.rest() ) );
  result.entriesAfter = best_.first;
  std::set< U32 > kept;
  for ( U32 i = 0; i < items_.size(); ++i ) {
    kept.insert( items_[ i ].from.begin(), items_[ i ].from.end() );
    if ( items_[ i ].widened )
      result.widened.push_back( i );
    result.from.push_back( items_[ i ].from );
  }
  for ( U32 rule = 0; rule < acl_.rules.size(); ++rule )
    if ( !kept.contains( rule ) )
      result.removed.push_back( rule );
  return result;
}

}  // namespace

CompactList compactList( const Acl & acl, const Platform::PlatformData & platform,
                         PortMethod method, const SpaceLimits & limits, Forwarding rest ) {
  return Compactor( acl, platform, method, limits, rest ).compact();
}

}  // namespace Agent
