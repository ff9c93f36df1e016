#include <fmt/format.h>

#include <algorithm>

#include "agent/acl/RuleText.h"
#include "agent/report/CostReport.h"
#include "agent/text/TextTable.h"

namespace Agent {

namespace {

constexpr size_t mostShown = 10;

struct CostRow {
  const ListCost * list;
  U32 rule;
  const RuleCost & cost() const { return list->rules[ rule ]; }
};

std::string rangeName( const PlacedRange & range ) {
  return fmt::format( "{} {}-{}", matchField( range.ports ).name, range.range.low,
                      range.range.high );
}

// Ids of a rule's checkers: "1, 4".
std::string checkersText( const RangeCheckers & checkers ) {
  std::vector< std::string > ids;
  for ( const U32 id : { checkers.source, checkers.destination } )
    if ( id != 0 )
      ids.push_back( std::to_string( id ) );
  return namesText( ids );
}

std::string listTable( const CostReport & report ) {
  TextTable table( { "list", ">rules", ">entries", ">by prefixes", ">saved by checkers" } );
  for ( const ListCost & list : report.lists )
    table.add( { list.acl->name, countText( list.acl->rules.size() ), countText( list.entries ),
                 countText( list.expanded ), countText( list.expanded - list.entries ) } );
  return table.text();
}

std::string ruleTable( const CostReport & report, bool all ) {
  std::vector< CostRow > rows;
  for ( const ListCost & list : report.lists )
    for ( U32 rule = 0; rule < list.acl->rules.size(); ++rule )
      if ( list.rules[ rule ].expanded > 1 )
        rows.push_back( { &list, rule } );
  std::stable_sort( rows.begin(), rows.end(), []( const CostRow & a, const CostRow & b ) {
    return a.cost().entries > b.cost().entries;
  } );
  const size_t several = rows.size();
  if ( several == 0 )
    return "Every rule takes one entry\n";
  rows.resize( all ? several : std::min( several, mostShown ) );
  TextTable table( { "list", ">rule", ">line", ">entries", "because of", "checkers" } );
  for ( const CostRow & row : rows )
    table.add( { row.list->acl->name, std::to_string( row.rule + 1 ),
                 std::to_string( row.list->acl->rules[ row.rule ].line ),
                 countText( row.cost().entries ), row.cost().reason,
                 checkersText( row.cost().checkers ) } );
  return fmt::format( "Rules of several entries, or that would be without checkers: {}{}\n{}",
                      several, rows.size() < several ? ", the most expensive" : "", table.text() );
}

// Lists whose rules have the range, and how many: "edge: 3; web: 1".
std::string usersOf( const RangeCost & range, const CostReport & report ) {
  std::string text;
  for ( U32 acl = 0; acl < report.lists.size(); ++acl ) {
    const auto rules =
        std::count_if( range.rules.begin(), range.rules.end(),
                       [ acl ]( const RuleIndex & rule ) { return rule.acl == acl; } );
    if ( rules != 0 )
      text +=
          fmt::format( "{}{}: {}", text.empty() ? "" : "; ", report.lists[ acl ].acl->name, rules );
  }
  return text;
}

std::string rangeTable( const CostReport & report, bool all ) {
  if ( report.ranges.empty() )
    return "";
  const size_t shown = all ? report.ranges.size() : std::min( report.ranges.size(), mostShown );
  const auto held = std::count_if( report.ranges.begin(), report.ranges.end(),
                                   []( const RangeCost & range ) { return range.checker != 0; } );
  TextTable table( { "range", "checker", ">saves", "rules" } );
  for ( size_t i = 0; i < shown; ++i ) {
    const RangeCost & range = report.ranges[ i ];
    table.add( { rangeName( range.range ),
                 range.checker == 0 ? "prefixes" : std::to_string( range.checker ),
                 countText( range.saves ), usersOf( range, report ) } );
  }
  return fmt::format( "\nRanges of ports: {}, of which {} have a checker; the chip has {}{}\n{}",
                      report.ranges.size(), held, report.checkers,
                      shown < report.ranges.size() ? "; those that save most entries" : "",
                      table.text() );
}

}  // namespace

std::string costText( const Platform::PlatformData & platform, const CostReport & report, bool all,
                      const ReaderRemarks & remarks ) {
  return partialText( remarks ) +
         fmt::format( "Platform {}: {}\n\n", platform.name, platform.description ) +
         listTable( report ) + "\n" + ruleTable( report, all ) + rangeTable( report, all );
}

}  // namespace Agent
