#include <fmt/core.h>

#include <algorithm>

#include "agent/acl/RuleText.h"
#include "agent/report/RunReport.h"
#include "agent/text/TextTable.h"

namespace Agent {

namespace {

constexpr size_t numbersColumns = 96;

// A rule and the access list that it is in.
struct RuleRow {
  const AclReport * acl;
  const RuleUse * use;
};

using PortRanges = std::vector< FieldRange< U32 > >;

std::string rangesText( const PortRanges & ranges ) {
  std::string text;
  for ( const auto & range : ranges ) {
    text += fmt::format( "{}{}", text.empty() ? "" : ",", range.low );
    if ( range.high != range.low )
      text += fmt::format( "-{}", range.high );
  }
  return text;
}

std::string fitText( const AclReport & acl, const Terminal & terminal ) {
  if ( !acl.shortage )
    return painted( terminal, Paint::good, "yes" );
  return painted( terminal, Paint::bad, "no: " + shortageText( acl ) );
}

std::string aclLines( const AclReport & acl ) {
  std::string text;
  const bool leaving = acl.direction == Direction::out;
  if ( !acl.ports.empty() || leaving )
    text += fmt::format( "  {}: on {}{}\n", acl.name,
                         acl.ports.empty() ? "all ports" : "ports " + portsText( acl ),
                         leaving ? ", out" : "" );
  if ( acl.defaultAction != Forwarding::none )
    text += fmt::format( "  {}: default {}, by {}: {} entr{}\n", acl.name,
                         forwardingName( acl.defaultAction ),
                         acl.defaultOrigin == DefaultOrigin::option ? "--default" : "its format",
                         countText( acl.defaultEntries ), acl.defaultEntries == 1 ? "y" : "ies" );
  return text;
}

std::string aclText( const RunReport & report, const Terminal & terminal ) {
  TextTable table( { "ACL", ">rules", ">entries", ">installed", "fits", "file" } );
  for ( const AclReport & acl : report.acls )
    table.add( { acl.name, countText( acl.rules.size() ), countText( acl.entries ),
                 countText( acl.installed ), fitText( acl, terminal ), acl.file } );
  std::string text = "Access lists\n" + table.text();
  for ( const AclReport & acl : report.acls )
    text += aclLines( acl );
  if ( report.defaultShortage )
    text += fmt::format( "  default {}: not programmed, {} ran out\n",
                         forwardingName( report.defaultAction ),
                         resourceName( *report.defaultShortage ) );
  else
    text += fmt::format( "  default {}: {} entr{}\n", forwardingName( report.defaultAction ),
                         report.defaultEntries, report.defaultEntries == 1 ? "y" : "ies" );
  return text;
}

std::string notesText( const ReaderRemarks & remarks ) {
  std::string text;
  for ( const std::string & note : remarks.notes )
    text += fmt::format( "  note: {}\n", note );
  return text;
}

std::string userText( const RunReport & report ) {
  TextTable table( { "user", "lists", ">group", ">used", ">share", ">percent", ">available now" } );
  for ( const UserUse & user : report.users )
    table.add( { user.name, namesText( user.lists ), std::to_string( user.group ),
                 countText( user.used ), user.share == 0 ? "-" : countText( user.share ),
                 percentText( user.used, user.share ), countText( user.available ) } );
  return "TCAM entries of the users, the same in every pipe and copy\n" + table.text();
}

bool wasHit( const RuleUse & use ) {
  return use.counters.packets != 0 || use.counters.bytes != 0;
}

bool portsAre( const RuleUse & use, PortsBy by ) {
  return use.sourcePorts == by || use.destinationPorts == by;
}

std::string portsText( const RuleUse & use ) {
  const bool checker = portsAre( use, PortsBy::checker );
  const bool prefixes = portsAre( use, PortsBy::prefixes );
  if ( checker && prefixes )
    return "both";
  return checker ? "checker" : prefixes ? "prefixes" : "";
}

std::string ruleText( const std::vector< RuleRow > & rows, const Terminal & terminal ) {
  TextTable table(
      { "ACL", ">rule", ">line", ">entries", "ranges", ">packets", ">bytes", "action", "match" } );
  for ( const RuleRow & row : rows ) {
    const RuleUse & use = *row.use;
    table.add( { row.acl->name, std::to_string( use.rule + 1 ), std::to_string( use.line ),
                 std::to_string( use.entries ), portsText( use ),
                 use.wanted.packets ? countText( use.counters.packets ) : "-",
                 use.wanted.bytes ? countText( use.counters.bytes ) : "-", use.actions,
                 use.match } );
  }
  return table.text( terminal.columns );
}

bool passes( const RuleRow & row, const std::string & filter ) {
  const RuleUse & use = *row.use;
  for ( const std::string * text : { &row.acl->name, &use.name, &use.match, &use.actions } )
    if ( text->find( filter ) != std::string::npos )
      return true;
  return false;
}

std::vector< RuleRow > installedRules( const RunReport & report, const std::string & filter = "" ) {
  std::vector< RuleRow > rows;
  for ( const AclReport & acl : report.acls ) {
    if ( acl.shortage )
      continue;
    for ( const RuleUse & use : acl.rules )
      if ( passes( { &acl, &use }, filter ) )
        rows.push_back( { &acl, &use } );
  }
  return rows;
}

std::string filterText( const TextOptions & options ) {
  return options.filter.empty() ? "" : fmt::format( " with \"{}\"", options.filter );
}

std::string detailText( const RunReport & report, const TextOptions & options ) {
  const std::vector< RuleRow > rows = installedRules( report, options.filter );
  const std::string heading = "Rules" + filterText( options );
  return rows.empty() ? heading + ": none\n" : heading + "\n" + ruleText( rows, options.terminal );
}

std::string busiestText( const RunReport & report, const TextOptions & options ) {
  std::vector< RuleRow > rows = installedRules( report, options.filter );
  std::erase_if(
      rows, []( const RuleRow & row ) { return !wasHit( *row.use ); } );
  std::stable_sort( rows.begin(), rows.end(), []( const RuleRow & a, const RuleRow & b ) {
    return a.use->counters.packets > b.use->counters.packets;
  } );
  rows.resize( std::min< size_t >( rows.size(), options.top ) );
  const std::string heading = "Busiest rules" + filterText( options );
  if ( rows.empty() )
    return heading + ": none was hit\n";
  return heading + "\n" + ruleText( rows, options.terminal );
}

using Choose = bool ( * )( const RuleUse & use );

// The chosen rules as "0-3 7 9-12", wrapped and indented.
std::string ruleNumbers( const AclReport & acl, Choose chosen ) {
  std::string text;
  std::string line = "   ";
  for ( size_t i = 0; i < acl.rules.size(); ++i ) {
    if ( !chosen( acl.rules[ i ] ) )
      continue;
    const size_t first = i + 1;
    while ( i + 1 < acl.rules.size() && chosen( acl.rules[ i + 1 ] ) )
      ++i;
    const std::string numbers =
        first == i + 1 ? fmt::format( " {}", first ) : fmt::format( " {}-{}", first, i + 1 );
    if ( line.size() + numbers.size() > numbersColumns ) {
      text += line + "\n";
      line = "   ";
    }
    line += numbers;
  }
  return text + line + "\n";
}

// "NAME: 3 of 10WHAT" and the rule numbers.
std::string chosenText( const AclReport & acl, const char * what, Choose chosen ) {
  const auto count = std::count_if( acl.rules.begin(), acl.rules.end(), chosen );
  std::string text = fmt::format( "  {}: {} of {}{}\n", acl.name, count, acl.rules.size(), what );
  if ( count != 0 )
    text += ruleNumbers( acl, chosen );
  return text;
}

// After a clear, a counter of 0 does not mean that the rule was never hit.
std::string neverHitText( const RunReport & report ) {
  std::string lists;
  for ( const AclReport & acl : report.acls )
    if ( !acl.shortage )
      lists += chosenText( acl, "", []( const RuleUse & use ) { return !wasHit( use ); } );
  return ( report.cleared.empty() ? "Rules never hit" : "Rules with counters at 0" ) +
         ( lists.empty() ? ": no list is installed\n" : "\n" + lists );
}

// Empty if no rule has a range that takes a checker or several prefixes.
std::string rangeText( const RunReport & report ) {
  std::string text;
  for ( const AclReport & acl : report.acls ) {
    const auto checked = []( const RuleUse & use ) { return portsAre( use, PortsBy::checker ); };
    const auto expanded = []( const RuleUse & use ) { return portsAre( use, PortsBy::prefixes ); };
    if ( acl.shortage )
      continue;
    if ( std::any_of( acl.rules.begin(), acl.rules.end(), checked ) )
      text += chosenText( acl, " by range checkers", checked );
    if ( std::any_of( acl.rules.begin(), acl.rules.end(), expanded ) )
      text += chosenText( acl, " by prefixes", expanded );
  }
  if ( text.empty() )
    return text;
  return fmt::format( "Rules with ranges of ports; range checkers in use: {} of {} ({})\n{}\n",
                      report.rangeCheckers, report.rangeCheckersMax,
                      percentText( report.rangeCheckers, report.rangeCheckersMax ), text );
}

// The rules with the most entries, or all with several. Empty if none has.
std::string expansionText( const RunReport & report, const TextOptions & options ) {
  std::vector< RuleRow > rows = installedRules( report );
  std::erase_if( rows, []( const RuleRow & row ) { return row.use->expansion.empty(); } );
  if ( rows.empty() )
    return "";
  std::stable_sort( rows.begin(), rows.end(), []( const RuleRow & a, const RuleRow & b ) {
    return a.use->entries > b.use->entries;
  } );
  const size_t all = rows.size();
  rows.resize( options.detail ? all : std::min< size_t >( all, options.top ) );
  TextTable table( { "ACL", ">rule", ">line", ">entries", "because of" } );
  for ( const RuleRow & row : rows )
    table.add( { row.acl->name, std::to_string( row.use->rule + 1 ),
                 std::to_string( row.use->line ), std::to_string( row.use->entries ),
                 row.use->expansion } );
  return fmt::format( "Rules of several entries: {}{}\n{}\n", all,
                      rows.size() < all ? ", the largest" : "", table.text() );
}

// Empty if no rule has a policer.
std::string policeText( const RunReport & report ) {
  TextTable table( { "ACL", ">rule", ">bit/s", ">burst", ">conformed packets", ">bytes",
                     ">dropped packets", ">bytes" } );
  bool any = false;
  for ( const RuleRow & row : installedRules( report ) ) {
    if ( !row.use->police )
      continue;
    any = true;
    const RuleCounters & counters = row.use->counters;
    table.add( { row.acl->name, std::to_string( row.use->rule + 1 ),
                 countText( row.use->police->bitsPerSecond ),
                 countText( row.use->police->burstBytes ), countText( counters.conformedPackets ),
                 countText( counters.conformedBytes ), countText( counters.droppedPackets ),
                 countText( counters.droppedBytes ) } );
  }
  return any ? "Policed rules, over all pipes\n" + table.text() + "\n" : "";
}

// "port 4", "ports 0,4-6".
std::string portsText( const std::set< U32 > & ports ) {
  PortRanges ranges;
  for ( const U32 port : ports )
    if ( ranges.empty() || ranges.back().high + 1 != port )
      ranges.push_back( { port, port } );
    else
      ranges.back().high = port;
  return fmt::format( "port{} {}", ports.size() == 1 ? "" : "s", rangesText( ranges ) );
}

std::string packetText( const RunReport & report, const Terminal & terminal ) {
  const bool listed = std::any_of( report.acls.begin(), report.acls.end(), []( const auto & acl ) {
    return acl.defaultAction != Forwarding::none;
  } );
  const std::string where = report.egressPorts.empty()
                                ? "at " + portsText( report.ingressPorts )
                                : fmt::format( "from {} to {}", portsText( report.ingressPorts ),
                                               portsText( report.egressPorts ) );
  std::string text = fmt::format(
      "Packets {}: {}, of which {} matched a rule and {} met the default ({})\n", where,
      countText( report.total ), countText( report.matched ), countText( report.byDefault ),
      listed ? "of their list" : forwardingName( report.defaultAction ) );
  const std::pair< const char *, U64 > fates[] = { { "dropped", report.dropped },
                                                   { "copied to the CPU", report.copiedToCpu },
                                                   { "mirrored", report.mirrored } };
  for ( const auto & [ fate, count ] : fates )
    if ( count != 0 )
      text += painted( terminal, fate == fates[ 0 ].first ? Paint::bad : Paint::none,
                       fmt::format( "  {}: {}", fate, countText( count ) ) ) +
              "\n";
  if ( report.madeUp )
    text += fmt::format( "  with a made-up Ethernet header: {} of {} (link type {})\n",
                         countText( report.madeUp->packets ), report.madeUp->file,
                         report.madeUp->linkType );
  return text;
}

// Empty if no counters were cleared.
std::string clearedText( const RunReport & report ) {
  std::string text;
  for ( const std::string & what : report.cleared )
    text += ( text.empty() ? "Counters cleared: " : ", " ) + what;
  return text.empty() ? text : text + "\n\n";
}

std::string verificationText( const RunReport & report ) {
  std::string text = fmt::format(
      "Verification: {} packets differ from the rules, {}\n", countText( report.mismatches ),
      report.differences.empty() ? "records and chip agree" : "differences:" );
  for ( const std::string & difference : report.differences )
    text += "  " + difference + "\n";
  return text;
}

}  // namespace

std::string shortageText( const AclReport & acl ) {
  const U32 rule = acl.shortage->rule;
  const std::string at = rule == acl.rules.size()
                             ? "the default action"
                             : fmt::format( "rule {} (line {})", rule + 1, acl.rules[ rule ].line );
  return fmt::format( "{} ran out at {}; rolled back", resourceName( acl.shortage->resource ), at );
}

std::string portsText( const AclReport & acl ) {
  return acl.ports.empty() ? "all" : rangesText( acl.ports );
}

std::string textReport( const RunReport & report, const TextOptions & options ) {
  std::string text = partialText( report.remarks );
  text += fmt::format( "Platform {}: {}\n\n", report.platform, report.description );
  text += aclText( report, options.terminal ) + notesText( report.remarks ) + "\n" +
          rangeText( report ) + expansionText( report, options ) + userText( report ) + "\n";
  if ( report.total != 0 )
    text += packetText( report, options.terminal ) + "\n" + clearedText( report ) +
            policeText( report ) +
            ( options.detail ? detailText( report, options ) : busiestText( report, options ) ) +
            "\n" + neverHitText( report );
  else if ( options.detail )
    text += detailText( report, options );
  if ( !report.usage.empty() )
    text += "\n" + report.usage;
  if ( report.capacity )
    text += "\n" + capacityText( *report.capacity );
  if ( report.verified )
    text += "\n" + verificationText( report );
  return text;
}

bool RunReport::success() const {
  for ( const AclReport & acl : acls )
    if ( acl.shortage )
      return false;
  return remarks.refused == 0 && !defaultShortage && mismatches == 0 && differences.empty();
}

std::string partialText( const ReaderRemarks & remarks ) {
  if ( remarks.refused == 0 )
    return "";
  return fmt::format( "PARTIAL: refused rules and lists are left out: {}\n",
                      countText( remarks.refused ) );
}

std::vector< std::string > unfitLists( const RunReport & report ) {
  std::vector< std::string > lines;
  for ( const AclReport & acl : report.acls )
    if ( acl.shortage )
      lines.push_back( fmt::format( "{} does not fit: {}", acl.name, shortageText( acl ) ) );
  if ( report.defaultShortage )
    lines.push_back( fmt::format( "default {} does not fit: {} ran out",
                                  forwardingName( report.defaultAction ),
                                  resourceName( *report.defaultShortage ) ) );
  return lines;
}

}  // namespace Agent
