#include "agent/verdict/Cost.h"

#include <algorithm>
#include <set>
#include <tuple>

#include "agent/feature/AclShares.h"

namespace Agent {

namespace {

// How a list's group matches ports.
struct ListKey {
  PortKey ports;
  bool ranges;
};

ListKey keyOf( const Platform::PlatformData & platform, const Acl & acl ) {
  const Platform::ReservationData & share = *shareOf( platform, classOf( acl ) );
  return { portKey( platform, share, acl.kind ), matchesRanges( platform, share ) };
}

U64 differentFields( const Acl & acl ) {
  std::set< std::tuple< UdfBase, U32 > > fields;
  for ( const AclRule & rule : acl.rules )
    for ( const UdfMatch & udf : rule.udf )
      fields.emplace( udf.base, udf.offset );
  return fields.size();
}

RangeCheckers without( RangeCheckers checkers, U32 checker ) {
  if ( checkers.source == checker )
    checkers.source = 0;
  if ( checkers.destination == checker )
    checkers.destination = 0;
  return checkers;
}

class RangeCosts {
 public:
  RangeCosts( const CheckerModel & model ) : taken_( model.taken() ) {}

  void add( const Acl & acl, const RuleIndex & index, const RuleCost & cost, PortKey ports );
  std::vector< RangeCost > sorted();

 private:
  const std::map< PlacedRange, U32 > & taken_;
  std::map< PlacedRange, RangeCost > costs_;
};

void RangeCosts::add( const Acl & acl, const RuleIndex & index, const RuleCost & cost,
                      PortKey ports ) {
  constexpr U32 another = ~0U;
  const AclRule & rule = acl.rules[ index.rule ];
  for ( const PlacedRange & range : checkerRanges( rule ) ) {
    RangeCost & sum = costs_[ range ];
    const auto held = taken_.find( range );
    sum.range = range;
    sum.checker = held == taken_.end() ? 0 : held->second;
    sum.rules.push_back( index );
    RangeCheckers with = cost.checkers;
    ( range.ports == FieldId::sourcePorts ? with.source : with.destination ) = another;
    sum.saves += EntryPlan( acl, rule, without( with, another ), ports ).size() -
                 EntryPlan( acl, rule, with, ports ).size();
  }
}

std::vector< RangeCost > RangeCosts::sorted() {
  std::vector< RangeCost > list;
  for ( auto & [ range, cost ] : costs_ )
    list.push_back( std::move( cost ) );
  std::stable_sort( list.begin(), list.end(),
                    []( const RangeCost & a, const RangeCost & b ) { return a.saves > b.saves; } );
  return list;
}

}  // namespace

ListCost listCost( const Platform::PlatformData & platform, const Acl & acl,
                   CheckerModel & checkers, bool reasons ) {
  const ListKey key = keyOf( platform, acl );
  ListCost list;
  list.acl = &acl;
  list.userFields = differentFields( acl );
  for ( U32 i = 0; i < acl.size(); ++i ) {
    const AclRule & rule = acl.rule( i );
    RuleCost cost;
    cost.checkers = key.ranges ? checkers.take( rule ) : RangeCheckers();
    const EntryPlan plan( acl, rule, cost.checkers, key.ports );
    cost.entries = plan.size();
    const bool checked = cost.checkers.source != 0 || cost.checkers.destination != 0;
    cost.expanded = checked ? EntryPlan( acl, rule, {}, key.ports ).size() : cost.entries;
    if ( reasons )
      cost.reason = plan.reason( rule );
    list.entries += cost.entries;
    list.expanded += cost.expanded;
    list.policers += rule.police ? 1 : 0;
    list.rules.push_back( std::move( cost ) );
  }
  return list;
}

CostReport costOf( const Platform::PlatformData & platform, const std::vector< Acl > & acls,
                   const RangeChoice & choice ) {
  CostReport report;
  report.checkers = platform.chip.rangeCheckers;
  CheckerModel checkers( report.checkers, choice );
  for ( const Acl & acl : acls )
    report.lists.push_back( listCost( platform, acl, checkers, true ) );
  report.tooFewCheckers = checkers.taken().size() > report.checkers;
  RangeCosts ranges( checkers );
  for ( U32 i = 0; i < acls.size(); ++i ) {
    const ListKey key = keyOf( platform, acls[ i ] );
    for ( U32 rule = 0; key.ranges && rule < acls[ i ].rules.size(); ++rule )
      ranges.add( acls[ i ], { i, rule }, report.lists[ i ].rules[ rule ], key.ports );
  }
  report.ranges = ranges.sorted();
  return report;
}

}  // namespace Agent
