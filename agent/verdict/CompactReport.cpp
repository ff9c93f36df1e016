#include <fmt/core.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "agent/acl/RuleText.h"
#include "agent/text/JsonText.h"
#include "agent/text/TextTable.h"
#include "agent/verdict/Compact.h"
#include "agent/verdict/RuleNumbers.h"

namespace Agent {

namespace {

using CompactJson = nlohmann::ordered_json;

bool isWidened( const CompactList & list, U32 rule ) {
  return std::find( list.widened.begin(), list.widened.end(), rule ) != list.widened.end();
}

std::string sizeText( U64 entries, size_t rules ) {
  return fmt::format( "{} {} for {} {}", countText( entries ), entries == 1 ? "entry" : "entries",
                      countText( rules ), rules == 1 ? "rule" : "rules" );
}

std::string compactListText( const CompactList & list ) {
  std::string text =
      fmt::format( "{} ({}): {}, before {}\n", list.after.name, kindName( list.after.kind ),
                   sizeText( list.entriesAfter, list.after.rules.size() ),
                   sizeText( list.entriesBefore, list.before->rules.size() ) );
  if ( !list.removed.empty() )
    text += fmt::format( "  removed: {}\n", numberedRules( list.removed ) );
  for ( U32 rule = 0; rule < list.from.size(); ++rule )
    if ( list.from[ rule ].size() > 1 || isWidened( list, rule ) )
      text += fmt::format( "  {} became rule {}{}: {}\n", numberedRules( list.from[ rule ] ),
                           rule + 1, isWidened( list, rule ) ? ", wider" : "",
                           ruleText( list.after.kind, list.after.rules[ rule ] ) );
  return text;
}

}  // namespace

std::string compactText( const std::vector< CompactList > & lists ) {
  std::string text;
  for ( const CompactList & list : lists )
    text += compactListText( list );
  return text;
}

std::string compactJson( const std::vector< CompactList > & lists, U64 refused ) {
  CompactJson json = { { "partial", refused }, { "lists", CompactJson::array() } };
  for ( const CompactList & list : lists ) {
    CompactJson rules = CompactJson::array();
    for ( U32 rule = 0; rule < list.from.size(); ++rule )
      rules.push_back( { { "from", numbers( list.from[ rule ] ) },
                         { "wider", isWidened( list, rule ) },
                         { "match", ruleText( list.after.kind, list.after.rules[ rule ] ) } } );
    json[ "lists" ].push_back( { { "name", list.after.name },
                                 { "type", kindName( list.after.kind ) },
                                 { "entriesBefore", list.entriesBefore },
                                 { "rulesBefore", list.before->rules.size() },
                                 { "entries", list.entriesAfter },
                                 { "removed", numbers( list.removed ) },
                                 { "rules", std::move( rules ) } } );
  }
  return jsonText( json );
}

}  // namespace Agent
