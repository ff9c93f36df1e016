#include <nlohmann/json.hpp>

#include "agent/report/CostReport.h"
#include "agent/text/JsonText.h"

namespace Agent {

namespace {

using Json = nlohmann::ordered_json;

Json rulesJson( const ListCost & list ) {
  Json rules = Json::array();
  for ( U32 rule = 0; rule < list.acl->rules.size(); ++rule ) {
    const RuleCost & cost = list.rules[ rule ];
    Json json = { { "rule", rule + 1 },
                  { "line", list.acl->rules[ rule ].line },
                  { "entries", cost.entries },
                  { "byPrefixes", cost.expanded } };
    if ( !cost.reason.empty() )
      json[ "expansion" ] = cost.reason;
    if ( cost.checkers.source != 0 )
      json[ "sourceChecker" ] = cost.checkers.source;
    if ( cost.checkers.destination != 0 )
      json[ "destinationChecker" ] = cost.checkers.destination;
    rules.push_back( std::move( json ) );
  }
  return rules;
}

Json rangeJson( const RangeCost & range, const CostReport & report ) {
  Json json = { { "field", matchField( range.range.ports ).name },
                { "low", range.range.range.low },
                { "high", range.range.range.high },
                { "checker", nullptr },
                { "saves", range.saves },
                { "rules", Json::array() } };
  if ( range.checker != 0 )
    json[ "checker" ] = range.checker;
  for ( const RuleIndex & rule : range.rules )
    json[ "rules" ].push_back(
        { { "list", report.lists[ rule.acl ].acl->name }, { "rule", rule.rule + 1 } } );
  return json;
}

}  // namespace

std::string costJson( const Platform::PlatformData & platform, const CostReport & report,
                      const ReaderRemarks & remarks ) {
  Json json = { { "platform", platform.name },
                { "partial", remarks.refused },
                { "rangeCheckers", report.checkers },
                { "lists", Json::array() },
                { "ranges", Json::array() } };
  for ( const ListCost & list : report.lists )
    json[ "lists" ].push_back( { { "name", list.acl->name },
                                 { "entries", list.entries },
                                 { "byPrefixes", list.expanded },
                                 { "rules", rulesJson( list ) } } );
  for ( const RangeCost & range : report.ranges )
    json[ "ranges" ].push_back( rangeJson( range, report ) );
  return jsonText( json );
}

}  // namespace Agent
