#include <fmt/core.h>

#include <nlohmann/json.hpp>

#include "agent/text/JsonText.h"
#include "agent/text/TextTable.h"
#include "agent/verdict/Difference.h"
#include "agent/verdict/ExamplePacket.h"

namespace Agent {

namespace {

std::string sideText( const Fate & fate, const std::string & rule ) {
  return fateText( fate ) + ( rule.empty() ? "" : " by " + rule );
}

// Fates that differ only in the packets that share a policer.
const char * sharingText( const DifferenceRow & row ) {
  return fateText( row.before ) == fateText( row.after ) ? ", with a policer of other packets" : "";
}

std::string exceptText( const DifferenceRow & row ) {
  std::string text;
  for ( const std::string & rules : row.except )
    text += ( text.empty() ? ", except what is matched by " : " or " ) + rules;
  return text;
}

nlohmann::ordered_json replacementJson( const ReplaceReport & replace ) {
  if ( !replace.fault.empty() )
    return { { "fault", replace.fault } };
  return { { "by", replacementName( replace.by ) },     { "oldEntries", replace.oldEntries },
           { "newEntries", replace.newEntries },        { "peakEntries", replace.peakEntries },
           { "available", replace.room.entries() },     { "kept", replace.counts.kept },
           { "moved", replace.counts.moved },           { "added", replace.counts.added },
           { "removed", replace.counts.removed },       { "sdkCalls", replace.sdkCalls },
           { "sdkCallsBetween", replace.callsBetween }, { "packets", replace.packets },
           { "packetsThatMetNeither", replace.neither } };
}

std::string tableText( const TableDifference & table ) {
  if ( table.rows.empty() )
    return fmt::format( "{}: both mean the same\n", table.name );
  std::string text = fmt::format( "{}: {} {}\n", table.name, table.rows.size(),
                                  table.rows.size() == 1 ? "difference" : "differences" );
  for ( const DifferenceRow & row : table.rows )
    text += fmt::format( "  {}\n    old: {}\n    new: {}{}\n    example: {}\n    chip: {}\n",
                         row.text + exceptText( row ), sideText( row.before, row.oldRule ),
                         sideText( row.after, row.newRule ), sharingText( row ),
                         packetText( row.example, table.direction ), row.chip );
  text += table.more ? "  and more packets; --rows shows more\n" : "";
  return text + ( table.replacement ? replacementText( *table.replacement ) : "" );
}

}  // namespace

std::string differenceText( const std::vector< TableDifference > & tables, size_t columns ) {
  std::string text = tables.empty() ? "neither version has lists\n" : "";
  for ( const TableDifference & table : tables )
    text += tableText( table );
  return linesWithin( text, columns );
}

std::string differenceJson( const std::vector< TableDifference > & tables, U64 refused ) {
  nlohmann::ordered_json json = { { "partial", refused },
                                  { "tables", nlohmann::ordered_json::array() } };
  for ( const TableDifference & table : tables ) {
    nlohmann::ordered_json rows = nlohmann::ordered_json::array();
    for ( const DifferenceRow & row : table.rows )
      rows.push_back( { { "packets", row.text + exceptText( row ) },
                        { "old", fateText( row.before ) },
                        { "oldRule", row.oldRule },
                        { "new", fateText( row.after ) },
                        { "newRule", row.newRule },
                        { "example", packetText( row.example, table.direction ) },
                        { "chip", row.chip } } );
    json[ "tables" ].push_back(
        { { "name", table.name }, { "more", table.more }, { "rows", std::move( rows ) } } );
    if ( table.replacement )
      json[ "tables" ].back()[ "replacement" ] = replacementJson( *table.replacement );
  }
  return jsonText( json );
}

}  // namespace Agent
