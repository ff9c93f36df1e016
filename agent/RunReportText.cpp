#include <fmt/core.h>

#include <algorithm>

#include "agent/RunReport.h"
#include "agent/TextTable.h"

namespace Agent {

namespace {

constexpr size_t busiestRules = 10;
constexpr size_t neverHitColumns = 96;

// A rule and the access list that it is in.
struct RuleRow {
  const AclReport * acl;
  const RuleUse * use;
};

std::string fitText( const AclReport & acl ) {
  if ( !acl.shortage )
    return "yes";
  return fmt::format( "no: {} ran out at rule {} (line {}); rolled back",
                      resourceName( acl.shortage->resource ), acl.shortage->rule,
                      acl.rules[ acl.shortage->rule ].line );
}

std::string aclText( const RunReport & report ) {
  TextTable table( { "ACL", ">rules", ">entries", ">installed", "fits", "file" } );
  for ( const AclReport & acl : report.acls )
    table.add( { acl.name, countText( acl.rules.size() ), countText( acl.entries ),
                 countText( acl.installed ), fitText( acl ), acl.file } );
  std::string text = "Access lists\n" + table.text();
  if ( report.denyShortage )
    text += fmt::format( "  implicit deny: not programmed, {} ran out\n",
                         resourceName( *report.denyShortage ) );
  else if ( report.denyByDefault )
    text += "  implicit deny: 1 entry\n";
  return text;
}

std::string groupText( const RunReport & report ) {
  TextTable table( { ">group", "users", ">pipe", ">copy", ">used", ">free" } );
  for ( const GroupUse & use : report.groups )
    table.add( { std::to_string( use.group ), use.users, std::to_string( use.pipe ),
                 std::to_string( use.copy ), countText( use.used ), countText( use.free ) } );
  return "TCAM entries, by group, pipe and copy\n" + table.text();
}

std::string ruleText( const std::vector< RuleRow > & rows ) {
  TextTable table( { "ACL", ">rule", ">line", ">entries", ">packets", ">bytes", "match" } );
  for ( const RuleRow & row : rows ) {
    std::string match = row.use->text;
    std::replace( match.begin(), match.end(), '\t', ' ' );
    table.add( { row.acl->name, std::to_string( row.use->rule ), std::to_string( row.use->line ),
                 std::to_string( row.use->entries ), countText( row.use->packets ),
                 countText( row.use->bytes ), match } );
  }
  return table.text();
}

std::vector< RuleRow > installedRules( const RunReport & report ) {
  std::vector< RuleRow > rows;
  for ( const AclReport & acl : report.acls ) {
    if ( acl.shortage )
      continue;
    for ( const RuleUse & use : acl.rules )
      rows.push_back( { &acl, &use } );
  }
  return rows;
}

std::string busiestText( const RunReport & report ) {
  std::vector< RuleRow > rows = installedRules( report );
  std::erase_if( rows, []( const RuleRow & row ) { return row.use->packets == 0; } );
  std::stable_sort( rows.begin(), rows.end(), []( const RuleRow & a, const RuleRow & b ) {
    return a.use->packets > b.use->packets;
  } );
  rows.resize( std::min( rows.size(), busiestRules ) );
  if ( rows.empty() )
    return "Busiest rules: none was hit\n";
  return "Busiest rules\n" + ruleText( rows );
}

// "0-3 7 9-12", broken into indented lines.
std::string neverHitNumbers( const AclReport & acl ) {
  std::string text;
  std::string line = "   ";
  for ( size_t i = 0; i < acl.rules.size(); ++i ) {
    if ( acl.rules[ i ].packets != 0 )
      continue;
    const size_t first = i;
    while ( i + 1 < acl.rules.size() && acl.rules[ i + 1 ].packets == 0 )
      ++i;
    const std::string numbers =
        first == i ? fmt::format( " {}", first ) : fmt::format( " {}-{}", first, i );
    if ( line.size() + numbers.size() > neverHitColumns ) {
      text += line + "\n";
      line = "   ";
    }
    line += numbers;
  }
  return text + line + "\n";
}

std::string neverHitText( const RunReport & report ) {
  std::string text = "Rules never hit\n";
  for ( const AclReport & acl : report.acls ) {
    if ( acl.shortage )
      continue;
    const auto count = std::count_if( acl.rules.begin(), acl.rules.end(),
                                      []( const RuleUse & use ) { return use.packets == 0; } );
    text += fmt::format( "  {}: {} of {}\n", acl.name, count, acl.rules.size() );
    if ( count != 0 )
      text += neverHitNumbers( acl );
  }
  return text;
}

std::string packetText( const RunReport & report ) {
  return fmt::format(
      "Packets at port {}: {}, of which {} matched a rule and {} met the default"
      " ({})\n",
      report.ingressPort, countText( report.total ), countText( report.matched ),
      countText( report.byDefault ), report.denyByDefault ? "deny" : "permit" );
}

std::string verificationText( const RunReport & report ) {
  std::string text = fmt::format(
      "Verification: {} packets differ from the rules, {}\n", countText( report.mismatches ),
      report.differences.empty() ? "books and chip agree" : "differences:" );
  for ( const std::string & difference : report.differences )
    text += "  " + difference + "\n";
  return text;
}

}  // namespace

std::string textReport( const RunReport & report, bool detail ) {
  std::string text = fmt::format( "Platform {}: {}\n\n", report.platform, report.description );
  text += aclText( report ) + "\n" + groupText( report ) + "\n";
  if ( report.total != 0 ) {
    text += packetText( report ) + "\n";
    text += ( detail ? "Rules\n" + ruleText( installedRules( report ) ) : busiestText( report ) ) +
            "\n" + neverHitText( report );
  }
  if ( report.verified )
    text += "\n" + verificationText( report );
  return text;
}

}  // namespace Agent
