#include <nlohmann/json.hpp>

#include "agent/acl/RuleText.h"
#include "agent/report/RunReport.h"
#include "agent/text/JsonText.h"

namespace Agent {

namespace {

using Json = nlohmann::ordered_json;

Json portsJson( PortsBy ports ) {
  if ( ports == PortsBy::value )
    return nullptr;
  return ports == PortsBy::checker ? "checker" : "prefixes";
}

Json policeJson( const PoliceRate & rate, const RuleCounters & counters ) {
  return { { "rate", rate.bitsPerSecond },
           { "burst", rate.burstBytes },
           { "conformed",
             { { "packets", counters.conformedPackets }, { "bytes", counters.conformedBytes } } },
           { "dropped",
             { { "packets", counters.droppedPackets }, { "bytes", counters.droppedBytes } } } };
}

// Counters that the rule does not have are null.
Json ruleJson( const RuleUse & use ) {
  Json json = { { "rule", use.rule + 1 },
                { "line", use.line },
                { "entries", use.entries },
                { "expansion", nullptr },
                { "sourcePorts", portsJson( use.sourcePorts ) },
                { "destinationPorts", portsJson( use.destinationPorts ) },
                { "packets", nullptr },
                { "bytes", nullptr } };
  if ( !use.name.empty() )
    json[ "name" ] = use.name;
  if ( !use.expansion.empty() )
    json[ "expansion" ] = use.expansion;
  if ( use.wanted.packets )
    json[ "packets" ] = use.counters.packets;
  if ( use.wanted.bytes )
    json[ "bytes" ] = use.counters.bytes;
  if ( !use.match.empty() ) {
    json[ "match" ] = use.match;
    json[ "action" ] = use.actions;
  }
  if ( use.police )
    json[ "police" ] = policeJson( *use.police, use.counters );
  return json;
}

Json aclJson( const AclReport & acl ) {
  Json json = { { "name", acl.name },
                { "file", acl.file },
                { "rules", acl.rules.size() },
                { "entries", acl.entries },
                { "installed", acl.installed },
                { "fits", !acl.shortage.has_value() },
                { "binding", nullptr },
                { "firstRuleThatDoesNotFit", nullptr },
                { "ports", portsText( acl ) },
                { "default", forwardingName( acl.defaultAction ) },
                { "direction", acl.direction == Direction::out ? "out" : "in" } };
  if ( acl.shortage ) {
    const U32 rule = acl.shortage->rule;
    json[ "binding" ] = resourceName( acl.shortage->resource );
    if ( rule < acl.rules.size() )
      json[ "firstRuleThatDoesNotFit" ] = { { "line", acl.rules[ rule ].line },
                                            { "rule", rule + 1 } };
  }
  Json & uses = json[ "ruleUse" ] = Json::array();
  for ( const RuleUse & use : acl.rules )
    uses.push_back( ruleJson( use ) );
  return json;
}

// Names of the OpenConfig resource utilisation leaves. Without a threshold its leaves are omitted.
Json stageJson( const StageCapacity & stage ) {
  Json json = { { "unit", stage.unit },
                { "stage", stage.stage },
                { "used", stage.row.used },
                { "free", stage.row.free },
                { "max-limit", stage.row.maxLimit },
                { "high-watermark", stage.row.highWatermark } };
  if ( stage.threshold.upper != 0 ) {
    json[ "used-threshold-upper" ] = stage.threshold.upper;
    json[ "used-threshold-upper-clear" ] = stage.threshold.clear;
  }
  return json;
}

void addCapacity( Json & json, const CapacityReport & capacity ) {
  Json & rows = json[ "capacity" ] = Json::array();
  for ( const CapacityReport::Row & row : capacity.rows ) {
    rows.push_back( stageJson( row ) );
    if ( row.threshold.upper != 0 )
      rows.back()[ "used-threshold-upper-exceeded" ] = row.exceeded;
  }
  Json & alarms = json[ "capacityAlarms" ] = Json::array();
  for ( const CapacityReport::Alarm & alarm : capacity.alarms ) {
    alarms.push_back( stageJson( alarm ) );
    alarms.back()[ "raised" ] = alarm.raised;
  }
}

void addGroups( Json & json, const std::vector< GroupUse > & groups ) {
  Json & rows = json[ "groups" ] = Json::array();
  for ( const GroupUse & use : groups )
    rows.push_back( { { "group", use.group },
                      { "lists", use.lists },
                      { "pipe", use.pipe },
                      { "copy", use.copy },
                      { "used", use.used } } );
}

void addUsers( Json & json, const std::vector< UserUse > & users ) {
  Json & rows = json[ "users" ] = Json::array();
  for ( const UserUse & user : users ) {
    rows.push_back( { { "user", user.name },
                      { "lists", user.lists },
                      { "group", user.group },
                      { "used", user.used },
                      { "share", nullptr },
                      { "available", user.available } } );
    if ( user.share != 0 )
      rows.back()[ "share" ] = user.share;
  }
}

void addRemarks( Json & json, const ReaderRemarks & remarks ) {
  if ( remarks.refused != 0 )
    json[ "partial" ] = { { "refused", remarks.refused }, { "refusals", remarks.refusals } };
  if ( !remarks.notes.empty() )
    json[ "notes" ] = remarks.notes;
}

}  // namespace

std::string jsonReport( const RunReport & report ) {
  Json json = Json::object();
  addRemarks( json, report.remarks );
  json[ "platform" ] = report.platform;
  json[ "unit" ] = report.unit;
  Json & acls = json[ "acls" ] = Json::array();
  for ( const AclReport & acl : report.acls )
    acls.push_back( aclJson( acl ) );
  json[ "default" ] = { { "action", forwardingName( report.defaultAction ) },
                        { "entries", report.defaultEntries } };
  json[ "packets" ] = { { "total", report.total },
                        { "ingressPorts", report.ingressPorts },
                        { "egressPorts", report.egressPorts },
                        { "matched", report.matched },
                        { "default", report.byDefault },
                        { "dropped", report.dropped },
                        { "copiedToCpu", report.copiedToCpu },
                        { "mirrored", report.mirrored },
                        { "mismatches", report.mismatches } };
  if ( report.madeUp )
    json[ "packets" ][ "madeUpEthernetHeaders" ] = { { "packets", report.madeUp->packets },
                                                     { "file", report.madeUp->file },
                                                     { "linkType", report.madeUp->linkType } };
  addUsers( json, report.users );
  addGroups( json, report.groups );
  json[ "rangeCheckers" ] = report.rangeCheckers;
  if ( !report.cleared.empty() )
    json[ "cleared" ] = report.cleared;
  if ( !report.usage.empty() )
    json[ "usage" ] = report.usage;
  if ( report.capacity )
    addCapacity( json, *report.capacity );
  Json & calls = json[ "sdkCalls" ] = Json::object();
  for ( const auto & [ operation, count ] : report.sdkCalls )
    calls[ operation ] = count;
  return jsonText( json );
}

std::string withPartial( const ReaderRemarks & remarks, const std::string & shown ) {
  if ( remarks.refused == 0 )
    return shown;
  Json json = Json::object();
  addRemarks( json, remarks );
  json[ "shown" ] = Json::parse( shown );
  return jsonText( json );
}

}  // namespace Agent
