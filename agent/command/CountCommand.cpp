#include "agent/command/CountCommand.h"

#include <fmt/core.h>

#include <nlohmann/json.hpp>
#include <set>

#include "agent/feature/AclShares.h"
#include "agent/feature/RangeChoice.h"
#include "agent/report/OutputFile.h"
#include "agent/report/Progress.h"
#include "agent/text/JsonText.h"
#include "agent/text/TextTable.h"

namespace Agent {

namespace {

std::string countTable( const std::vector< ListCount > & counts ) {
  TextTable table(
      { "List", "Type", ">Rules", ">Entries", ">With checkers", ">Ranges", ">Share" } );
  for ( const ListCount & count : counts )
    table.add( { count.name, kindName( count.kind ), countText( count.rules ),
                 countText( count.expanded ), countText( count.withChecker ),
                 countText( count.ranges ), countText( count.share ) } );
  return table.text();
}

std::string countJson( const RunInput & input, const std::vector< ListCount > & counts ) {
  nlohmann::ordered_json json = { { "platform", input.platform.name },
                                  { "partial", input.remarks.refused },
                                  { "lists", nlohmann::ordered_json::array() } };
  for ( const ListCount & count : counts )
    json[ "lists" ].push_back( { { "name", count.name },
                                 { "type", kindName( count.kind ) },
                                 { "rules", count.rules },
                                 { "entries", count.expanded },
                                 { "entriesWithCheckers", count.withChecker },
                                 { "ranges", count.ranges },
                                 { "share", count.share } } );
  return jsonText( json );
}

}  // namespace

ListCount countList( const Platform::PlatformData & platform, const Acl & acl ) {
  const Platform::ReservationData & share = *shareOf( platform, classOf( acl ) );
  const PortKey ports = portKey( platform, share, acl.kind );
  const bool checkers = matchesRanges( platform, share );
  std::set< PlacedRange > ranges;
  ListCount count = { acl.name, acl.kind, acl.rules.size(), 0, 0, 0, share.size };
  const auto one = []( const PlacedRange & ) { return 1U; };
  Progress progress( "counting" );
  for ( U32 i = 0; i < acl.size(); ++i ) {
    progress.at( i, acl.size() );
    const AclRule & rule = acl.rule( i );
    const U64 expanded = EntryPlan( acl, rule, {}, ports ).size();
    const auto wanted = checkers ? checkerRanges( rule ) : std::vector< PlacedRange >();
    ranges.insert( wanted.begin(), wanted.end() );
    count.expanded += expanded;
    count.withChecker +=
        wanted.empty() ? expanded : EntryPlan( acl, rule, checkersBy( rule, one ), ports ).size();
  }
  count.ranges = ranges.size();
  return count;
}

bool countCommand( RunOptions options, bool json ) {
  options.boundLists = false;
  const RunInput input = readInput( options );
  std::vector< ListCount > counts;
  for ( const Acl & acl : input.acls )
    counts.push_back( countList( input.platform, acl ) );
  printRefusals( input.remarks );
  if ( json )
    printOutput( countJson( input, counts ) );
  else
    printOutput(
        partialText( input.remarks ) +
        fmt::format( "Platform {}: {}\n\n", input.platform.name, input.platform.description ) +
        countTable( counts ) );
  return input.remarks.refused == 0;
}

}  // namespace Agent
