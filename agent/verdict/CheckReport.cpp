#include <fmt/core.h>

#include <nlohmann/json.hpp>

#include "agent/acl/RuleText.h"
#include "agent/text/JsonText.h"
#include "agent/text/TextTable.h"
#include "agent/verdict/Check.h"
#include "agent/verdict/ExamplePacket.h"
#include "agent/verdict/RuleNumbers.h"

namespace Agent {

namespace {

using Json = nlohmann::ordered_json;

constexpr size_t linesShown = 20;

std::string ruleOf( const ListCheck & check, size_t rule ) {
  return ruleText( check.acl->kind, check.acl->rules[ rule ] );
}

// Under a heading, at most linesShown of the lines.
std::string section( const char * heading, const std::vector< std::string > & lines ) {
  if ( lines.empty() )
    return "";
  std::string text = fmt::format( "  {}: {}\n", heading, lines.size() );
  for ( size_t i = 0; i < std::min( lines.size(), linesShown ); ++i )
    text += fmt::format( "    {}\n", lines[ i ] );
  if ( lines.size() > linesShown )
    text += fmt::format( "    and {} more; --json has all\n", lines.size() - linesShown );
  return text;
}

std::vector< std::string > neverLines( const ListCheck & check, bool agree ) {
  std::vector< std::string > lines;
  for ( const NeverMatches & never : check.never )
    if ( never.agree == agree )
      lines.push_back( fmt::format( "rule {}: {}; {}", never.rule + 1, ruleOf( check, never.rule ),
                                    never.covers.empty()
                                        ? "no packet is like this"
                                        : "covered by " + numberedRules( never.covers ) ) );
  return lines;
}

std::string namesOf( const std::vector< const Acl * > & lists ) {
  std::vector< std::string > names;
  for ( const Acl * acl : lists )
    names.push_back( acl->name );
  return namesText( names );
}

std::string takenText( const TakenByOthers & taken ) {
  if ( taken.all )
    return fmt::format( "  Without effect after {}, which {} all its packets\n",
                        namesOf( taken.lists ), taken.lists.size() == 1 ? "decides" : "decide" );
  if ( taken.rules.empty() )
    return "";
  return fmt::format( "  Can never match after {}: {}\n    {}\n", namesOf( taken.lists ),
                      taken.rules.size(), numberedRules( taken.rules ) );
}

std::string listText( const ListCheck & check ) {
  std::string text = fmt::format( "{} ({}, {})\n", check.acl->name, kindName( check.acl->kind ),
                                  check.acl->rules.size() == 1
                                      ? "1 rule"
                                      : fmt::format( "{} rules", check.acl->rules.size() ) );
  if ( check.clean() )
    return text + "  nothing found\n";
  if ( check.onlyFate )
    text += fmt::format( "  Without effect: every packet has the same fate, {}\n",
                         fateText( *check.onlyFate ) );
  text += takenText( check.taken );
  text += section( "Can never match, and earlier rules act otherwise", neverLines( check, false ) );
  text += section( "Can never match", neverLines( check, true ) );
  if ( !check.redundant.empty() )
    text += fmt::format( "  Change nothing when removed: {}\n    {}\n", check.redundant.size(),
                         numberedRules( check.redundant ) );
  std::vector< std::string > lines;
  for ( const MergePair & pair : check.mergeable )
    lines.push_back( fmt::format( "rules {} and {}: {}", pair.first + 1, pair.second + 1,
                                  ruleText( check.acl->kind, pair.merged ) ) );
  text += section( "Can be merged", lines );
  lines.clear();
  for ( const ActionOverlap & overlap : check.overlaps )
    lines.push_back( fmt::format( "rules {} and {}: {}", overlap.first + 1, overlap.second + 1,
                                  packetText( overlap.example, check.acl->direction ) ) );
  return text + section( "Overlap with other actions", lines );
}

Json listJson( const ListCheck & check ) {
  Json json = { { "name", check.acl->name },
                { "type", kindName( check.acl->kind ) },
                { "rules", check.acl->rules.size() },
                { "neverMatch", Json::array() },
                { "redundant", numbers( check.redundant ) },
                { "mergeable", Json::array() },
                { "overlaps", Json::array() } };
  if ( !check.taken.lists.empty() ) {
    Json lists = Json::array();
    for ( const Acl * acl : check.taken.lists )
      lists.push_back( acl->name );
    json[ "taken" ] = { { "by", std::move( lists ) },
                        { "rules", numbers( check.taken.rules ) },
                        { "all", check.taken.all } };
  }
  if ( check.onlyFate )
    json[ "onlyFate" ] = fateText( *check.onlyFate );
  for ( const NeverMatches & never : check.never )
    json[ "neverMatch" ].push_back( { { "rule", never.rule + 1 },
                                      { "match", ruleOf( check, never.rule ) },
                                      { "coveredBy", numbers( never.covers ) },
                                      { "sameAction", never.agree } } );
  for ( const MergePair & pair : check.mergeable )
    json[ "mergeable" ].push_back( { { "rules", { pair.first + 1, pair.second + 1 } },
                                     { "merged", ruleText( check.acl->kind, pair.merged ) } } );
  for ( const ActionOverlap & overlap : check.overlaps )
    json[ "overlaps" ].push_back(
        { { "rules", { overlap.first + 1, overlap.second + 1 } },
          { "example", packetText( overlap.example, check.acl->direction ) } } );
  return json;
}

}  // namespace

std::string checkText( const std::vector< ListCheck > & checks, size_t columns ) {
  std::string text;
  for ( const ListCheck & check : checks )
    text += ( text.empty() ? "" : "\n" ) + listText( check );
  return linesWithin( text, columns );
}

std::string checkJson( const std::vector< ListCheck > & checks, U64 refused ) {
  Json json = { { "partial", refused }, { "lists", Json::array() } };
  for ( const ListCheck & check : checks )
    json[ "lists" ].push_back( listJson( check ) );
  return jsonText( json );
}

}  // namespace Agent
