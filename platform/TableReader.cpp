#include "platform/TableReader.h"

#include <fmt/core.h>

#include "platform/ChipReader.h"
#include "platform/JsonFields.h"
#include "platform/NearNames.h"

namespace Platform {

namespace {

std::vector< U32 > readQualifiers( const std::string & file, JsonFields & fields,
                                   const std::string & key ) {
  std::vector< U32 > qualifiers;
  for ( const JsonNode & node : fields.list( key ) )
    qualifiers.push_back( readQualifier( file, node ) );
  return qualifiers;
}

GroupMatch readMatch( JsonFields & fields ) {
  const std::string name = fields.text( "match", "any" );
  if ( name == "any" )
    return GroupMatch::any;
  if ( name == "ipv4" )
    return GroupMatch::ipv4;
  if ( name == "ipv6" )
    return GroupMatch::ipv6;
  fields.fail( fields.place( "match" ), "\"match\" must be any, ipv4 or ipv6" );
}

template < class Enum >
std::vector< std::string_view > enumNames() {
  std::vector< std::string_view > names;
  for ( U32 value = 0; value < Kiv::enumCount< Enum >(); ++value )
    names.push_back( enumName( static_cast< Enum >( value ) ) );
  return names;
}

template < class Enum >
Enum readEnum( JsonFields & fields, const std::string & key ) {
  const std::string name = fields.text( key );
  const auto value = Kiv::enumValue< Enum >( name );
  if ( !value )
    fields.fail( fields.place( key ), fmt::format( "there is no {} \"{}\"; there are {}", key, name,
                                                   nearNames( enumNames< Enum >(), name ) ) );
  return *value;
}

}  // namespace

GroupData readGroup( const std::string & file, const JsonNode & node ) {
  JsonFields fields( file, node, "a group" );
  GroupData group;
  group.id = fields.number( "id", 0, 0xFFFF );
  group.qualifiers = readQualifiers( file, fields, "qualifiers" );
  if ( fields.find( "excludes" ) != nullptr )
    group.excludes = readQualifiers( file, fields, "excludes" );
  if ( fields.find( "includes" ) != nullptr )
    group.includes = readQualifiers( file, fields, "includes" );
  group.match = readMatch( fields );
  group.noStatsPerEntry = fields.flag( "noStatsPerEntry" );
  group.multicastWar = fields.flag( "multicastWar" );
  fields.finish();
  return group;
}

ReservationData readReservation( const std::string & file, const JsonNode & node ) {
  JsonFields fields( file, node, "a reservation" );
  ReservationData user;
  user.name = fields.text( "name" );
  if ( user.name.empty() )
    fields.fail( fields.place( "name" ), "a reservation needs a name" );
  user.assignment = readEnum< Morvane::TcamGroupAssignment >( fields, "assignment" );
  user.strategy = readEnum< Morvane::TcamAllocationStrategy >( fields, "strategy" );
  user.group = fields.number( "group", 0, 0xFFFF );
  user.size = fields.number( "size", 0, 1U << 24, 0 );
  user.managedPriority = fields.flag( "managedPriority" );
  user.mirroringAclUdf = fields.flag( "mirroringAclUdf" );
  user.noStatsPerEntry = fields.flag( "noStatsPerEntry" );
  fields.finish();
  return user;
}

VlanData readVlan( const std::string & file, const JsonNode & node ) {
  JsonFields fields( file, node, "a VLAN" );
  VlanData vlan;
  vlan.id = static_cast< U16 >( fields.number( "id", 1, 4094 ) );
  vlan.untaggedPorts = readPorts( fields, "untaggedPorts" );
  fields.finish();
  return vlan;
}

}  // namespace Platform
