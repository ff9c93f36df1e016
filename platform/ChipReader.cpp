#include "platform/ChipReader.h"

#include <fmt/core.h>

#include <set>

#include "platform/InputError.h"
#include "platform/NearNames.h"
#include "softasic/QualifierNames.h"

namespace Platform {

namespace {

constexpr U32 wordMax = 0x7FFFFFFF;

// Rough limits only; SoftAsic::ChipProfile::validate checks the exact ones.
SoftAsic::SliceProfile readSlices( const std::string & file, const JsonNode & node ) {
  JsonFields fields( file, node, "a run of slices" );
  SoftAsic::SliceProfile slices;
  slices.count = fields.number( "count", 1, KELMOR_TCAM_SLICES_MAX );
  slices.depth = fields.number( "depth", 1, wordMax );
  slices.keyBits = fields.number( "keyBits", 1, wordMax );
  slices.large = fields.flag( "large" );
  fields.finish();
  return slices;
}

SoftAsic::StageKind readKind( JsonFields & fields ) {
  const std::string name = fields.text( "stage" );
  for ( U32 kind = 0; kind < SoftAsic::stageKinds; ++kind )
    if ( name == SoftAsic::stageName( static_cast< SoftAsic::StageKind >( kind ) ) )
      return static_cast< SoftAsic::StageKind >( kind );
  fields.fail( fields.place( "stage" ),
               fmt::format( "there is no stage \"{}\"; there are VFP, IFP and EFP", name ) );
}

std::string noQualifier( const std::string & name ) {
  return fmt::format( "there is no qualifier \"{}\"; there are {}", name,
                      nearNames( SoftAsic::qualifierNames(), name ) );
}

SoftAsic::StageProfile readStage( const std::string & file, const JsonNode & node ) {
  JsonFields fields( file, node, "a stage" );
  SoftAsic::StageProfile stage;
  stage.kind = readKind( fields );
  stage.doubleWide = fields.flag( "doubleWide" );
  stage.paired = fields.flag( "paired" );
  for ( const JsonNode & slices : fields.list( "slices" ) )
    stage.slices.push_back( readSlices( file, slices ) );
  if ( const JsonNode * costs = fields.find( "keyBits" ) ) {
    JsonFields bits( file, *costs, "\"keyBits\"" );
    for ( const auto & [ name, value ] : costs->members ) {
      const auto qualifier = SoftAsic::qualifierNumber( name );
      if ( !qualifier )
        bits.fail( value.place(), noQualifier( name ) );
      stage.keyBits[ *qualifier ] = bits.number( name, 0, wordMax );
    }
  }
  fields.finish();
  return stage;
}

void readProfile( const std::string & file, JsonFields & fields, SoftAsic::ChipProfile & chip ) {
  chip.pipes = fields.number( "pipes", 1, BCM_PIPES_MAX );
  chip.portsPerPipe = fields.number( "portsPerPipe", 1, BCM_PBMP_PORT_MAX );
  chip.sharedByPipes = fields.flag( "sharedByPipes" );
  chip.secondCopy = fields.flag( "secondCopy" );
  chip.groupByPreselector = fields.flag( "groupByPreselector" );
  chip.udfShort = fields.flag( "udfShort" );
  chip.allocAtBeginning = fields.flag( "allocAtBeginning" );
  chip.singlePortKey = fields.flag( "singlePortKey" );
  chip.ingressHalfSize = fields.flag( "ingressHalfSize" );
  chip.fixedGroupKeys = fields.flag( "fixedGroupKeys" );
  chip.preselectors = fields.number( "preselectors", 0, BCM_FIELD_PRESEL_MAX, 0 );
  chip.statistics = fields.number( "statistics", 0, wordMax );
  chip.rangeCheckers = fields.number( "rangeCheckers", 0, wordMax, 0 );
  chip.policers = fields.number( "policers", 0, wordMax, 0 );
  chip.dataChunks = fields.number( "dataChunks", 0, wordMax, 0 );
  chip.dataFormats = fields.number( "dataFormats", 0, wordMax, 0 );
  for ( const JsonNode & stage : fields.list( "stages" ) )
    chip.stages.push_back( readStage( file, stage ) );
}

U32 readOptionalQualifier( const std::string & file, JsonFields & fields,
                           const std::string & key ) {
  const JsonNode * node = fields.find( key );
  return node == nullptr ? 0 : readQualifier( file, *node );
}

void readRecord( const std::string & file, JsonFields & fields, PlatformData & data ) {
  data.chipType = static_cast< S32 >( fields.number( "type", 0, 0xFFFF ) );
  Morvane::MorvaneCentral::ChipInfo & info = data.chipInfo;
  info.maxPorts = static_cast< U16 >( data.chip.ports() );
  info.multicastWar = fields.flag( "multicastWar" );
  info.excludeTtl = fields.flag( "excludeTtl" );
  info.excludeRangeChecks = fields.flag( "excludeRangeChecks" );
  info.swapFrom = readOptionalQualifier( file, fields, "swapFrom" );
  info.swapTo = readOptionalQualifier( file, fields, "swapTo" );
  if ( ( info.swapFrom == 0 ) != ( info.swapTo == 0 ) )
    fields.fail( fields.place(), "\"swapFrom\" and \"swapTo\" go together" );
  info.qualifierSwap = info.swapFrom != 0;
  info.extraQualifier = readOptionalQualifier( file, fields, "extraQualifier" );
  if ( fields.find( "loopbackPorts" ) != nullptr )
    data.loopbackPorts = readPorts( fields, "loopbackPorts" );
}

void readAttributes( const std::string & file, const JsonNode & node, PlatformData & data ) {
  JsonFields fields( file, node, "\"agent\"" );
  Morvane::MorvaneCentral::Attributes & agent = data.attributes;
  agent.ipv6MirroringSupported = fields.flag( "ipv6MirroringSupported" );
  agent.qosAclSharingSupported = fields.flag( "qosAclSharingSupported" );
  agent.ingressRaclSharingSupported = fields.flag( "ingressRaclSharingSupported" );
  agent.allocAtBeginning = fields.flag( "allocAtBeginning" );
  agent.pdpModeEnabled = fields.flag( "pdpModeEnabled" );
  agent.dumpEntries = fields.flag( "dumpEntries" );
  agent.dumpNewEntries = fields.flag( "dumpNewEntries" );
  fields.finish();
}

}  // namespace

void readChip( const std::string & file, JsonFields & platform, PlatformData & data ) {
  const JsonNode * node = platform.find( "chip" );
  if ( node == nullptr )
    platform.fail( platform.place(), "a platform has no \"chip\"" );
  JsonFields fields( file, *node, "\"chip\"" );
  data.chip.name = fields.text( "name" );
  readProfile( file, fields, data.chip );
  readRecord( file, fields, data );
  fields.finish();
  if ( const JsonNode * agent = platform.find( "agent" ) )
    readAttributes( file, *agent, data );
}

std::vector< U32 > readPorts( JsonFields & fields, const std::string & key ) {
  std::vector< U32 > ports;
  for ( const JsonNode & port : fields.list( key ) ) {
    if ( port.kind != JsonNode::Kind::integer || port.integer < 0 ||
         port.integer >= BCM_PBMP_PORT_MAX )
      fields.fail( port.place(), "a port number is expected here" );
    ports.push_back( static_cast< U32 >( port.integer ) );
  }
  return ports;
}

std::vector< std::string > readPortNames( JsonFields & fields, const std::string & key,
                                          U32 ports ) {
  std::vector< std::string > names;
  std::set< std::string > known;
  for ( const JsonNode & node : fields.list( key ) ) {
    const std::string & name = jsonText( fields.file(), node, "the name of a port" );
    if ( name.empty() || name == "all" || name.find_first_of( ",:= " ) != name.npos ||
         name.find_first_not_of( "0123456789" ) == name.npos )
      fields.fail( node.place(), fmt::format( "\"{}\" cannot name a port: it is empty, \"all\", a "
                                              "number, or has a comma, colon, \"=\" or blank",
                                              name ) );
    if ( !known.insert( name ).second )
      fields.fail( node.place(), fmt::format( "two ports are named \"{}\"", name ) );
    names.push_back( name );
  }
  if ( names.size() != ports )
    fields.fail( fields.place( key ), fmt::format( "\"{}\" has {} names, and the chip {} ports",
                                                   key, names.size(), ports ) );
  return names;
}

U32 readQualifier( const std::string & file, const JsonNode & node ) {
  const std::string & name = jsonText( file, node, "a qualifier" );
  const auto number = SoftAsic::qualifierNumber( name );
  if ( !number )
    throw InputError( file, node.place(), noQualifier( name ) );
  return *number;
}

}  // namespace Platform
