#include <nlohmann/json.hpp>

#include "agent/report/FitReport.h"
#include "agent/text/JsonText.h"

namespace Agent {

namespace {

using Json = nlohmann::ordered_json;

Json orNull( const std::optional< U64 > & number ) {
  return number ? Json( *number ) : Json( nullptr );
}

Json listJson( const ListVerdict & list ) {
  Json json = { { "name", list.acl->name },
                { "file", list.acl->file },
                { "rules", list.acl->rules.size() },
                { "fits", list.fits() } };
  if ( !list.fault.empty() ) {
    json[ "fault" ] = list.fault;
    return json;
  }
  json[ "needs" ] = list.needed;
  json[ "available" ] = list.room.entries();
  json[ "shareLeft" ] = list.room.share;
  json[ "chipLeft" ] = list.room.chip;
  if ( list.shortage ) {
    json[ "binding" ] = list.binding;
    json[ "shortBy" ] = orNull( list.shortBy );
    json[ "rulesThatFit" ] = list.shortage->fitting;
    json[ "remedies" ] = list.remedies;
  }
  return json;
}

Json platformJson( const FitReport & report ) {
  Json json = {
      { "platform", report.platform }, { "lists", Json::array() }, { "resources", Json::array() } };
  for ( const ListVerdict & list : report.lists )
    json[ "lists" ].push_back( listJson( list ) );
  if ( !report.fullAt.empty() )
    json[ "resourcesWhenFullAt" ] = report.fullAt;
  for ( const ResourceUse & use : report.resources )
    json[ "resources" ].push_back( { { "name", use.name },
                                     { "used", use.used },
                                     { "total", use.total },
                                     { "heldBy", use.holders } } );
  return json;
}

}  // namespace

std::string fitJson( const std::vector< FitReport > & reports,
                     const std::vector< std::string > & changes, const ReaderRemarks & remarks ) {
  Json json = {
      { "partial", remarks.refused }, { "whatIf", changes }, { "platforms", Json::array() } };
  for ( const FitReport & report : reports )
    json[ "platforms" ].push_back( platformJson( report ) );
  return jsonText( json );
}

}  // namespace Agent
