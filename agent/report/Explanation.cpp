#include "agent/report/Explanation.h"

#include <fmt/core.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "agent/text/JsonText.h"
#include "agent/text/TextTable.h"

namespace Agent {

namespace {

std::string fieldsText( const Explanation & explanation ) {
  size_t width = 0;
  for ( const auto & [ name, value ] : explanation.fields )
    width = std::max( width, name.size() );
  std::string text = "Fields that the chip sees\n";
  for ( const auto & [ name, value ] : explanation.fields )
    text += fmt::format( "  {:<{}}  {}\n", name, width, value );
  return text;
}

std::string tablesText( const Explanation & explanation ) {
  TextTable table( { "stage", ">group", ">pipe", ">copy", "users", "winner", ">entry", ">priority",
                     ">slice", ">row" } );
  for ( const TableLookup & lookup : explanation.tables ) {
    std::vector< std::string > cells = { lookup.stage, std::to_string( lookup.group ),
                                         std::to_string( lookup.pipe ),
                                         std::to_string( lookup.copy ), lookup.users };
    if ( const auto & winner = lookup.winner )
      cells.insert(
          cells.end(),
          { winner->rule, fmt::format( "{:#x}", winner->entry ), std::to_string( winner->priority ),
            std::to_string( winner->slice ), std::to_string( winner->row ) } );
    else
      cells.insert( cells.end(), { "none: " + lookup.why, "", "", "", "" } );
    table.add( std::move( cells ) );
  }
  return "Lookup, in this order\n" + table.text();
}

std::string winnersText( const Explanation & explanation ) {
  std::string text;
  for ( const TableLookup & lookup : explanation.tables ) {
    if ( !lookup.winner )
      continue;
    const Winner & winner = *lookup.winner;
    text +=
        fmt::format( "  {}{}{}\n", winner.rule, winner.match.empty() ? "" : ": ", winner.match );
    if ( !winner.colour.empty() )
      text += fmt::format( "    policer: {}\n", winner.colour );
    for ( const ActionEffect & action : winner.actions )
      text += fmt::format( "    {}: {}\n", action.action, action.effect );
  }
  return text.empty() ? text : "Actions\n" + text + "\n";
}

nlohmann::ordered_json winnerJson( const Winner & winner ) {
  nlohmann::ordered_json json = { { "rule", winner.rule },         { "entry", winner.entry },
                                  { "priority", winner.priority }, { "slice", winner.slice },
                                  { "row", winner.row },           { "match", winner.match },
                                  { "policer", nullptr },          { "actions", nullptr } };
  if ( !winner.colour.empty() )
    json[ "policer" ] = winner.colour;
  auto & actions = json[ "actions" ] = nlohmann::ordered_json::array();
  for ( const ActionEffect & action : winner.actions )
    actions.push_back( { { "action", action.action }, { "effect", action.effect } } );
  return json;
}

nlohmann::ordered_json verdictJson( const RuleVerdict & verdict ) {
  nlohmann::ordered_json json = { { "rule", verdict.rule }, { "won", verdict.won } };
  if ( !verdict.won )
    json[ "why" ] = verdict.why;
  if ( !verdict.field.empty() ) {
    json[ "field" ] = verdict.field;
    json[ "wanted" ] = verdict.wanted;
    json[ "found" ] = verdict.found;
  }
  return json;
}

}  // namespace

std::string explanationText( const Explanation & explanation ) {
  std::string text = fmt::format(
      "Platform {}\n{}: {} bytes, enters by port {} (pipe {}, copy {}), leaves by port {}\n\n",
      explanation.platform, explanation.packet, explanation.bytes, explanation.inPort,
      explanation.pipe, explanation.copy, explanation.outPort );
  text += fieldsText( explanation ) + "\n" + tablesText( explanation ) + "\n" +
          winnersText( explanation ) + "Result: " + explanation.fate + "\n";
  if ( const auto & rule = explanation.rule )
    text += fmt::format( "{} {}\n", rule->rule, rule->won ? "won" : "did not win: " + rule->why );
  return text;
}

std::string explanationJson( const Explanation & explanation ) {
  nlohmann::ordered_json json = {
      { "platform", explanation.platform },  { "packet", explanation.packet },
      { "bytes", explanation.bytes },        { "ingressPort", explanation.inPort },
      { "egressPort", explanation.outPort }, { "pipe", explanation.pipe },
      { "copy", explanation.copy } };
  auto & fields = json[ "fields" ] = nlohmann::ordered_json::object();
  for ( const auto & [ name, value ] : explanation.fields )
    fields[ name ] = value;
  auto & tables = json[ "tables" ] = nlohmann::ordered_json::array();
  for ( const TableLookup & lookup : explanation.tables ) {
    tables.push_back( { { "stage", lookup.stage },
                        { "group", lookup.group },
                        { "pipe", lookup.pipe },
                        { "copy", lookup.copy },
                        { "users", lookup.users },
                        { "winner", nullptr } } );
    if ( lookup.winner )
      tables.back()[ "winner" ] = winnerJson( *lookup.winner );
    else
      tables.back()[ "why" ] = lookup.why;
  }
  json[ "result" ] = explanation.fate;
  if ( explanation.rule )
    json[ "rule" ] = verdictJson( *explanation.rule );
  return jsonText( json );
}

}  // namespace Agent
